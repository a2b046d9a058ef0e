#include "signatures/signature_database.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "base/error.h"
#include "base/files.h"
#include "base/interruptible_io.h"
#include "base/sizes.h"
#include "base/unique_resource.h"
#include "base/utf.h"

namespace korvel {
namespace {

// Files are parsed in pieces, so that one of hundreds of megabytes is never in memory beside its entries.
constexpr DWORD kReadPieceBytes = 512 * kKiB;

/// Reads and parses the rest of an open file, which may grow meanwhile. False when a read fails, after a stop
/// and beyond `maxBytes`; throws what the parser throws. A file of less than a piece is read whole even then:
/// a service that is stopped while it starts says nothing wrong about its signatures.
bool readSignatures(HANDLE file, const StopToken& stop, uint64_t maxBytes, SignatureFile& result) {
  LARGE_INTEGER size{};
  (void)::GetFileSizeEx(file, &size);  // only a hint
  SignatureFileParser parser(static_cast<uint64_t>(size.QuadPart));
  const auto piece = std::make_unique_for_overwrite<char[]>(kReadPieceBytes);
  uint64_t total = 0;
  while (total < kReadPieceBytes || !stop.stop_requested()) {
    DWORD got = 0;
    {
      const InterruptibleIo interruptible(stop);
      if (!::ReadFile(file, piece.get(), kReadPieceBytes, &got, /*overlapped=*/nullptr)) return false;
    }
    if (got == 0) {
      result = parser.finish();
      return true;
    }
    total += got;
    if (total > maxBytes) return false;
    parser.feed({piece.get(), got});
  }
  return false;
}

}  // namespace

bool SignatureDatabase::loadFile(const std::wstring& path, std::string* error, const StopToken& stop,
                                 uint64_t maxBytes) {
  const UniqueHandle file = openForReading(path, maxBytes);
  if (!file) return fail(error, "cannot open: " + toUtf8(path));
  try {
    SignatureFile parsed;
    if (readSignatures(file.get(), stop, maxBytes, parsed)) {
      add(std::move(parsed), path);
      return true;
    }
  } catch (const std::bad_alloc&) {  // larger than memory
  } catch (const std::length_error&) {
  }
  return fail(error, "parse error in " + toUtf8(path));
}

/// Builds a new table from the current one and one file's entries, and makes it the current one.
void SignatureDatabase::add(SignatureFile file, const std::wstring& path) {
  std::string source = toUtf8(path);
  const MutexLock merging(mergeMutex_);
  std::shared_ptr<const SignatureTable> next = table();
  if (!file.table.empty()) {
    next = std::make_shared<const SignatureTable>(mergedTable(std::move(file.table), *next));
  }
  const MutexLock lock(mutex_);
  table_.swap(next);  // the previous table is freed after the lock is released
  info_.entryCount = table_->size();
  if (!file.version.empty()) info_.version.swap(file.version);
  if (file.generated != 0) info_.generated = file.generated;
  if (!source.empty()) info_.source.swap(source);
}

bool SignatureDatabase::lookup(const std::string& md5, const std::string& sha1, const std::string& sha256,
                               SignatureMatch* match) const {
  return table()->lookup(md5, sha1, sha256, match);
}

bool SignatureDatabase::lookup(const hash::FileDigests& digests, SignatureMatch* match) const {
  return table()->lookup(digests, match);
}

SignatureDbInfo SignatureDatabase::info() const {
  const MutexLock lock(mutex_);
  return info_;
}

std::shared_ptr<const SignatureTable> SignatureDatabase::table() const {
  const MutexLock lock(mutex_);
  return table_;
}

}  // namespace korvel
