// What a path of the caller means to the service. Drive letters of network shares and of subst belong to the
// caller's session; the service runs in another one and does not see them. Pure and thread-safe.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace korvel::ctl {

/// What the system says about a drive letter.
struct DriveFacts {
  bool remote = false;  ///< a network drive
  std::wstring share;   ///< the share behind it, "\\server\share"; empty when it is not known
  std::wstring device;  ///< what the letter stands for, as the system stores it; empty when it is not in use

  bool operator==(const DriveFacts&) const = default;
};
/// Looks up one letter, A to Z.
using DriveLookup = std::function<DriveFacts(wchar_t letter)>;

enum class DriveOutcome {
  kSame,    ///< the service sees the same file under the same path
  kFolder,  ///< the letter stands for a local folder; the path now begins with that folder
  kShare,   ///< on a network share, which the service's account may be unable to reach
  kHidden,  ///< on a drive that only the caller sees, and nothing is known about what is behind it
};

struct ServicePath {
  DriveOutcome outcome = DriveOutcome::kSame;
  std::wstring path;  ///< for the service; for kHidden as it was given

  bool operator==(const ServicePath&) const = default;
};

/// `path` is absolute. A letter may stand for a folder on another such letter; a circle of them is kHidden.
ServicePath pathForService(std::wstring_view path, const DriveLookup& lookup);

}  // namespace korvel::ctl
