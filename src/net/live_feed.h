// Builds the live signature database: downloads hash lists, merges them, and replaces signatures.live.txt.
// Nothing is loaded here; the engine reloads its signatures afterwards.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/stop.h"

namespace korvel {

/// "signatures.live.txt" in the data directory.
std::wstring liveDatabasePath();

/// Where the hashes come from: the update server at `serverUrl`, or the public lists when it is empty; never
/// both.
std::vector<std::string> liveFeedSources(const std::string& serverUrl);

/// One build from liveFeedSources(serverUrl); one good source is enough. On success `hashCount` receives the
/// number of hashes written; on failure the previous database stays. `hashCount` and `error` may be null;
/// `error` is emptied first. `stop` ends a build that is still downloading at once, with "service is
/// stopping", and the waiting for a database that another program holds. Any number of threads may build at
/// once; they write one after another. Throws std::bad_alloc.
bool buildLiveDatabase(const std::string& serverUrl, uint64_t* hashCount, std::string* error,
                       const StopToken& stop = {});

/// The same from the given addresses into the file `target`.
bool buildLiveDatabaseFrom(const std::vector<std::string>& sources, const std::wstring& target,
                           uint64_t* hashCount, std::string* error, const StopToken& stop = {});

}  // namespace korvel
