#include "service/engine_host.h"

#include "engine/scan_worker.h"
#include "runtime/stop_signal.h"
#include "server/pipe_server.h"

namespace korvel::svc {
namespace {

using ProcessHost = EngineHost<ScanWorker, StopSignal>;

ProcessHost& processHost() {
  // Never destroyed: if the process ends without a stop, threads of the engine may still run.
  static ProcessHost& host = *new ProcessHost(StopSignal::process());
  return host;
}

}  // namespace

bool engineStart(std::string* error) { return processHost().start(error); }
void engineStop() { processHost().stop(); }

void servePipe() { ipc::runPipeServer(*processHost().engine()); }

}  // namespace korvel::svc
