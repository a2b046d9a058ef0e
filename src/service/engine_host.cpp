#include "service/engine_host.h"

#include <exception>
#include <memory>

#include "base/error.h"
#include "engine/scan_worker.h"
#include "service/runtime/engine_slot.h"
#include "service/runtime/log.h"
#include "service/runtime/stop_signal.h"

namespace korvel::svc {
namespace {

/// Takes the engine out of the slot and destroys it, which also stops what it had started.
void destroyEngine() {
  const std::unique_ptr<ScanWorker> engine(engineInSlot());
  setEngineInSlot(nullptr);
}

/// init() and start() of the engine in the slot; logs the step that fails.
bool bringUp(std::string* reason) {
  Log& log = Log::instance();
  ScanWorker& engine = *engineInSlot();
  log.write(kLogInfo, "engine: creating worker");
  if (!engine.init(reason)) {
    log.write(kLogError, "engine: init failed: " + *reason);
    return false;
  }
  log.write(kLogInfo, "engine: worker initialised");
  if (!engine.start(reason)) {
    log.write(kLogError, "engine: start failed: " + *reason);
    return false;
  }
  log.write(kLogInfo, "engine: started");
  return true;
}

}  // namespace

bool engineStart(std::string* error) {
  if (!StopSignal::process().createEvent()) return fail(error, "CreateEvent failed");
  std::string reason;
  try {
    setEngineInSlot(std::make_unique<ScanWorker>().release());
  } catch (const std::exception& exception) {
    StopSignal::process().closeEvent();
    return fail(error, std::string("out of memory: ") + exception.what());
  }
  try {
    if (bringUp(&reason)) return true;
  } catch (const std::exception& exception) {
    reason = std::string("worker threw: ") + exception.what();
    Log::instance().write(kLogError, "engine: " + reason);
  }
  destroyEngine();
  StopSignal::process().closeEvent();
  return fail(error, reason);
}

void engineStop() {
  if (ScanWorker* engine = engineInSlot()) {
    engine->stop();
    destroyEngine();
  }
  StopSignal::process().closeEvent();
}

}  // namespace korvel::svc
