#include "net/live_feed.h"

#include <iterator>

#include "base/clock.h"
#include "base/error.h"
#include "base/files.h"
#include "base/mutex.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "net/feed_text.h"
#include "net/http_client.h"
#include "net/public_lists.h"
#include "net/url_text.h"

namespace korvel {
namespace {

/// Fetches every source into `set`. A source that fails is passed over as long as another one yields hashes.
bool collectHashes(const std::vector<std::string>& sources, FeedSet& set, std::string* error,
                   const StopToken& stop) {
  size_t failed = 0;
  std::string lastError;
  for (const std::string& source : sources) {
    FeedReader reader;  // per source: what arrived before a failure must not count
    const auto take = [&reader](std::string_view piece) { reader.take(piece); };
    if (!httpGetPieces(source, take, &lastError, stop)) {
      if (stop.stop_requested()) return fail(error, lastError);
      ++failed;
      continue;
    }
    if (!set.add(reader.finish())) return fail(error, "feed exceeds sane size, aborting");
  }
  if (!set.empty()) return true;
  if (failed < sources.size()) return fail(error, "feeds returned no hashes");
  return fail(error, sources.size() == 1 ? lastError : "all feeds unavailable");
}

/// Held while writing: two builds at once would write the same temporary file.
Mutex& writerMutex() {
  static Mutex mutex;
  return mutex;
}

bool writeDatabase(const FeedSet& set, const std::wstring& target, std::string* error,
                   const StopToken& stop) {
  const MutexLock lock(writerMutex());
  const std::wstring temporary = target + L".tmp";
  FileReplacement file(target, temporary);
  const auto write = [&file](std::string_view piece) { return file.write(piece); };
  if (!file.open() || !renderLiveDatabase(set, unixSecondsNow(), write) || !file.finish()) {
    return fail(error, "cannot write " + toUtf8(temporary));
  }
  if (!file.commit(/*clearAttributes=*/true, stop)) return failWin32(error, "cannot replace live database");
  return true;
}

}  // namespace

std::wstring liveDatabasePath() { return liveSignaturesPath(); }

std::vector<std::string> liveFeedSources(const std::string& serverAddress) {
  if (serverAddress.empty()) return {std::begin(kPublicHashLists), std::end(kPublicHashLists)};
  return {serverUrl(serverAddress, "/api/v1/signatures")};
}

bool buildLiveDatabase(const std::string& serverAddress, uint64_t* hashCount, std::string* error,
                       const StopToken& stop) {
  return buildLiveDatabaseFrom(liveFeedSources(serverAddress), liveDatabasePath(), hashCount, error, stop);
}

bool buildLiveDatabaseFrom(const std::vector<std::string>& sources, const std::wstring& target,
                           uint64_t* hashCount, std::string* error, const StopToken& stop) {
  if (error != nullptr) error->clear();
  FeedSet set;
  if (!collectHashes(sources, set, error, stop)) return false;
  if (!writeDatabase(set, target, error, stop)) return false;
  if (hashCount != nullptr) *hashCount = set.size();
  return true;
}

}  // namespace korvel
