#include "base/files.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "base/long_path.h"
#include "base/mutex.h"
#include "base/paths.h"
#include "base/sizes.h"

#include <sddl.h>

namespace korvel {
namespace {

constexpr DWORD kIoPieceBytes = 1 * kMiB;
constexpr size_t kGrowthBytes = 64 * kKiB;
constexpr DWORD kProtectingAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Full access for the system and the administrators, also to what is made inside; nothing is inherited.
constexpr wchar_t kSystemAndAdministrators[] = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

constexpr int kMostTries = 5;
constexpr DWORD kPauseBetweenTriesMs = 120;

/// The handle, if it is one of a file on a disk. Opening a pipe or a device does not wait, but reading or
/// writing it may do so for ever.
UniqueHandle onlyDiskFile(UniqueHandle file) {
  if (!file || ::GetFileType(file.get()) == FILE_TYPE_DISK) return file;
  file.reset();
  ::SetLastError(ERROR_BAD_FILE_TYPE);
  return file;
}

UniqueHandle createForWriting(const std::wstring& path) {
  return onlyDiskFile(UniqueHandle(
      ::CreateFileW(forFileApi(path).c_str(), GENERIC_WRITE, kShareAll, /*security=*/nullptr, CREATE_ALWAYS,
                    FILE_ATTRIBUTE_NORMAL | kOpenAnonymously, /*template=*/nullptr)));
}

/// Never opens what is there already, and no link is followed.
UniqueHandle createTemporary(const std::wstring& path) {
  return onlyDiskFile(UniqueHandle(
      ::CreateFileW(path.c_str(), GENERIC_WRITE | WRITE_DAC, FILE_SHARE_READ, /*security=*/nullptr,
                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | kOpenAnonymously,
                    /*template=*/nullptr)));
}

/// Gives `to` the access list of the file at `from`, if there is one. A file system without access lists is
/// no reason to fail.
void copyAccessList(const std::wstring& from, HANDLE to) {
  const UniqueHandle source(::CreateFileW(
      from.c_str(), READ_CONTROL, kShareAll, /*security=*/nullptr, OPEN_EXISTING,
      FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS | kOpenAnonymously, /*template=*/nullptr));
  if (!source) return;
  DWORD bytes = 0;
  (void)::GetKernelObjectSecurity(source.get(), DACL_SECURITY_INFORMATION, nullptr, 0, &bytes);
  std::vector<unsigned char> descriptor(bytes);
  if (bytes == 0 ||
      !::GetKernelObjectSecurity(source.get(), DACL_SECURITY_INFORMATION, descriptor.data(), bytes, &bytes)) {
    return;
  }
  (void)::SetKernelObjectSecurity(to, DACL_SECURITY_INFORMATION, descriptor.data());
}

bool isDirectory(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(forFileApi(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// createDirectories(), with `security` for the last directory.
bool createTree(const std::wstring& path, SECURITY_ATTRIBUTES* security) {
  if (path.empty()) {
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return false;
  }
  if (isDirectory(path)) return true;

  DWORD code = ERROR_SUCCESS;
  size_t end = rootLength(path);
  while (end < path.size()) {
    end = path.find_first_of(L"\\/", end);
    if (end == std::wstring::npos) end = path.size();
    const std::wstring step = forFileApi(path.substr(0, end));
    while (end < path.size() && isPathSeparator(path[end])) ++end;
    const bool last = end == path.size();
    code = ::CreateDirectoryW(step.c_str(), last ? security : nullptr) ? ERROR_SUCCESS : ::GetLastError();
  }
  if (isDirectory(path)) return true;
  // CreateDirectoryW reports ERROR_ALREADY_EXISTS also when a file has that name.
  ::SetLastError(code != ERROR_SUCCESS ? code : ERROR_PATH_NOT_FOUND);
  return false;
}

/// The files that are being rewritten. Its lock is never held while a file is written.
class FilesInTurn {
 public:
  void take(const std::wstring& path) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    while (!taken_.insert(path).second) freed_.wait(mutex_);
  }
  void giveBack(const std::wstring& path) EXCLUDES(mutex_) {
    {
      const MutexLock lock(mutex_);
      taken_.erase(path);
    }
    freed_.notifyAll();
  }

 private:
  Mutex mutex_;
  ConditionVariable freed_;
  std::set<std::wstring> taken_ GUARDED_BY(mutex_);
};

FilesInTurn& filesInTurn() {
  static FilesInTurn& files = *new FilesInTurn;  // never destroyed: threads may save while the process ends
  return files;
}

}  // namespace

PathStatus pathStatusFromError(DWORD code) {
  switch (code) {
    case ERROR_SHARING_VIOLATION:  // another process has it open, so it exists
      return PathStatus::kExists;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY:
      return PathStatus::kMissing;
    default:
      return PathStatus::kUnreadable;
  }
}

PathStatus pathStatus(const std::wstring& path) {
  if (::GetFileAttributesW(forFileApi(path).c_str()) != INVALID_FILE_ATTRIBUTES) return PathStatus::kExists;
  return pathStatusFromError(::GetLastError());
}

bool createDirectories(const std::wstring& path) { return createTree(path, /*security=*/nullptr); }

bool createProtectedDirectory(const std::wstring& path) {
  UniqueLocalMemory descriptor;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kSystemAndAdministrators, SDDL_REVISION_1,
                                                              descriptor.receive(), /*size=*/nullptr)) {
    return false;
  }
  SECURITY_ATTRIBUTES security{
      .nLength = sizeof security, .lpSecurityDescriptor = descriptor.get(), .bInheritHandle = FALSE};
  return createTree(path, &security);
}

UniqueHandle openForReading(const std::wstring& path, uint64_t maxBytes) {
  UniqueHandle file = onlyDiskFile(UniqueHandle(::CreateFileW(
      forFileApi(path).c_str(), GENERIC_READ, kShareAll, /*security=*/nullptr, OPEN_EXISTING,
      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN | kOpenAnonymously, /*template=*/nullptr)));
  if (!file) return file;
  LARGE_INTEGER size{};
  if (!::GetFileSizeEx(file.get(), &size)) {  // a whole volume has none
    file.reset();
  } else if (static_cast<uint64_t>(size.QuadPart) > maxBytes) {
    file.reset();
    ::SetLastError(ERROR_FILE_TOO_LARGE);
  }
  return file;
}

bool readToEnd(HANDLE file, std::string& bytes, uint64_t maxBytes) {
  bytes.clear();
  LARGE_INTEGER size{};
  if (!::GetFileSizeEx(file, &size)) return false;
  if (static_cast<uint64_t>(size.QuadPart) > maxBytes) {
    ::SetLastError(ERROR_FILE_TOO_LARGE);
    return false;
  }
  // One spare byte, so that the next read either finds the end of the file or finds that it has grown.
  bytes.resize(static_cast<size_t>(size.QuadPart) + 1);

  size_t done = 0;
  bool ok = true;
  for (;;) {
    const DWORD want = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, kIoPieceBytes));
    DWORD got = 0;
    ok = ::ReadFile(file, bytes.data() + done, want, &got, /*overlapped=*/nullptr) != FALSE;
    if (!ok || got == 0) break;
    done += got;
    if (done > maxBytes) {
      ::SetLastError(ERROR_FILE_TOO_LARGE);
      ok = false;
      break;
    }
    if (done == bytes.size()) bytes.resize(done + kGrowthBytes);
  }
  bytes.resize(done);
  return ok;
}

