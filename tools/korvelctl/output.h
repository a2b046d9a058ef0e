// The standard output and error output of korvelctl: UTF-8 where redirected, UTF-16 on a console. Not
// thread-safe.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/win.h"

namespace korvel::ctl {

class Output {
 public:
  /// STD_OUTPUT_HANDLE or STD_ERROR_HANDLE. If the process has no such handle, output is discarded.
  explicit Output(DWORD standardHandle);

  /// `text` is UTF-8 and printable; lines end in LF.
  void write(std::string_view text) const;
  bool isConsole() const { return isConsole_; }
  /// How many characters fit into a console line without wrapping; 79 without a console.
  size_t columns() const;

 private:
  HANDLE handle_;
  bool isConsole_;
};

}  // namespace korvel::ctl
