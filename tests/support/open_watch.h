// Sees how this program opens files. Windows only.
#pragma once

#include <string>
#include <vector>

#include "base/mutex.h"
#include "support/import_patch.h"

namespace korvel::test {

/// Notes the flags of every CreateFileW of this program. One at a time.
class OpenWatch {
 public:
  OpenWatch() { opens() = {}; }

  /// The flags of the opens of paths that hold `part`, oldest first.
  std::vector<DWORD> flagsFor(const std::wstring& part) const {
    const MutexLock lock(mutex());
    std::vector<DWORD> found;
    for (const Open& open : opens()) {
      if (open.path.find(part) != std::wstring::npos) found.push_back(open.flags);
    }
    return found;
  }

  /// Whether there was such an open, and all of them kept the server of a pipe from learning who opens it.
  bool allAnonymous(const std::wstring& part) const {
    constexpr DWORD kQualityOfService =
        SECURITY_SQOS_PRESENT | SECURITY_DELEGATION | SECURITY_CONTEXT_TRACKING;
    const std::vector<DWORD> all = flagsFor(part);
    for (const DWORD flags : all) {
      if ((flags & kQualityOfService) != (SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS)) return false;
    }
    return !all.empty();
  }

 private:
  struct Open {
    std::wstring path;
    DWORD flags;
  };
  static Mutex& mutex() {
    static Mutex one;
    return one;
  }
  static std::vector<Open>& opens() {
    static std::vector<Open> all;
    return all;
  }
  static HANDLE WINAPI noteAndOpen(const wchar_t* path, DWORD access, DWORD share,
                                   SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                                   HANDLE pattern) {
    {
      const MutexLock lock(mutex());
      opens().push_back({path, flags});
    }
    static const auto open = reinterpret_cast<decltype(&::CreateFileW)>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32"), "CreateFileW")));
    return open(path, access, share, security, disposition, flags, pattern);
  }

  const ImportPatch patch_{"CreateFileW", noteAndOpen};
};

}  // namespace korvel::test
