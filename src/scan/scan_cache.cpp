#include "scan/scan_cache.h"

#include <exception>

#include "base/files.h"
#include "base/sizes.h"
#include "base/utf.h"

namespace korvel {
namespace {

// Every user may put a file of any size at the place of the cache. This is far above the cache of a large
// disk.
constexpr uint64_t kMaxCacheBytes = 256 * kMiB;

}  // namespace

bool ScanCache::load(const std::wstring& path) {
  try {
    std::string text;
    if (!readWholeFile(path, text, kMaxCacheBytes)) return false;
    const MutexLock lock(mutex_);
    table_.parse(text);
    return true;
  } catch (const std::exception&) {  // not enough memory; nothing depends on the cache
    const MutexLock lock(mutex_);
    table_ = ScanCacheTable();
    return false;
  }
}

void ScanCache::record(const std::wstring& path, const ScanCacheEntry& entry) {
  const std::string key = toUtf8(path);
  const MutexLock lock(mutex_);
  table_.record(key, entry);
}

bool ScanCache::save(const std::wstring& path) const {
  const MutexLock saving(saveMutex_);
  std::string text;
  {
    const MutexLock lock(mutex_);
    text = table_.format();
  }
  return rewriteTextFile(path, text);
}

std::optional<ScanCacheEntry> ScanCache::find(const std::wstring& path) const {
  const std::string key = toUtf8(path);
  const MutexLock lock(mutex_);
  const ScanCacheEntry* entry = table_.find(key);
  return entry == nullptr ? std::nullopt : std::optional(*entry);
}

size_t ScanCache::size() const {
  const MutexLock lock(mutex_);
  return table_.size();
}

}  // namespace korvel
