#include "base/files.h"

#include <algorithm>
#include <utility>

#include "base/long_path.h"
#include "base/mutex.h"
#include "base/paths.h"
#include "base/sizes.h"

namespace korvel {
namespace {

constexpr DWORD kIoPieceBytes = 1 * kMiB;
constexpr size_t kGrowthBytes = 64 * kKiB;
constexpr DWORD kProtectingAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

UniqueHandle createForWriting(const std::wstring& path) {
  return UniqueHandle(::CreateFileW(forFileApi(path).c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    /*security=*/nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                    /*template=*/nullptr));
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

bool createDirectories(const std::wstring& path) {
  const auto isDirectory = [](const std::wstring& p) {
    const DWORD attributes = ::GetFileAttributesW(forFileApi(p).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  };
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
    code = ::CreateDirectoryW(step.c_str(), /*security=*/nullptr) ? ERROR_SUCCESS : ::GetLastError();
    while (end < path.size() && isPathSeparator(path[end])) ++end;
  }
  if (isDirectory(path)) return true;
  // CreateDirectoryW reports ERROR_ALREADY_EXISTS also when a file has that name.
  ::SetLastError(code != ERROR_SUCCESS ? code : ERROR_PATH_NOT_FOUND);
  return false;
}

UniqueHandle openForReading(const std::wstring& path) {
  return UniqueHandle(::CreateFileW(forFileApi(path).c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    /*security=*/nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, /*template=*/nullptr));
}

bool readToEnd(HANDLE file, std::string& bytes) {
  bytes.clear();
  LARGE_INTEGER size{};
  if (!::GetFileSizeEx(file, &size)) return false;
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
    if (done == bytes.size()) bytes.resize(done + kGrowthBytes);
  }
  bytes.resize(done);
  return ok;
}

bool readWholeFile(const std::wstring& path, std::string& bytes) {
  const UniqueHandle file = openForReading(path);
  if (file && readToEnd(file.get(), bytes)) return true;
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

FileReplacement::FileReplacement(const std::wstring& target, const std::wstring& temporary)
    : target_(forFileApi(target)), temporary_(forFileApi(temporary)) {}

FileReplacement::~FileReplacement() {
  file_.reset();
  if (!temporaryExists_) return;
  const LastErrorKeeper keepLastError;
  ::DeleteFileW(temporary_.c_str());
}

bool FileReplacement::open() {
  file_ = createForWriting(temporary_);
  temporaryExists_ = static_cast<bool>(file_);
  return temporaryExists_;
}

bool FileReplacement::write(std::string_view bytes) { return writeAll(file_.get(), bytes); }

bool FileReplacement::finish() {
  const bool flushed = ::FlushFileBuffers(file_.get()) != FALSE;
  file_.reset();
  return flushed;
}

bool FileReplacement::commit(bool clearAttributes) {
  file_.reset();
  if (clearAttributes) {
    (void)::SetFileAttributesW(target_.c_str(), FILE_ATTRIBUTE_NORMAL);  // best effort: the move decides
  }
  if (::MoveFileExW(temporary_.c_str(), target_.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    temporaryExists_ = false;
    return true;
  }
  const LastErrorKeeper keepLastError;
  temporaryExists_ = !::DeleteFileW(temporary_.c_str());
  return false;
}

bool rewriteTextFile(const std::wstring& path, std::string_view bytes) {
  static Mutex turn;  // all calls for a file use one temporary name, so a kill leaves at most one temporary
  const MutexLock lock(turn);

  // A move would replace a protected file, which opening for writing refuses; rewrite such a file in place.
  const DWORD attributes = ::GetFileAttributesW(forFileApi(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & kProtectingAttributes) == 0) {
    FileReplacement replacement(path, path + L".tmp");
    if (replacement.open()) {
      // The disk is full: rewriting in place would only destroy the old text.
      if (!replacement.write(bytes) || !replacement.finish()) return true;
      if (replacement.commit(/*clearAttributes=*/false)) return true;
    }
  }
  const UniqueHandle file = createForWriting(path);
  if (!file) return false;
  (void)writeAll(file.get(), bytes);
  return true;
}

}  // namespace korvel
