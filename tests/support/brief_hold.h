// Another program that has a file open for a moment, as a virus scanner or an indexer does. Windows only.
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "base/unique_resource.h"

namespace korvel::test {

/// Holds a file so that it can be read, but neither moved, replaced, written nor deleted, and lets go after
/// 0.3 s.
class BriefHold {
 public:
  explicit BriefHold(const std::wstring& path)
      : file_(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, /*security=*/nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr)),
        holder_([this] {
          std::this_thread::sleep_for(std::chrono::milliseconds(300));
          file_.reset();
        }) {}
  ~BriefHold() { holder_.join(); }
  BriefHold(const BriefHold&) = delete;
  BriefHold& operator=(const BriefHold&) = delete;

 private:
  UniqueHandle file_;
  std::thread holder_;
};

}  // namespace korvel::test
