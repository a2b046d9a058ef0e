// Where the one running engine is found by the pipe server's thread. The engine host owns the object; the
// slot holds a pointer and never looks behind it.
#pragma once

namespace korvel::svc {

class ScanWorker;

/// The running engine, or null. Set and read on the service (or console) thread only.
ScanWorker* engineInSlot();
void setEngineInSlot(ScanWorker* engine);

}  // namespace korvel::svc
