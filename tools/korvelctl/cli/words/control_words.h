// The words of the commands that give one order: reload, cancel, stop.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

inline constexpr Text kReloadHelp{"Load the signature files anew", "Загрузить файлы сигнатур заново"};
inline constexpr Text kReloadExample{"After a change of a signature file", "После изменения файла сигнатур"};
inline constexpr Text kReloaded{"signatures reloaded: {0}", "сигнатуры загружены заново: {0}"};
inline constexpr Text kReloadedNone{"reloaded, but no signatures are loaded now",
                                    "загружено заново, но сигнатур теперь нет"};
inline constexpr Text kWouldReload{"would reload the signatures", "сигнатуры были бы загружены заново"};

inline constexpr Text kStopHelp{"Stop the service through its pipe", "Остановить службу через её канал"};
inline constexpr Text kStopNote{
    "Every user of this computer may do this. The service manager starts the service again only when it is "
    "told to: korvelctl service start.",
    "Это может любой пользователь компьютера. Диспетчер служб запустит службу снова только по команде: "
    "korvelctl service start."};
inline constexpr Text kStopExample{"From a script, without a question", "Из сценария, без вопроса"};
inline constexpr Text kStopQuestion{"Stop the protection service?", "Остановить службу защиты?"};
inline constexpr Text kStopAsked{"the service has been asked to stop", "службе отправлена команда остановки"};
inline constexpr Text kWouldStop{"would stop the service", "служба была бы остановлена"};

}  // namespace korvel::ctl::words
