// What is said when the service cannot be asked, and next steps for its known refusals.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kTraceUnwritable{"cannot write {0}", "не удалось записать {0}"};

constexpr Text kNotInstalled{"the service is not installed", "служба не установлена"};
constexpr Text kNotInstalledAdvice{"install it: korvelctl service install",
                                   "установите её: korvelctl service install"};
constexpr Text kServiceStopped{"the service is stopped", "служба остановлена"};
constexpr Text kServiceStoppedAdvice{
    "start it: korvelctl service start (if it does not start, see: korvelctl config lint)",
    "запустите её: korvelctl service start (если не запускается: korvelctl config lint)"};
constexpr Text kServiceStarting{"the service is starting and does not answer yet",
                                "служба запускается и пока не отвечает"};
constexpr Text kServiceStartingAdvice{"wait for it: korvelctl ping --wait 60",
                                      "дождитесь её: korvelctl ping --wait 60"};
constexpr Text kServiceStopping{"the service is stopping", "служба останавливается"};
constexpr Text kServiceUnreachable{"the service cannot be reached", "служба недоступна"};
constexpr Text kServiceUnreachableAdvice{"look at its state: korvelctl service state",
                                         "посмотрите её состояние: korvelctl service state"};
constexpr Text kPipeBusy{"the pipe has been busy with another client for {0} s",
                         "канал занят другим клиентом уже {0} с"};
constexpr Text kPipeBusyAdvice{"try again later, or wait longer with --timeout SECONDS",
                               "повторите позже или ждите дольше: --timeout СЕКУНДЫ"};
constexpr Text kPipeDenied{"access to the pipe is denied", "нет прав на канал"};
constexpr Text kPipeDeniedAdvice{"run it as a user who may log on to this computer",
                                 "запустите от имени пользователя этого компьютера"};
constexpr Text kNoReply{"the service did not reply to request {0} within {1} s",
                        "служба не ответила на запрос {0} за {1} с"};
constexpr Text kConnectionLost{"the connection was closed before the reply to request {0} came",
                               "соединение закрыто до ответа на запрос {0}"};
constexpr Text kResultsTooLarge{
    "the list of results does not fit into one reply, and the service closed the connection",
    "список результатов не помещается в один ответ, и служба закрыла соединение"};
constexpr Text kMalformedReply{"the reply to request {0} is not understood: {1}",
                               "ответ на запрос {0} не понят: {1}"};
constexpr Text kUndecodableReply{"the reply to request {0} is not understood: {1} bytes, {2}",
                                 "ответ на запрос {0} не понят: {1} байт, {2}"};
constexpr Text kOtherReply{"the service replied with code {1} to request {0}",
                           "служба ответила кодом {1} на запрос {0}"};
constexpr Text kRequestTooLarge{"the request is too large", "запрос слишком велик"};
constexpr Text kWaitingForService{"waiting for the service...", "ждём службу…"};

// Next steps for the service's own refusals, whose texts are shown unchanged.
constexpr Text kProtectionOffAdvice{"switch it on: korvelctl config set ProtectionEnabled=1",
                                    "включите её: korvelctl config set ProtectionEnabled=1"};
constexpr Text kScanRunsAdvice{"follow it: korvelctl wait, or end it: korvelctl cancel",
                               "следить: korvelctl wait, прервать: korvelctl cancel"};
constexpr Text kUpdateRunsAdvice{"wait until it has ended: korvelctl status",
                                 "дождитесь окончания: korvelctl status"};

}  // namespace korvel::ctl::words
