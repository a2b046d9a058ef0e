#include "korvelctl/machine/folder_rights.h"

#include <functional>

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "korvelctl/machine/privileges.h"

#include <aclapi.h>
#include <sddl.h>

namespace korvel::ctl {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kAsItIs = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;
constexpr SECURITY_INFORMATION kOwnerAndList = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
constexpr std::wstring_view kIndexName = L"quarantine.db";
/// Deeper than any folder of the service; what lies below would have to be somebody's trap.
constexpr int kDeepest = 64;

UniqueHandle openForRights(const std::wstring& path, DWORD access) {
  return UniqueHandle(::CreateFileW(forFileApi(path).c_str(), access, kShareAll, /*security=*/nullptr,
                                    OPEN_EXISTING, kAsItIs, /*template=*/nullptr));
}

std::string identifierText(PSID sid) {
  UniqueLocalMemory text;
  LPWSTR wide = nullptr;
  if (sid == nullptr || !::ConvertSidToStringSidW(sid, &wide)) return {};
  text.reset(wide);
  return toUtf8(wide);
}

/// Empty with the reason in GetLastError().
UniqueLocalMemory descriptorFrom(const std::wstring& text) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  (void)::ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor,
                                                               /*size=*/nullptr);
  return UniqueLocalMemory(descriptor);
}

/// Entries of the kinds that other programs rarely use are taken for allowing ones.
AccessEntry entryFrom(const ACE_HEADER* header) {
  const auto* ace = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(header);
  AccessEntry entry;
  entry.allows = header->AceType != ACCESS_DENIED_ACE_TYPE;
  entry.inheritOnly = (header->AceFlags & INHERIT_ONLY_ACE) != 0;
  entry.mask = ace->Mask;
  const bool plain = header->AceType == ACCESS_ALLOWED_ACE_TYPE ||
                     header->AceType == ACCESS_DENIED_ACE_TYPE ||
                     header->AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
  if (plain) entry.account = identifierText(const_cast<DWORD*>(&ace->SidStart));
  return entry;
}

AccessList listFrom(PSECURITY_DESCRIPTOR descriptor) {
  AccessList list;
  PSID owner = nullptr;
  BOOL defaulted = FALSE, present = FALSE;
  if (::GetSecurityDescriptorOwner(descriptor, &owner, &defaulted)) list.owner = identifierText(owner);
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  if (::GetSecurityDescriptorControl(descriptor, &control, &revision))
    list.inherits = (control & SE_DACL_PROTECTED) == 0;
  PACL dacl = nullptr;
  list.present =
      ::GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) && present && dacl != nullptr;
  if (!list.present) return list;
  for (DWORD i = 0; i < dacl->AceCount; ++i) {
    void* ace = nullptr;
    if (::GetAce(dacl, i, &ace)) list.entries.push_back(entryFrom(static_cast<const ACE_HEADER*>(ace)));
  }
  return list;
}

/// Whether a file or folder below is treated, with what is in it.
using Covers = std::function<bool(const std::wstring& path)>;

class Protection {
 public:
  explicit Protection(ProtectedFolder kind) : kind_(kind) {}

  void folder(const std::wstring& path, const Covers& covers) {
    // The folder first: from then on nobody else can put something in the way of what follows.
    if (one(path, folderDescriptor(kind_)) == Kind::kFolder) children(path, covers, 0);
  }
  void file(const std::wstring& path) { (void)one(path, contentDescriptor(kind_, /*isFolder=*/false)); }

  RightsOutcome take() { return std::move(outcome_); }

 private:
  enum class Kind { kFolder, kFile, kSkipped };

  Kind failed(const std::wstring& path) {
    outcome_.failures.push_back({path, ::GetLastError()});
    return Kind::kSkipped;
  }

