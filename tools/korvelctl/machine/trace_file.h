// The file of --trace: a line of JSON for every exchange, each in the form of docs/vectors. Not thread-safe.
#pragma once

#include <string>

#include "base/unique_resource.h"
#include "base/win.h"
#include "protocol/frame.h"

namespace korvel::ctl {

class TraceFile {
 public:
  /// Replaces what is at `path`. False with the last error set when it cannot be written.
  bool open(const std::wstring& path);

  /// `reply` is null when there was none; `result` says how the exchange ended. Nothing without a file. A
  /// line that cannot be written is lost: a trace never ends a command.
  void add(const ipc::Frame& request, const ipc::Frame* reply, const char* result, uint64_t milliseconds);

 private:
  UniqueHandle file_;
};

}  // namespace korvel::ctl
