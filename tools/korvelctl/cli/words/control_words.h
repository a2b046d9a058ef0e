// The words of the commands that give one order: reload, cancel, stop.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kReloadHelp{"Load the signature files anew", "Загрузить файлы сигнатур заново"};
constexpr Text kReloadExample{"After a change of a signature file", "После изменения файла сигнатур"};
constexpr Text kReloaded{"signatures reloaded: {0}", "сигнатуры загружены заново: {0}"};
constexpr Text kReloadedNone{"reloaded, but no signatures are loaded now",
                             "загружено заново, но сигнатур теперь нет"};
constexpr Text kWouldReload{"would reload the signatures", "сигнатуры были бы загружены заново"};

constexpr Text kStopHelp{"Stop the service through its pipe", "Остановить службу через её канал"};
constexpr Text kStopNote{
    "Every user of this computer may do this. The service manager starts the service again only when it is "
    "told to: korvelctl service start.",
    "Это может любой пользователь компьютера. Диспетчер служб запустит службу снова только по команде: "
    "korvelctl service start."};
constexpr Text kStopExample{"From a script, without a question", "Из сценария, без вопроса"};
constexpr Text kStopQuestion{"Stop the protection service?", "Остановить службу защиты?"};
constexpr Text kStopAsked{"the service has been asked to stop", "службе отправлена команда остановки"};
constexpr Text kWouldStop{"would stop the service", "служба была бы остановлена"};

}  // namespace korvel::ctl::words
