#include "scan/directory_walk.h"

#include <string_view>
#include <utility>

#include "base/files.h"
#include "base/interruptible_io.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/text.h"
#include "scan/scan_filter.h"

namespace korvel {
namespace {

bool isDotEntry(const wchar_t* name) {
  const std::wstring_view text(name);
  return text == L"." || text == L"..";
}

}  // namespace

DirectoryWalk::DirectoryWalk(const ScanTarget& target, bool followSymlinks, StopToken stop,
                             const FileCalls& calls)
    : recursive_(target.recursive), followSymlinks_(followSymlinks), stop_(std::move(stop)), calls_(calls) {
  const InterruptibleIo interruptible(stop_);
  if (stop_.stop_requested() || !pathExists(target.path)) return;
  enter(target.path, forFileApi(target.path));
}

/// A directory that cannot be listed is as good as empty.
void DirectoryWalk::enter(const std::wstring& directory, const std::wstring& apiDirectory) {
  Level level{UniqueFindHandle(), joinPath(directory, L""), joinPath(apiDirectory, L""), {}, true};
  level.find.reset(calls_.findFirstFile((level.apiDirectory + L"*").c_str(), FindExInfoBasic, &level.entry,
                                        FindExSearchNameMatch, /*filter=*/nullptr,
                                        FIND_FIRST_EX_LARGE_FETCH));
  if (level.find) levels_.push_back(std::move(level));
}

bool DirectoryWalk::advance(Level& level) {
  if (std::exchange(level.entryPending, false)) return true;
  return calls_.findNextFile(level.find.get(), &level.entry) != FALSE;
}

Supply DirectoryWalk::step(WalkedFile& file) {
  const InterruptibleIo interruptible(stop_);
  if (levels_.empty() || stop_.stop_requested()) return Supply::kEnd;
  Level& level = levels_.back();
  if (!advance(level)) {
    const bool endOfDirectory = ::GetLastError() == ERROR_NO_MORE_FILES;
    levels_.pop_back();
    if (!endOfDirectory) levels_.clear();
    return Supply::kNothing;
  }
  const WIN32_FIND_DATAW& entry = level.entry;
  if (isDotEntry(entry.cFileName)) return Supply::kNothing;

  switch (classifyEntry(entry.dwFileAttributes, entry.dwReserved0)) {
    case EntryKind::kJunction:
      break;
    case EntryKind::kSymbolicLink:
      if (!followSymlinks_) break;
      [[fallthrough]];
    case EntryKind::kFile:
      file.path.assign(level.directory).append(entry.cFileName);
      file.size = static_cast<uint64_t>(entry.nFileSizeHigh) << 32 | entry.nFileSizeLow;
      file.attributes = entry.dwFileAttributes;
      return Supply::kItem;
    case EntryKind::kDirectory: {
      const std::wstring path = level.directory + entry.cFileName;
      if (!recursive_ || isExcludedDirectory(lowerWide(path))) break;
      enter(path, level.apiDirectory + entry.cFileName);  // `level` is invalid from here on
      break;
    }
  }
  return Supply::kNothing;
}

bool DirectoryWalk::next(WalkedFile& file) {
  Supply found = step(file);
  while (found == Supply::kNothing) found = step(file);
  return found == Supply::kItem;
}

}  // namespace korvel
