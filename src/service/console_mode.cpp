#include "service/console_mode.h"

#include <string>

#include "base/utf.h"
#include "runtime/console_line.h"
#include "runtime/log.h"
#include "service/console_control.h"
#include "service/engine_host.h"

namespace korvel::svc {

int runConsoleMode() {
  installConsoleControl();
  std::string error;
  if (!engineStart(&error)) {
    Log::instance().write(kLogError, "startup failed: " + error);
    writeConsoleLine(L"запуск не удался: " + toWide(error));
    return 1;
  }
  Log::instance().write(kLogInfo, "running in console mode (Ctrl+C to stop)");
  writeConsoleLine(L"служба запущена в консольном режиме. Ctrl+C для остановки.");
  servePipe();
  engineStop();
  Log::instance().write(kLogInfo, "stopped");
  return 0;
}

}  // namespace korvel::svc