bool readWholeFile(const std::wstring& path, std::string& bytes, uint64_t maxBytes) {
  const UniqueHandle file = openForReading(path, maxBytes);
  if (file && readToEnd(file.get(), bytes, maxBytes)) return true;
  bytes.clear();
  return false;
}

bool writeAll(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    const DWORD want = static_cast<DWORD>(std::min<size_t>(bytes.size(), kIoPieceBytes));
    DWORD written = 0;
    if (!::WriteFile(file, bytes.data(), want, &written, /*overlapped=*/nullptr)) return false;
    if (written == 0) {
      ::SetLastError(ERROR_DISK_FULL);
      return false;
    }
    bytes.remove_prefix(written);
  }
  return true;
}

bool tryWhileHeld(const std::function<bool()>& attempt, const StopToken& stop) {
  for (int tries = 1; !attempt(); ++tries) {
    const DWORD code = ::GetLastError();
    const bool held =
        code == ERROR_ACCESS_DENIED || code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION;
    if (!held || tries == kMostTries || stop.stop_requested()) return false;
    ::Sleep(kPauseBetweenTriesMs);
  }
  return true;
}

FileReplacement::FileReplacement(const std::wstring& target, const std::wstring& temporary)
    : target_(forFileApi(target)), temporary_(forFileApi(temporary)) {}

