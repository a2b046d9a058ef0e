#include "scan/scan_file.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/byte_view.h"
#include "base/clock.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "scan/file_rules.h"
#include "scan/pe_analysis.h"
#include "scan/signature_database.h"

namespace korvel {
namespace {

// Up to here a file is read whole with one call; beyond it in pieces that stay in the processor's cache.
constexpr uint64_t kWholeReadLimitBytes = 8'388'608;
constexpr size_t kPieceBytes = 262'144;
constexpr size_t kScratchGrainBytes = 65'536;
constexpr const char* kSkippedForSize = "Файл пропущен: превышен лимит размера";

struct FileData {
  FileDigests digests;
  PeAnalysis pe;
};

/// One read call; 0 at the end of the file and on failure alike, which both end the content there.
size_t readPiece(HANDLE file, uint8_t* buffer, size_t bytes) {
  DWORD got = 0;
  return ::ReadFile(file, buffer, static_cast<DWORD>(bytes), &got, /*overlapped=*/nullptr) ? got : 0;
}

FileDigests takeDigests(const hash::TripleDigest& digest) {
  hash::TripleDigestText text = digest.hexDigests();
  return {std::move(text.md5), std::move(text.sha1), std::move(text.sha256)};
}

/// False when the one read fails or yields nothing; the caller then streams.
bool readWhole(HANDLE file, uint64_t size, ScanScratch& scratch, FileData& data) {
  const size_t room = static_cast<size_t>(size);
  uint8_t* const buffer = scratch.readBuffer(room);
  const size_t got = readPiece(file, buffer, room);
  if (got == 0) return false;
  hash::TripleDigest& digest = scratch.digest();
  digest.reset();
  digest.update(buffer, got);
  data.digests = takeDigests(digest);
  data.pe = analyzePeBuffer(ByteView(buffer, got), size, unixSecondsNow());
  return true;
}

/// Feeds the digests piece by piece; the first piece decides whether bytes are kept for the PE analysis.
void readInPieces(HANDLE file, uint64_t size, ScanScratch& scratch, FileData& data) {
  hash::TripleDigest& digest = scratch.digest();
  digest.reset();
  uint8_t* const piece = scratch.readBuffer(kPieceBytes);
  uint8_t* image = nullptr;
  const size_t imageRoom = static_cast<size_t>(std::min<uint64_t>(size, kPeReadLimitBytes));
  size_t imageBytes = 0;
  bool first = true;
  while (const size_t got = readPiece(file, piece, kPieceBytes)) {
    digest.update(piece, got);
    if (first && mayBePe(ByteView(piece, got), size)) image = scratch.imageBuffer(imageRoom);
    first = false;
    if (image != nullptr) {
      const size_t kept = std::min(got, imageRoom - imageBytes);
      std::memcpy(image + imageBytes, piece, kept);
      imageBytes += kept;
    }
  }
  data.digests = takeDigests(digest);
  if (image != nullptr) data.pe = analyzePeBuffer(ByteView(image, imageBytes), size, unixSecondsNow());
}

/// Digests and PE analysis from one open and one read; nothing of both for a file that cannot be opened.
FileData readFileData(const std::wstring& path, uint64_t size, ScanScratch& scratch) {
  FileData data;
  const UniqueHandle file(::CreateFileW(forFileApi(path).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                        /*security=*/nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN,
                                        /*template=*/nullptr));
  if (!file) return data;
  if (size <= kWholeReadLimitBytes) {
    if (readWhole(file.get(), size, scratch, data)) return data;
    (void)::SetFilePointerEx(file.get(), LARGE_INTEGER{}, /*newPosition=*/nullptr, FILE_BEGIN);
  }
  readInPieces(file.get(), size, scratch, data);
  return data;
}

uint64_t joined(DWORD high, DWORD low) { return static_cast<uint64_t>(high) << 32 | low; }

}  // namespace

void ScanScratch::PagesDeleter::operator()(uint8_t* pages) const { ::VirtualFree(pages, 0, MEM_RELEASE); }

uint8_t* ScanScratch::Pages::atLeast(size_t bytes) {
  if (bytes > size) {
    const size_t grown = (bytes + kScratchGrainBytes - 1) / kScratchGrainBytes * kScratchGrainBytes;
    memory.reset();
    size = 0;
    memory.reset(static_cast<uint8_t*>(
        ::VirtualAlloc(/*address=*/nullptr, grown, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE)));
    if (!memory) throw std::bad_alloc();
    size = grown;
  }
  return memory.get();
}

uint8_t* ScanScratch::readBuffer(size_t bytes) { return read_.atLeast(bytes); }
uint8_t* ScanScratch::imageBuffer(size_t bytes) { return image_.atLeast(bytes); }

FileVerdict scanFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch) {
  FileVerdict verdict;
  verdict.path = path;
  verdict.fileName = fileName(path);

  WIN32_FILE_ATTRIBUTE_DATA attributes{};
  if (!::GetFileAttributesExW(forFileApi(path).c_str(), GetFileExInfoStandard, &attributes)) return verdict;
  verdict.size = joined(attributes.nFileSizeHigh, attributes.nFileSizeLow);
  verdict.lastWriteTime =
      joined(attributes.ftLastWriteTime.dwHighDateTime, attributes.ftLastWriteTime.dwLowDateTime);
  if (verdict.size == 0) return verdict;
  if (verdict.size > context.maxFileSize) {
    verdict.reasons.emplace_back(kSkippedForSize);
    return verdict;
  }

  const FileData data = readFileData(path, verdict.size, scratch);
  SignatureMatch match;
  const bool matched =
      context.database->lookup(data.digests.md5, data.digests.sha1, data.digests.sha256, &match);
  return buildVerdict(path, verdict.fileName, verdict.size, verdict.lastWriteTime, data.digests, data.pe,
                      matched, match);
}

}  // namespace korvel
