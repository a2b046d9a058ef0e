// The log as tests compare it: whole lines without their time, which is different every time. Windows only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"

namespace korvel::test {

/// "[INF] text" for each line of a log, without its line feed. A line too short for a time stays as it is.
inline std::vector<std::string> untimedLines(std::string_view log) {
  constexpr size_t kTimeLength = 13;  // "14:03:07.042 "
  std::vector<std::string> result;
  LineReader lines(log);
  for (std::string_view line; lines.next(line);) {
    result.emplace_back(line.size() < kTimeLength ? line : line.substr(kTimeLength));
  }
  return result;
}

}  // namespace korvel::test
