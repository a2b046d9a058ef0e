#include "scan/scan_cache.h"

#include "base/files.h"
#include "base/utf.h"

namespace korvel {

bool ScanCache::load(const std::wstring& path) {
  std::string text;
  if (!readWholeFile(path, text)) return false;
  const MutexLock lock(mutex_);
  table_.parse(text);
  return true;
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
