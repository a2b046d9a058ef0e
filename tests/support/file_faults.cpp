#include "support/file_faults.h"

#include <cstdint>
#include <mutex>
#include <set>
#include <utility>

#include "support/import_patch.h"

namespace korvel::test {
namespace {

std::mutex mutex;
std::wstring watchedFolder;
std::set<HANDLE> watchedHandles;
size_t failingCall = 0;
DWORD failingCode = 0;
bool failsForEver = false;
size_t callCount = 0;
bool deletionHasFailed = false;
std::string firstFailure;

decltype(&::CreateFileW) systemCreateFile;
decltype(&::ReadFile) systemReadFile;
decltype(&::WriteFile) systemWriteFile;
decltype(&::FlushFileBuffers) systemFlush;
decltype(&::CloseHandle) systemClose;
decltype(&::MoveFileExW) systemMove;
decltype(&::DeleteFileW) systemDelete;
decltype(&::SetFileAttributesW) systemSetAttributes;

bool isWatched(const wchar_t* path) {
  return path != nullptr && std::wstring(path).find(watchedFolder) != std::wstring::npos;
}
bool isWatched(HANDLE file) { return watchedHandles.count(file) != 0; }

/// Counts a call; true when it is to fail, the last error then being set.
bool mustFail(const char* name) {
  ++callCount;
  if (callCount != failingCall && (callCount < failingCall || !failsForEver)) return false;
  if (firstFailure.empty()) firstFailure = name;
  ::SetLastError(failingCode);
  return true;
}

template <typename Subject>
bool fails(const char* name, Subject subject) {
  const std::lock_guard lock(mutex);
  return isWatched(subject) && mustFail(name);
}

HANDLE WINAPI createFile(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                         DWORD disposition, DWORD flags, HANDLE model) {
  if (fails("CreateFile", path)) return INVALID_HANDLE_VALUE;
  const HANDLE file = systemCreateFile(path, access, share, security, disposition, flags, model);
  const DWORD code = ::GetLastError();
  {
    const std::lock_guard lock(mutex);
    if (file != INVALID_HANDLE_VALUE && isWatched(path)) watchedHandles.insert(file);
  }
  ::SetLastError(code);
  return file;
}
BOOL WINAPI readFile(HANDLE file, void* to, DWORD bytes, DWORD* got, OVERLAPPED* overlapped) {
  return fails("ReadFile", file) ? FALSE : systemReadFile(file, to, bytes, got, overlapped);
}
BOOL WINAPI writeFile(HANDLE file, const void* from, DWORD bytes, DWORD* written, OVERLAPPED* overlapped) {
  if (!fails("WriteFile", file)) return systemWriteFile(file, from, bytes, written, overlapped);
  // As a disk that becomes full: a part of it is there.
  const DWORD code = ::GetLastError();
  (void)systemWriteFile(file, from, bytes / 2, written, overlapped);
  ::SetLastError(code);
  return FALSE;
}
BOOL WINAPI flush(HANDLE file) { return fails("FlushFileBuffers", file) ? FALSE : systemFlush(file); }
BOOL WINAPI closeHandle(HANDLE file) {
  bool failing = false;
  {
    const std::lock_guard lock(mutex);
    failing = isWatched(file) && mustFail("CloseHandle");
    watchedHandles.erase(file);
  }
  const DWORD code = ::GetLastError();
  const BOOL closed = systemClose(file);
  if (!failing) return closed;
  ::SetLastError(code);
  return FALSE;
}
BOOL WINAPI moveFile(const wchar_t* from, const wchar_t* to, DWORD flags) {
  return fails("MoveFileEx", from) ? FALSE : systemMove(from, to, flags);
}
BOOL WINAPI deleteFile(const wchar_t* path) {
  if (!fails("DeleteFile", path)) return systemDelete(path);
  const std::lock_guard lock(mutex);
  deletionHasFailed = true;
  return FALSE;
}
BOOL WINAPI setAttributes(const wchar_t* path, DWORD attributes) {
  return fails("SetFileAttributes", path) ? FALSE : systemSetAttributes(path, attributes);
}

}  // namespace

struct FileFault::Patches {
  ImportPatch create{"CreateFileW", createFile};
  ImportPatch read{"ReadFile", readFile};
  ImportPatch write{"WriteFile", writeFile};
  ImportPatch flushing{"FlushFileBuffers", flush};
  ImportPatch closing{"CloseHandle", closeHandle};
  ImportPatch move{"MoveFileExW", moveFile};
  ImportPatch deletion{"DeleteFileW", deleteFile};
  ImportPatch attributes{"SetFileAttributesW", setAttributes};
};

FileFault::FileFault(std::wstring folder, size_t nth, DWORD code, bool forEver) {
  watchedFolder = std::move(folder);
  watchedHandles.clear();
  failingCall = nth;
  failingCode = code;
  failsForEver = forEver;
  callCount = 0;
  deletionHasFailed = false;
  firstFailure.clear();
  // The functions of the system must be known before the first call arrives.
  const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
  const auto find = [kernel](auto& function, const char* name) {
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
        reinterpret_cast<uintptr_t>(::GetProcAddress(kernel, name)));
  };
  find(systemCreateFile, "CreateFileW");
  find(systemReadFile, "ReadFile");
  find(systemWriteFile, "WriteFile");
  find(systemFlush, "FlushFileBuffers");
  find(systemClose, "CloseHandle");
  find(systemMove, "MoveFileExW");
  find(systemDelete, "DeleteFileW");
  find(systemSetAttributes, "SetFileAttributesW");
  patches_ = std::make_unique<Patches>();
}

FileFault::~FileFault() { patches_.reset(); }

size_t FileFault::calls() const {
  const std::lock_guard lock(mutex);
  return callCount;
}
bool FileFault::deletionFailed() const {
  const std::lock_guard lock(mutex);
  return deletionHasFailed;
}
std::string FileFault::failed() const {
  const std::lock_guard lock(mutex);
  return firstFailure;
}

}  // namespace korvel::test
