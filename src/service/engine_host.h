// Creates, starts, stops and destroys the engine of the process together with the stop event. Used on the
// service (or console) thread only.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "base/error.h"
#include "runtime/log.h"

namespace korvel::svc {

/// Owns the engine from its construction to its destruction. `Engine` is ScanWorker and `Stop` is StopSignal;
/// tests replace both with types that have the same functions.
template <typename Engine, typename Stop>
class EngineHost {
 public:
  explicit EngineHost(Stop& stop) : stop_(stop) {}

  /// Null unless the engine runs.
  Engine* engine() const { return engine_.get(); }

  /// False with an English reason, after destroying everything created so far. No standard exception escapes.
  bool start(std::string* error) {
    if (!stop_.createEvent()) return tell(error, "CreateEvent failed");
    std::string reason;
    try {
      engine_ = std::make_unique<Engine>();
    } catch (const std::exception& exception) {
      stop_.closeEvent();
      return tell(error, "out of memory: ", exception.what());
    }
    try {
      if (bringUp(&reason)) return true;
    } catch (const std::exception& exception) {
      std::string line;
      tell(&reason, "worker threw: ", exception.what());
      tell(&line, "engine: ", reason.c_str());
      Log::instance().write(kLogError, line);
    }
    destroy();
    stop_.closeEvent();
    return tell(error, reason.c_str());
  }

  /// Stops and destroys the engine, if there is one, and closes the stop event.
  void stop() {
    if (engine_) engine_->stop();
    destroy();
    stop_.closeEvent();
  }

 private:
  /// As fail(); without memory for the text there is none.
  static bool tell(std::string* error, const char* text, const char* reason = "") noexcept {
    try {
      return fail(error, std::string(text) + reason);
    } catch (const std::exception&) {
      return false;
    }
  }

  /// init() and start(); logs the step that fails.
  bool bringUp(std::string* reason) {
    Log& log = Log::instance();
    log.write(kLogInfo, "engine: creating worker");
    if (!engine_->init(reason)) {
      log.write(kLogError, "engine: init failed: " + *reason);
      return false;
    }
    log.write(kLogInfo, "engine: worker initialised");
    if (!engine_->start(reason)) {
      log.write(kLogError, "engine: start failed: " + *reason);
      return false;
    }
    log.write(kLogInfo, "engine: started");
    return true;
  }

  /// Also ends the threads that the engine has started. engine() is null before its destructor runs.
  void destroy() { const std::unique_ptr<Engine> last = std::move(engine_); }

  Stop& stop_;
  std::unique_ptr<Engine> engine_;
};

/// The process's own host.
bool engineStart(std::string* error);
void engineStop();

/// Serves clients of the control pipe with the running engine until a stop is requested.
void servePipe();

}  // namespace korvel::svc
