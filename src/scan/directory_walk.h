// The files below one scan target, one after another, in the order in which the file system lists them: an
// entry comes before what is inside it.
//
// Links and junctions inside the target are neither handed out nor entered (with followSymlinks a symbolic
// link is handed out as a file), so a walk visits nothing twice and ends even where links form a loop. A
// target that is itself a link is walked. Excluded directories are not entered. A directory that cannot be
// entered, whatever the reason, is passed over; a listing that breaks off in its midst ends the walk quietly.
// A target that is a file, or missing, yields nothing.
//
// Paths are handed out, and tested for exclusion, as the target is spelled. The file API gets another form of
// them (base/long_path.h), made once for the target.
//
// Not thread-safe; the stop may be requested from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/stop.h"
#include "base/unique_resource.h"
#include "scan/file_calls.h"
#include "scan/run_ahead.h"
#include "scan/scan_records.h"

namespace korvel {

struct WalkedFile {
  std::wstring path;
  uint64_t size = 0;        ///< bytes, as the directory lists it
  uint32_t attributes = 0;  ///< FILE_ATTRIBUTE_ bits, as the directory lists them
};

class DirectoryWalk {
 public:
  /// `calls` must outlive the walk.
  DirectoryWalk(const ScanTarget& target, bool followSymlinks, StopToken stop,
                const FileCalls& calls = FileCalls::windows());

  /// Handles one directory entry: an item is a file. kEnd after the last one, after a failure, and once the
  /// stop is requested.
  Supply step(WalkedFile& file);
  /// The next file; false at the end.
  bool next(WalkedFile& file);

 private:
  struct Level {
    UniqueFindHandle find;
    std::wstring directory;     // as it is handed out; ends in a separator
    std::wstring apiDirectory;  // the same directory for the file API
    WIN32_FIND_DATAW entry;
    bool entryPending;  // `entry` has been read but not yet handled
  };

  void enter(const std::wstring& directory, const std::wstring& apiDirectory);
  bool advance(Level& level);

  const bool recursive_;
  const bool followSymlinks_;
  const StopToken stop_;
  const FileCalls& calls_;
  std::vector<Level> levels_;  // from the target down to the directory being listed
};

}  // namespace korvel
