#include "remedy/stored_file.h"

#include <cstdint>
#include <optional>

#include "base/files.h"
#include "base/long_path.h"

namespace korvel {
namespace {

uint64_t joined(DWORD high, DWORD low) { return static_cast<uint64_t>(high) << 32 | low; }

/// A file at the time of the look.
struct Glimpse {
  DWORD volume;
  uint64_t number;  ///< on its volume
  uint64_t size;
  uint64_t lastWriteTime;

  bool sameFileAs(const Glimpse& other) const { return volume == other.volume && number == other.number; }
};

/// Empty when there is nothing at `apiPath`, and when it cannot be looked at. Follows no link.
std::optional<Glimpse> glimpse(const std::wstring& apiPath) {
  const UniqueHandle file(::CreateFileW(
      apiPath.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
      /*security=*/nullptr, OPEN_EXISTING,
      FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT | kOpenAnonymously,
      /*template=*/nullptr));
  BY_HANDLE_FILE_INFORMATION info{};
  if (!file || !::GetFileInformationByHandle(file.get(), &info)) return {};
  return Glimpse{
      .volume = info.dwVolumeSerialNumber,
      .number = joined(info.nFileIndexHigh, info.nFileIndexLow),
      .size = joined(info.nFileSizeHigh, info.nFileSizeLow),
      .lastWriteTime = joined(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime)};
}

/// A read-only file becomes an ordinary one first. On failure the reason is in GetLastError().
bool deleteFile(const std::wstring& apiPath) {
  if (::DeleteFileW(apiPath.c_str())) return true;
  const DWORD reason = ::GetLastError();
  const DWORD attributes = ::GetFileAttributesW(apiPath.c_str());
  const bool readOnly = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  if (readOnly) {
    (void)::SetFileAttributesW(apiPath.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    return ::DeleteFileW(apiPath.c_str()) != FALSE;
  }
  ::SetLastError(reason);
  return false;
}

/// One move, which may end with the file in both places.
class Move {
 public:
  Move(const std::wstring& from, const std::wstring& to)
      : from_(forFileApi(from)), to_(forFileApi(to)), source_(glimpse(from_)), replaces_(glimpse(to_)) {}

  bool run(const StopToken& stop) {
    const bool moved = tryWhileHeld([this] { return systemMove() || copyIsWhole(); }, stop);
    return moved && (!isInBothPlaces() || deleteSource(stop));
  }

 private:
  bool systemMove() const {
    return ::MoveFileExW(from_.c_str(), to_.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED) !=
           FALSE;
  }

  /// Windows reports success when only the deletion has failed, Wine a failure.
  bool copyIsWhole() const {
    const LastErrorKeeper keepLastError;
    if (replaces_ || !isInBothPlaces()) return false;
    const std::optional<Glimpse> copy = glimpse(to_);
    return copy && copy->size == source_->size && copy->lastWriteTime == source_->lastWriteTime;
  }

  /// False after a move on one volume: the file is then at its new place, and what has appeared meanwhile at
  /// the old one is another.
  bool isInBothPlaces() const {
    const std::optional<Glimpse> there = glimpse(to_);
    const std::optional<Glimpse> here = glimpse(from_);
    return source_ && here && there && here->sameFileAs(*source_) && !there->sameFileAs(*source_);
  }

  bool deleteSource(const StopToken& stop) const {
    const DWORD attributes = ::GetFileAttributesW(from_.c_str());
    if (tryWhileHeld([this] { return deleteFile(from_); }, stop)) return true;
    const LastErrorKeeper keepLastError;
    if (attributes != INVALID_FILE_ATTRIBUTES) (void)::SetFileAttributesW(from_.c_str(), attributes);
    (void)deleteFile(to_);
    return false;
  }

  const std::wstring from_, to_;
  const std::optional<Glimpse> source_, replaces_;
};

}  // namespace

bool moveFile(const std::wstring& from, const std::wstring& to, const StopToken& stop) {
  return Move(from, to).run(stop);
}

void eraseFile(const std::wstring& path) {
  const std::wstring apiPath = forFileApi(path);
  if (deleteFile(apiPath)) return;
  (void)::MoveFileExW(apiPath.c_str(), /*to=*/nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
}

}  // namespace korvel