  /// `descriptor` is empty for a child: it then depends on what the child is.
  Kind one(const std::wstring& path, std::wstring descriptor) {
    const UniqueHandle object =
        openForRights(path, READ_CONTROL | WRITE_DAC | WRITE_OWNER | FILE_READ_ATTRIBUTES | SYNCHRONIZE);
    BY_HANDLE_FILE_INFORMATION info{};
    if (!object || !::GetFileInformationByHandle(object.get(), &info)) return failed(path);
    const bool isFolder = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
        (!isFolder && info.nNumberOfLinks > 1)) {
      outcome_.links.push_back(path);
      return Kind::kSkipped;
    }
    if (descriptor.empty()) descriptor = contentDescriptor(kind_, isFolder);
    noticeOwner(object.get(), path);
    const UniqueLocalMemory wanted = descriptorFrom(descriptor);
    if (!wanted || !::SetKernelObjectSecurity(object.get(), kOwnerAndList, wanted.get())) return failed(path);
    ++outcome_.changed;
    return isFolder ? Kind::kFolder : Kind::kFile;
  }

  void noticeOwner(HANDLE object, const std::wstring& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (::GetSecurityInfo(object, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                          nullptr, &descriptor) != ERROR_SUCCESS) {
      return;
    }
    const UniqueLocalMemory owned(descriptor);
    if (!isTrustedAccount(listFrom(descriptor).owner)) outcome_.foreign.push_back(path);
  }

  void children(const std::wstring& folder, const Covers& covers, int depth) {
    WIN32_FIND_DATAW entry{};
    const UniqueFindHandle find(::FindFirstFileExW((forFileApi(folder) + L"\\*").c_str(), FindExInfoBasic,
                                                   &entry, FindExSearchNameMatch, /*filter=*/nullptr,
                                                   /*flags=*/0));
    if (!find) {
      (void)failed(folder);
      return;
    }
    do {
      const std::wstring name = entry.cFileName;
      const std::wstring path = joinPath(folder, name);
      if (name == L"." || name == L".." || (covers && !covers(path))) continue;
      if (one(path, {}) != Kind::kFolder) continue;
      if (depth < kDeepest) {
        children(path, covers, depth + 1);
      } else {
        ::SetLastError(ERROR_DIRECTORY);
        (void)failed(path);
      }
    } while (::FindNextFileW(find.get(), &entry));
  }

  const ProtectedFolder kind_;
  RightsOutcome outcome_;
};

/// False with the reason in GetLastError(), which is ERROR_ALREADY_EXISTS when something has the name.
bool makeClosedFolder(const std::wstring& folder, ProtectedFolder kind) {
  const UniqueLocalMemory descriptor = descriptorFrom(folderDescriptor(kind));
  if (!descriptor) return false;
  SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), /*inherit=*/FALSE};
  return ::CreateDirectoryW(forFileApi(folder).c_str(), &attributes) != FALSE;
}

}  // namespace

uint32_t readAccessList(const std::wstring& path, AccessList& list) {
  const UniqueHandle object = openForRights(path, READ_CONTROL);
  if (!object) return ::GetLastError();
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD result = ::GetSecurityInfo(object.get(), SE_FILE_OBJECT, kOwnerAndList, nullptr, nullptr,
                                         nullptr, nullptr, &descriptor);
  if (result != ERROR_SUCCESS) return result;
  const UniqueLocalMemory owned(descriptor);
  list = listFrom(descriptor);
  return ERROR_SUCCESS;
}

std::string accountName(const std::string& identifier) {
  PSID sid = nullptr;
  if (!::ConvertStringSidToSidW(toWide(identifier).c_str(), &sid)) return identifier;
  const UniqueLocalMemory owned(sid);
  wchar_t name[256] = {}, domain[256] = {};
  DWORD nameUnits = 256, domainUnits = 256;
  SID_NAME_USE use{};
  if (!::LookupAccountSidW(/*machine=*/nullptr, sid, name, &nameUnits, domain, &domainUnits, &use))
    return identifier;
  return domain[0] == 0 ? toUtf8(name) : toUtf8(domain) + "\\" + toUtf8(name);
}

RightsOutcome protectFolder(const std::wstring& folder, ProtectedFolder kind,
                            const std::wstring& quarantine) {
  const PrivilegesOn privileges;
  Protection protection(kind);
  const bool made = makeClosedFolder(folder, kind);
  if (!made && ::GetLastError() != ERROR_ALREADY_EXISTS) {
    RightsOutcome outcome;
    outcome.failures.push_back({folder, ::GetLastError()});
    return outcome;
  }
  Covers covers;
  if (kind == ProtectedFolder::kQuarantine) {
    covers = [](const std::wstring& path) { return lowerWide(fileName(path)).starts_with(kIndexName); };
  } else if (!quarantine.empty()) {
    covers = [&](const std::wstring& path) { return lowerWide(path) != lowerWide(quarantine); };
  }
  protection.folder(folder, covers);
  RightsOutcome outcome = protection.take();
  if (made) std::erase(outcome.foreign, folder);  // whoever runs this is no stranger
  return outcome;
}

uint32_t releaseFolder(const std::wstring& folder) {
  const PrivilegesOn privileges;
  ACL empty{};
  if (!::InitializeAcl(&empty, sizeof empty, ACL_REVISION)) return ::GetLastError();
  std::wstring name = forFileApi(folder);
  return ::SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT,
                                 DACL_SECURITY_INFORMATION | UNPROTECTED_DACL_SECURITY_INFORMATION,
                                 /*owner=*/nullptr, /*group=*/nullptr, &empty, /*sacl=*/nullptr);
}

}  // namespace korvel::ctl
