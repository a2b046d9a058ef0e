#include "scan/scan_file.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>

#include "base/byte_view.h"
#include "base/clock.h"
#include "base/interruptible_io.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/sizes.h"
#include "base/unique_resource.h"
#include "pe/pe_analysis.h"
#include "scan/file_rules.h"
#include "signatures/signature_database.h"

namespace korvel {
namespace {

// Up to this size a file is read with one call; a larger one in pieces that stay in the processor's cache.
constexpr uint64_t kWholeReadLimitBytes = 8 * kMiB;
constexpr size_t kSmallestPieceBytes = 64 * kKiB;
constexpr size_t kPieceBytes = 256 * kKiB;
constexpr size_t kScratchGrainBytes = 64 * kKiB;
constexpr const char* kSkippedForSize = "Файл пропущен: превышен лимит размера";

struct FileData {
  std::optional<hash::FileDigests> digests;
  PeAnalysis pe;
};

/// One read call; 0 at the end of the file and on failure: both end the content there.
size_t readPiece(HANDLE file, uint8_t* buffer, size_t bytes) {
  DWORD got = 0;
  return ::ReadFile(file, buffer, static_cast<DWORD>(bytes), &got, /*overlapped=*/nullptr) ? got : 0;
}

/// False when the one read fails or yields nothing; the caller then streams.
bool readWhole(HANDLE file, uint64_t size, ScanScratch& scratch, FileData& data) {
  const size_t room = static_cast<size_t>(size);
  uint8_t* const buffer = scratch.readBuffer(room);
  const size_t got = readPiece(file, buffer, room);
  if (got == 0) return false;
  data.pe = analyzePeBuffer(ByteView(buffer, got), size, unixSecondsNow(), &scratch.digest());
  return true;
}

/// Feeds the digests piece by piece. The part of an image that the PE analysis looks at is read first, since
/// its headers give the ranges to count while the same bytes are digested.
void readInPieces(HANDLE file, uint64_t size, const ScanContext& context, ScanScratch& scratch,
                  FileData& data) {
  const auto pieceBytes =
      static_cast<size_t>(std::clamp<uint64_t>(context.readChunk, kSmallestPieceBytes, kPieceBytes));
  // For an abandoned scan the file ends here.
  const auto read = [&](uint8_t* to, size_t bytes) {
    return context.abandoned.stop_requested() ? 0 : readPiece(file, to, std::min(bytes, pieceBytes));
  };
  uint8_t* const piece = scratch.readBuffer(pieceBytes);
  size_t got = read(piece, pieceBytes);
  if (mayBePe(ByteView(piece, got), size)) {
    const size_t room = static_cast<size_t>(std::clamp<uint64_t>(size, pieceBytes, kPeReadLimitBytes));
    uint8_t* const image = scratch.imageBuffer(room);
    std::memcpy(image, piece, got);
    size_t imageBytes = got;
    while (got != 0 && imageBytes < room) {
      got = read(image + imageBytes, room - imageBytes);
      imageBytes += got;
    }
    data.pe = analyzePeBuffer(ByteView(image, imageBytes), size, unixSecondsNow(), &scratch.digest());
    if (got != 0) got = read(piece, pieceBytes);
  }
  for (; got != 0; got = read(piece, pieceBytes)) scratch.digest().update(piece, got);
}

/// Digests and PE analysis from one open and one read; neither for a file that cannot be opened.
FileData readFileData(const ScanContext& context, const std::wstring& apiPath, uint64_t size,
                      ScanScratch& scratch) {
  FileData data;
  const UniqueHandle file(::CreateFileW(apiPath.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                        /*security=*/nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN,
                                        /*template=*/nullptr));
  if (!file) return data;
  scratch.digest().reset();
  if (size > kWholeReadLimitBytes || !readWhole(file.get(), size, scratch, data)) {
    (void)::SetFilePointerEx(file.get(), LARGE_INTEGER{}, /*newPosition=*/nullptr, FILE_BEGIN);
    readInPieces(file.get(), size, context, scratch, data);
  }
  data.digests = scratch.digest().digests();
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
  const InterruptibleIo interruptible(context.abandoned);
  const std::wstring apiPath = forFileApi(path);
  WIN32_FILE_ATTRIBUTE_DATA attributes{};  // all zero where they cannot be read
  (void)::GetFileAttributesExW(apiPath.c_str(), GetFileExInfoStandard, &attributes);
  const uint64_t size = joined(attributes.nFileSizeHigh, attributes.nFileSizeLow);
  const uint64_t lastWriteTime =
      joined(attributes.ftLastWriteTime.dwHighDateTime, attributes.ftLastWriteTime.dwLowDateTime);
  if (size == 0 || size > context.maxFileSize) {
    FileVerdict verdict;
    verdict.path = path;
    verdict.fileName = fileName(path);
    verdict.size = size;
    verdict.lastWriteTime = lastWriteTime;
    if (size != 0) verdict.reasons.emplace_back(kSkippedForSize);
    return verdict;
  }

  const FileData data = readFileData(context, apiPath, size, scratch);
  SignatureMatch match;
  const bool matched = data.digests && context.database->lookup(*data.digests, &match);
  return buildVerdict(path, fileName(path), size, lastWriteTime, data.digests, data.pe, matched, match);
}

}  // namespace korvel
