// Who may do what in the folders of the service: the access lists that the installation gives them, and what
// is wrong with a list that was found. Pure and thread-safe.
//
// Nobody but administrators and the system may change anything in any of them: whoever could write beside
// the program would have it run a library of his, and whoever could write among the data would choose its
// settings or have the quarantine put a file where he likes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::ctl {

enum class ProtectedFolder {
  kProgram,     ///< users may read
  kData,        ///< users may read
  kQuarantine,  ///< users may not even look
};

/// One entry of an access list, in the numbers and names of the system.
struct AccessEntry {
  bool allows = true;        ///< else it denies
  bool inheritOnly = false;  ///< acts only on what is below
  std::string account;       ///< the account's security identifier as text, "S-1-5-18"
  uint32_t mask = 0;

  bool operator==(const AccessEntry&) const = default;
};

struct AccessList {
  std::string owner;      ///< security identifier as text
  bool present = true;    ///< without a list everyone may do everything
  bool inherits = false;  ///< whether changes of the parent folder reach this list
  std::vector<AccessEntry> entries;

  bool operator==(const AccessList&) const = default;
};

/// The descriptor of the folder itself: owned by the administrators, closed to what its parent would pass on.
std::wstring folderDescriptor(ProtectedFolder folder);
/// The descriptor of what lies below: the folder's entries, inherited.
std::wstring contentDescriptor(ProtectedFolder folder, bool isFolder);

enum class AccessFault {
  kNoList,          ///< everyone may do everything
  kMayChange,       ///< the account may write, create, delete or change the list
  kMayLook,         ///< the account may read what only administrators should
  kOwnerMayChange,  ///< the owner may change the list at any time
};

struct AccessProblem {
  AccessFault fault = AccessFault::kMayChange;
  std::string account;  ///< security identifier as text; empty for kNoList

  bool operator==(const AccessProblem&) const = default;
};

/// Each account once, in the order of the list; the owner last. Empty when the list is tight enough, which
/// one inherited from "Program Files" is.
std::vector<AccessProblem> accessProblems(const AccessList& list, ProtectedFolder folder);

/// True for the system, the administrators and the installer of Windows.
bool isTrustedAccount(std::string_view account);

/// Whether `folder` may get an access list of its own for the program: not a drive or a share as a whole, and
/// none of `shared` (folders of the system and of users) or what contains one of these or lies in the Windows
/// folder, the first of them. All paths are absolute.
bool mayBeProtected(std::wstring_view folder, const std::vector<std::wstring>& shared);

}  // namespace korvel::ctl
