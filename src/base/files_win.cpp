#include "base/files.h"

#include <algorithm>
#include <utility>

#include "base/paths.h"

namespace korvel {
namespace {

constexpr DWORD kIoPieceBytes = 1u << 20;

bool meansMissing(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY:
      return true;
    default:
      return false;
  }
}

UniqueHandle createForWriting(const std::wstring& path) {
  return UniqueHandle(::CreateFileW(path.c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    /*security=*/nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                    /*template=*/nullptr));
}

}  // namespace

PathStatus pathStatus(const std::wstring& path) {
  if (::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) return PathStatus::kExists;
  // A file that is open without sharing is there all the same.
  if (::GetLastError() == ERROR_SHARING_VIOLATION) return PathStatus::kExists;
  return meansMissing(::GetLastError()) ? PathStatus::kMissing : PathStatus::kUnreadable;
}

bool createDirectories(const std::wstring& path) {
  const auto isDirectory = [](const std::wstring& p) {
    const DWORD attributes = ::GetFileAttributesW(p.c_str());
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
    code = ::CreateDirectoryW(path.substr(0, end).c_str(), /*security=*/nullptr) ? ERROR_SUCCESS : ::GetLastError();
    while (end < path.size() && isPathSeparator(path[end])) ++end;
  }
  if (isDirectory(path)) return true;
  // CreateDirectoryW also says "already exists" of a file that stands in the way.
  ::SetLastError(code != ERROR_SUCCESS ? code : ERROR_PATH_NOT_FOUND);
  return false;
}

bool readWholeFile(const std::wstring& path, std::string& bytes) {
  bytes.clear();
  UniqueHandle file(::CreateFileW(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  /*security=*/nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, /*template=*/nullptr));
  if (!file) return false;
  LARGE_INTEGER size{};
  if (!::GetFileSizeEx(file.get(), &size)) return false;
  bytes.resize(static_cast<size_t>(size.QuadPart));

  size_t done = 0;
  for (;;) {
    // One byte of room beyond the size shows whether the file has grown since it was asked for.
    if (done == bytes.size()) bytes.resize(done + 1);
    const DWORD want = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, kIoPieceBytes));
    DWORD got = 0;
    if (!::ReadFile(file.get(), bytes.data() + done, want, &got, /*overlapped=*/nullptr)) {
      bytes.clear();
      return false;
    }
    if (got == 0) break;
    done += got;
    if (done == bytes.size()) bytes.resize(done + kIoPieceBytes / 16);
  }
  bytes.resize(done);
  return true;
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

FileReplacement::FileReplacement(std::wstring target, std::wstring temporary)
    : target_(std::move(target)), temporary_(std::move(temporary)) {}

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
  FileReplacement replacement(path, path + L".tmp");
  if (replacement.open() && replacement.write(bytes) && replacement.finish() &&
      replacement.commit(/*clearAttributes=*/false)) {
    return true;
  }
  const UniqueHandle file = createForWriting(path);
  if (!file) return false;
  (void)writeAll(file.get(), bytes);  // as with a plain rewrite, only a failed open counts
  return true;
}

}  // namespace korvel
