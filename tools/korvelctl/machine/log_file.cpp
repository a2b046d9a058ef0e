#include "korvelctl/machine/log_file.h"

#include <algorithm>

#include "base/files.h"
#include "base/long_path.h"
#include "base/sizes.h"
#include "korvelctl/model/log_line.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kPieceBytes = 64 * kKiB;
/// Lines are at most 2 KiB, so this holds a hundred thousand of them; a log without line ends is cut.
constexpr uint64_t kMostTailBytes = 256 * kMiB;

bool sizeOf(HANDLE file, uint64_t& size) {
  LARGE_INTEGER value{};
  if (!::GetFileSizeEx(file, &value)) return false;
  size = static_cast<uint64_t>(value.QuadPart);
  return true;
}

bool seek(HANDLE file, uint64_t offset) {
  LARGE_INTEGER distance{};
  distance.QuadPart = static_cast<LONGLONG>(offset);
  return ::SetFilePointerEx(file, distance, /*newPosition=*/nullptr, FILE_BEGIN) != FALSE;
}

/// Appends everything from the file's position on to `to`; the bytes are counted.
bool copyRest(HANDLE from, FileReplacement& to, uint64_t& copied) {
  std::string piece(kPieceBytes, '\0');
  for (;;) {
    DWORD got = 0;
    if (!::ReadFile(from, piece.data(), static_cast<DWORD>(piece.size()), &got, nullptr)) return false;
    if (got == 0) return true;
    if (!to.write(std::string_view(piece.data(), got))) return false;
    copied += got;
  }
}

bool readToEndFromHere(HANDLE file, std::string& bytes) {
  std::string piece(kPieceBytes, '\0');
  for (;;) {
    DWORD got = 0;
    if (!::ReadFile(file, piece.data(), static_cast<DWORD>(piece.size()), &got, nullptr)) return false;
    if (got == 0) return true;
    bytes.append(piece, 0, got);
  }
}

/// What was written to the log while the copy was flushed and moved.
bool appendRest(HANDLE log, const std::wstring& kept, uint64_t& copied) {
  std::string late;
  if (!readToEndFromHere(log, late)) return false;
  if (late.empty()) return true;
  const UniqueHandle file(::CreateFileW(forFileApi(kept).c_str(), FILE_APPEND_DATA,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        /*security=*/nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT,
                                        /*template=*/nullptr));
  copied += late.size();
  return file && writeAll(file.get(), late);
}

bool isLink(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION info{};
  return ::GetFileInformationByHandle(file, &info) &&
         (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace

uint32_t LogReader::open() {
  if (file_) return ERROR_SUCCESS;
  file_.reset(::CreateFileW(forFileApi(path_).c_str(), GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, /*security=*/nullptr,
                            OPEN_EXISTING, SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, /*template=*/nullptr));
  if (!file_) return ::GetLastError();
  if (::GetFileType(file_.get()) == FILE_TYPE_DISK) return ERROR_SUCCESS;
  file_.reset();
  return ERROR_ACCESS_DENIED;
}

uint32_t LogReader::readAt(uint64_t offset, uint64_t bytes, std::string& text) {
  text.clear();
  if (!seek(file_.get(), offset)) return ::GetLastError();
  text.resize(static_cast<size_t>(bytes));
  size_t filled = 0;
  while (filled < text.size()) {
    DWORD got = 0;
    const DWORD want = static_cast<DWORD>(std::min<size_t>(text.size() - filled, kMiB));
    if (!::ReadFile(file_.get(), text.data() + filled, want, &got, nullptr)) return ::GetLastError();
    if (got == 0) break;
    filled += got;
  }
  text.resize(filled);
  return ERROR_SUCCESS;
}

uint32_t LogReader::readLast(size_t lines, std::string& text) {
  text.clear();
  if (const uint32_t failed = open(); failed != ERROR_SUCCESS) return failed;
  if (!sizeOf(file_.get(), size_)) return ::GetLastError();
  for (uint64_t bytes = kPieceBytes;; bytes *= 4) {
    const uint64_t want = std::min({bytes, size_, kMostTailBytes});
    if (const uint32_t failed = readAt(size_ - want, want, text); failed != ERROR_SUCCESS) return failed;
    // The first line of a piece may be the end of a longer one, so the lines must begin behind it.
    if (want == size_ || want == kMostTailBytes || beginOfLastLines(text, lines) > 0) break;
  }
  position_ = size_;
  text.erase(0, beginOfLastLines(text, lines));
  return ERROR_SUCCESS;
}

uint32_t LogReader::readNew(std::string& text) {
  text.clear();
  if (const uint32_t failed = open(); failed != ERROR_SUCCESS) return failed;
  if (!sizeOf(file_.get(), size_)) return ::GetLastError();
  if (size_ < position_) position_ = 0;
  const uint32_t failed = readAt(position_, std::min<uint64_t>(size_ - position_, kMiB), text);
  position_ += text.size();
  return failed;
}

uint32_t rotateLog(const std::wstring& path, uint64_t maxBytes, uint32_t keep, Rotation& result) {
  result = {};
  result.failedAt = path;
  const UniqueHandle log(
      ::CreateFileW(forFileApi(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    /*security=*/nullptr, OPEN_EXISTING,
                    FILE_FLAG_OPEN_REPARSE_POINT | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS,
                    /*template=*/nullptr));
  if (!log) return ::GetLastError() == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : ::GetLastError();
  if (::GetFileType(log.get()) != FILE_TYPE_DISK || isLink(log.get())) return ERROR_ACCESS_DENIED;
  if (!sizeOf(log.get(), result.bytes)) return ::GetLastError();
  if (result.bytes <= maxBytes) return ERROR_SUCCESS;

  const std::wstring kept = path + L".1";
  uint64_t copied = 0;
  FileReplacement copy(kept, path + L".rotating");
  result.failedAt = kept;
  if (!copy.open() || !copyRest(log.get(), copy, copied)) return ::GetLastError();
  for (const LogMove& move : logMoves(path, keep)) {
    if (!pathExists(move.from)) continue;
    if (!::MoveFileExW(forFileApi(move.from).c_str(), forFileApi(move.to).c_str(),
                       MOVEFILE_REPLACE_EXISTING)) {
      result.failedAt = move.from;
      return ::GetLastError();
    }
  }
  // What was written while the copy was made.
  if (!copyRest(log.get(), copy, copied) || !copy.finish() || !copy.commit(/*clearAttributes=*/false))
    return ::GetLastError();
  if (!appendRest(log.get(), kept, copied)) return ::GetLastError();
  result.failedAt = path;
  if (!seek(log.get(), 0) || !::SetEndOfFile(log.get())) return ::GetLastError();
  result.rotated = true;
  result.bytes = copied;
  result.keptAs = kept;
  result.failedAt.clear();
  for (uint32_t part = keep + 1; ::DeleteFileW(forFileApi(path + L"." + std::to_wstring(part)).c_str());)
    ++part;
  return ERROR_SUCCESS;
}

}  // namespace korvel::ctl
