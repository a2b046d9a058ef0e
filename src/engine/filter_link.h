// The service's end of the minifilter's communication port: a thread that answers the driver's queries one at
// a time, in arrival order.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "base/byte_view.h"
#include "base/stop.h"
#include "base/unique_resource.h"

namespace korvel::svc {

class FilterLink {
 public:
  /// True = allow the access. Runs on the link's thread; must not throw.
  using Callback = std::function<bool(const std::wstring& path)>;

  FilterLink() = default;
  ~FilterLink();
  FilterLink(const FilterLink&) = delete;
  FilterLink& operator=(const FilterLink&) = delete;

  /// Opens the port and starts the thread. False with a Russian text and the HRESULT when the driver is not
  /// available. Call at most once. Throws std::system_error when no thread can be made.
  bool connect(Callback callback, std::string* error);

  /// Ends the thread, then closes the port. The thread waits in the port without a time-out, so this returns
  /// only after the driver has sent one more message, or is gone. The driver's contract requires this order.
  void stop();

  bool connected() const { return connected_.load(); }
  /// File queries answered so far, whether or not the answer could be sent.
  uint64_t handled() const { return handled_.load(); }

 private:
  struct PortTraits {
    using Value = HANDLE;
    static Value empty() { return nullptr; }
    static bool valid(HANDLE port) { return port != nullptr && port != INVALID_HANDLE_VALUE; }
    static void close(HANDLE port);
  };

  void loop();
  void serve(ByteView buffer);
  void answer(uint64_t messageId, bool block);

  UniqueResource<PortTraits> port_;  // constant while the thread runs
  Callback callback_;
  std::atomic<bool> connected_{false};
  std::atomic<uint64_t> handled_{0};
  StopSource stop_;
  std::thread thread_;
};

}  // namespace korvel::svc
