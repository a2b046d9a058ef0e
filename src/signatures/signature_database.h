// The known-bad file digests: loaded from signature files, queried by every scan. Thread-safe; the engine
// shares one instance by std::shared_ptr and replaces it whole on a reload.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/mutex.h"
#include "base/stop.h"
#include "hash/file_digests.h"
#include "signatures/signature_match.h"
#include "signatures/signature_text.h"

namespace korvel {

struct SignatureDbInfo {
  uint64_t entryCount = 0;
  std::string version;     ///< of the most recently loaded file with a non-empty version
  uint64_t generated = 0;  ///< of the most recently loaded file with a non-zero one
  std::string source;      ///< UTF-8 path of the most recently loaded file
};

class SignatureDatabase {
 public:
  /// Reads one signature file and merges it into the loaded entries. On failure nothing changes and `error`
  /// holds "cannot open: " (also for what is not a file on a disk, or has more than `maxBytes`) or "parse
  /// error in " (also after a stop, which is looked at between two pieces of the file) and the path. Reading
  /// and parsing run without the lock.
  bool loadFile(const std::wstring& path, std::string* error, const StopToken& stop = {},
                uint64_t maxBytes = UINT64_MAX) EXCLUDES(mutex_);

  /// True when one of the digests (hexadecimal text, any case; empty = not known) is listed. SHA-256 is
  /// tried first, then SHA-1, then MD5. `match` may be null; it is cleared, then filled on a hit.
  bool lookup(const std::string& md5, const std::string& sha1, const std::string& sha256,
              SignatureMatch* match) const EXCLUDES(mutex_);

  /// The same for the digests of one file.
  bool lookup(const hash::FileDigests& digests, SignatureMatch* match) const EXCLUDES(mutex_);

  SignatureDbInfo info() const EXCLUDES(mutex_);

 private:
  /// The entries as they are now. Never null; later loads do not change it.
  std::shared_ptr<const SignatureTable> table() const EXCLUDES(mutex_);
  void add(SignatureFile file, const std::wstring& path) EXCLUDES(mutex_);

  // Held while one file is merged: a merge starts from the current table, so a second merge must wait for the
  // result of the first. Taken before mutex_.
  Mutex mergeMutex_;

  // Held only to copy or swap a value; a search works on its own copy of the pointer.
  mutable Mutex mutex_;
  std::shared_ptr<const SignatureTable> table_ GUARDED_BY(mutex_) = std::make_shared<const SignatureTable>();
  SignatureDbInfo info_ GUARDED_BY(mutex_);
};

}  // namespace korvel
