// Writes into the Windows event log, and registers the source of what is written. Results are Windows error
// codes, 0 for success.
#pragma once

#include <string>

#include "base/unique_resource.h"
#include "korvelctl/model/event_record.h"

namespace korvel::ctl {

/// Whether the source is registered with a file of texts that exists. Without it events are written all the
/// same, but the event viewer shows their strings without the sentences around them.
bool eventSourceRegistered();
/// Makes the program `messageFile` the source's file of texts. Needs the rights of an administrator.
uint32_t registerEventSource(const std::wstring& messageFile);
/// Removes the source; success also when it is not there. What was written stays in the log.
uint32_t unregisterEventSource();

struct EventSourceTraits {
  using Value = HANDLE;
  static Value empty() { return nullptr; }
  static bool valid(HANDLE source) { return source != nullptr; }
  static void close(HANDLE source) { ::DeregisterEventSource(source); }
};

/// Not thread-safe.
class EventLog {
 public:
  /// Opens the log. On failure no event is written, and the code is that of every write.
  EventLog();
  uint32_t write(const EventRecord& record) const;

 private:
  UniqueResource<EventSourceTraits> source_;
  uint32_t openError_ = 0;
};

}  // namespace korvel::ctl
