// Sole owner of one operating-system resource, described by a small traits type:
//
//   struct Traits {
//     using Value = HANDLE;
//     static Value empty();             // what a moved-from owner holds
//     static bool valid(Value value);   // false for every value that the API uses for "no resource"
//     static void close(Value value);   // called only with a valid value
//   };
//
// Closing preserves GetLastError(), because error texts are formed from it after owners have gone out of
// scope. An owner is not thread-safe; move it, or guard it.
#pragma once

#include <utility>

#include "base/win.h"

namespace korvel {

/// Restores the thread's last-error value at the end of the scope.
class LastErrorKeeper {
 public:
  LastErrorKeeper() : code_(::GetLastError()) {}
  ~LastErrorKeeper() { ::SetLastError(code_); }
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

 private:
  DWORD code_;
};

template <typename Traits>
class UniqueResource {
 public:
  using Value = typename Traits::Value;

  UniqueResource() = default;
  explicit UniqueResource(Value value) : value_(value) {}
  ~UniqueResource() { reset(); }
  UniqueResource(UniqueResource&& other) noexcept : value_(other.release()) {}
  UniqueResource& operator=(UniqueResource&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  UniqueResource(const UniqueResource&) = delete;
  UniqueResource& operator=(const UniqueResource&) = delete;

  explicit operator bool() const { return Traits::valid(value_); }
  Value get() const { return value_; }
  [[nodiscard]] Value release() { return std::exchange(value_, Traits::empty()); }

  /// Closes the held resource, then holds `value`.
  void reset(Value value = Traits::empty()) {
    const Value old = std::exchange(value_, value);
    if (!Traits::valid(old)) return;
    const LastErrorKeeper keepLastError;
    Traits::close(old);
  }

  /// For API calls that return the resource through a pointer: empties the owner first.
  Value* receive() {
    reset();
    return &value_;
  }

 private:
  Value value_ = Traits::empty();
};

struct KernelHandleTraits {
  using Value = HANDLE;
  static Value empty() { return nullptr; }
  static bool valid(HANDLE handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  static void close(HANDLE handle) { ::CloseHandle(handle); }
};
/// Files, pipes, events, threads: every handle that CloseHandle closes. Both null and
/// INVALID_HANDLE_VALUE count as empty.
using UniqueHandle = UniqueResource<KernelHandleTraits>;

struct FindHandleTraits {
  using Value = HANDLE;
  static Value empty() { return INVALID_HANDLE_VALUE; }
  static bool valid(HANDLE handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  static void close(HANDLE handle) { ::FindClose(handle); }
};
using UniqueFindHandle = UniqueResource<FindHandleTraits>;

struct LocalMemoryTraits {
  using Value = void*;
  static Value empty() { return nullptr; }
  static bool valid(void* memory) { return memory != nullptr; }
  static void close(void* memory) { ::LocalFree(memory); }
};
using UniqueLocalMemory = UniqueResource<LocalMemoryTraits>;

}  // namespace korvel
