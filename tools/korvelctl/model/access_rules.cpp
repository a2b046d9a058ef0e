#include "korvelctl/model/access_rules.h"

#include <algorithm>

#include "base/paths.h"
#include "base/text.h"

namespace korvel::ctl {
namespace {

constexpr std::string_view kTrusted[] = {
    "S-1-5-18",                                                        // the system
    "S-1-5-32-544",                                                    // administrators
    "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",  // the installer of Windows
};
/// Stands for the owner of what is created below. Only a trusted account can create something there, or else
/// that account has an entry of its own, which is reported.
constexpr std::string_view kCreatorOwner = "S-1-3-0";

// Rights to a file or folder, as the system numbers them.
constexpr uint32_t kReadData = 0x1;
constexpr uint32_t kWriteData = 0x2;       // a folder: create files in it
constexpr uint32_t kAppendData = 0x4;      // a folder: create folders in it
constexpr uint32_t kWriteExtended = 0x10;  // extended attributes
constexpr uint32_t kDeleteChild = 0x40;
constexpr uint32_t kWriteAttributes = 0x100;
constexpr uint32_t kDelete = 0x10000;
constexpr uint32_t kWriteList = 0x40000;
constexpr uint32_t kWriteOwner = 0x80000;
constexpr uint32_t kGenericAll = 0x10000000;
constexpr uint32_t kGenericWrite = 0x40000000;
constexpr uint32_t kGenericRead = 0x80000000;

constexpr uint32_t kChanging = kWriteData | kAppendData | kWriteExtended | kDeleteChild | kWriteAttributes |
                               kDelete | kWriteList | kWriteOwner | kGenericAll | kGenericWrite;
constexpr uint32_t kLooking = kReadData | kGenericRead;

std::wstring entriesOf(ProtectedFolder folder, const wchar_t* flags) {
  const auto entry = [flags](const wchar_t* rights, const wchar_t* account) {
    return std::wstring(L"(A;") + flags + L";" + rights + L";;;" + account + L")";
  };
  std::wstring entries = entry(L"FA", L"SY") + entry(L"FA", L"BA");
  if (folder != ProtectedFolder::kQuarantine) entries += entry(L"0x1200a9", L"BU");  // read and execute
  return entries;
}

std::wstring comparable(std::wstring_view path) {
  std::wstring text = lowerWide(path);
  std::replace(text.begin(), text.end(), L'/', L'\\');
  if (text.starts_with(L"\\\\?\\") && !text.starts_with(L"\\\\?\\unc\\")) text.erase(0, 4);
  while (text.ends_with(L'\\')) text.pop_back();
  return text;
}

/// Both comparable.
bool isOrLiesIn(const std::wstring& path, const std::wstring& folder) {
  return path == folder || path.starts_with(folder + L"\\");
}

}  // namespace

std::wstring folderDescriptor(ProtectedFolder folder) { return L"O:BAD:PAI" + entriesOf(folder, L"OICI"); }

std::wstring contentDescriptor(ProtectedFolder folder, bool isFolder) {
  return L"O:BAD:ARAI" + entriesOf(folder, isFolder ? L"OICIID" : L"ID");
}

bool isTrustedAccount(std::string_view account) {
  return std::find(std::begin(kTrusted), std::end(kTrusted), account) != std::end(kTrusted);
}

std::vector<AccessProblem> accessProblems(const AccessList& list, ProtectedFolder folder) {
  std::vector<AccessProblem> problems;
  if (!list.present) {
    problems.push_back({AccessFault::kNoList, {}});
    return problems;
  }
  const auto add = [&problems](AccessFault fault, const std::string& account) {
    const AccessProblem problem{fault, account};
    if (std::find(problems.begin(), problems.end(), problem) == problems.end()) problems.push_back(problem);
  };
  for (size_t i = 0; i < list.entries.size(); ++i) {
    const AccessEntry& entry = list.entries[i];
    if (!entry.allows || isTrustedAccount(entry.account)) continue;
    if (entry.inheritOnly && entry.account == kCreatorOwner) continue;
    uint32_t mask = entry.mask;
    // Entries count in their order: what an earlier one denies the same account stays denied.
    for (size_t before = 0; before < i; ++before) {
      const AccessEntry& other = list.entries[before];
      if (!other.allows && other.account == entry.account && (!other.inheritOnly || entry.inheritOnly))
        mask &= ~other.mask;
    }
    if ((mask & kChanging) != 0) {
      add(AccessFault::kMayChange, entry.account);
    } else if (folder == ProtectedFolder::kQuarantine && (mask & (kLooking | kGenericAll)) != 0) {
      add(AccessFault::kMayLook, entry.account);
    }
  }
  if (!isTrustedAccount(list.owner)) add(AccessFault::kOwnerMayChange, list.owner);
  return problems;
}

bool mayBeProtected(std::wstring_view folder, const std::vector<std::wstring>& shared) {
  const std::wstring path = comparable(folder);
  if (path.empty() || rootLength(path + L"\\") >= path.size()) return false;
  for (size_t i = 0; i < shared.size(); ++i) {
    const std::wstring other = comparable(shared[i]);
    if (other.empty()) continue;
    if (isOrLiesIn(other, path)) return false;
    if (i == 0 && isOrLiesIn(path, other)) return false;
  }
  return true;
}

}  // namespace korvel::ctl