FileReplacement::~FileReplacement() {
  file_.reset();
  if (!temporaryExists_) return;
  const LastErrorKeeper keepLastError;
  ::DeleteFileW(temporary_.c_str());
}

bool FileReplacement::open() {
  constexpr int kAttempts = 2;  // another process may put a file there in between
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    (void)::DeleteFileW(temporary_.c_str());
    file_ = createTemporary(temporary_);
    if (file_ || ::GetLastError() != ERROR_FILE_EXISTS) break;
  }
  temporaryExists_ = static_cast<bool>(file_);
  if (temporaryExists_) copyAccessList(target_, file_.get());
  return temporaryExists_;
}

bool FileReplacement::write(std::string_view bytes) { return writeAll(file_.get(), bytes); }

bool FileReplacement::finish() {
  const bool flushed = ::FlushFileBuffers(file_.get()) != FALSE;
  file_.reset();
  return flushed;
}

bool FileReplacement::commit(bool clearAttributes, const StopToken& stop) {
  file_.reset();
  if (clearAttributes) {
    (void)::SetFileAttributesW(target_.c_str(), FILE_ATTRIBUTE_NORMAL);  // best effort: the move decides
    // Some file systems keep the read-only attribute in the access list, which has been carried over.
    (void)::SetFileAttributesW(temporary_.c_str(), FILE_ATTRIBUTE_NORMAL);
  }
  const auto move = [this] {
    return ::MoveFileExW(temporary_.c_str(), target_.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
  };
  if (tryWhileHeld(move, stop)) {
    temporaryExists_ = false;
    return true;
  }
  const LastErrorKeeper keepLastError;
  temporaryExists_ = !::DeleteFileW(temporary_.c_str());
  return false;
}

RewriteTurn::RewriteTurn(const std::wstring& path) : path_(path) { filesInTurn().take(path_); }
RewriteTurn::~RewriteTurn() { filesInTurn().giveBack(path_); }

bool rewriteTextFile(const std::wstring& path, std::string_view bytes, const StopToken& stop) {
  // All calls for a file use one temporary name, so a kill leaves at most one temporary.
  const RewriteTurn turn(path);

  // A move would replace a protected file, which opening for writing refuses; rewrite such a file in place.
  const DWORD attributes = ::GetFileAttributesW(forFileApi(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & kProtectingAttributes) == 0) {
    FileReplacement replacement(path, path + L".tmp");
    if (replacement.open()) {
      // The disk is full: rewriting in place would only destroy the old text.
      if (!replacement.write(bytes) || !replacement.finish()) return true;
      if (replacement.commit(/*clearAttributes=*/false, stop)) return true;
    }
  }
  const UniqueHandle file = createForWriting(path);
  if (!file) return false;
  (void)writeAll(file.get(), bytes);
  return true;
}

}  // namespace korvel
