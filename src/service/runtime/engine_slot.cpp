#include "service/runtime/engine_slot.h"

namespace korvel::svc {
namespace {
ScanWorker* slot = nullptr;
}

ScanWorker* engineInSlot() { return slot; }
void setEngineInSlot(ScanWorker* engine) { slot = engine; }

}  // namespace korvel::svc
