#include "scan/file_content.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/byte_view.h"
#include "base/clock.h"
#include "base/sizes.h"
#include "pe/pe_analysis.h"

namespace korvel {
namespace {

// The pieces of a file that is not read with one call stay in the processor's cache.
constexpr size_t kSmallestPieceBytes = 64 * kKiB;
constexpr size_t kPieceBytes = 256 * kKiB;
constexpr uint64_t kLargestReadBytes = std::numeric_limits<uint32_t>::max();  // of one call of the system

/// Ends where the file ends or a read fails, and for an abandoned scan after the piece at hand.
class Pieces {
 public:
  Pieces(FileBytes& file, const ScanContext& context, size_t pieceBytes)
      : file_(file), context_(context), pieceBytes_(pieceBytes) {}

  /// The bytes read, at most one piece; 0 at the end.
  size_t read(uint8_t* to, size_t room) {
    if (context_.abandoned.stop_requested()) return 0;
    const std::optional<size_t> got = file_.read(to, std::min(room, pieceBytes_));
    failed_ = !got;
    return got.value_or(0);
  }
  bool failed() const { return failed_; }

 private:
  FileBytes& file_;
  const ScanContext& context_;
  const size_t pieceBytes_;
  bool failed_ = false;
};

/// False when the read fails.
bool readWhole(FileBytes& file, uint64_t size, ScanScratch& scratch, PeAnalysis& pe) {
  const size_t room = static_cast<size_t>(size);
  uint8_t* const buffer = scratch.readBuffer(room);
  const std::optional<size_t> got = file.read(buffer, room);
  if (got) pe = analyzePeBuffer(ByteView(buffer, *got), size, unixSecondsNow(), &scratch.digest());
  return got.has_value();
}

/// Feeds the digests piece by piece; false when a read fails. The part of an image that the PE analysis looks
/// at is read first, since its headers give the ranges to count while the same bytes are digested.
bool readInPieces(FileBytes& file, uint64_t size, const ScanContext& context, ScanScratch& scratch,
                  PeAnalysis& pe) {
  const auto pieceBytes =
      static_cast<size_t>(std::clamp<uint64_t>(context.readChunk, kSmallestPieceBytes, kPieceBytes));
  Pieces pieces(file, context, pieceBytes);
  uint8_t* const piece = scratch.readBuffer(pieceBytes);
  size_t got = pieces.read(piece, pieceBytes);
  if (mayBePe(ByteView(piece, got), size)) {
    const size_t room = static_cast<size_t>(std::clamp<uint64_t>(size, pieceBytes, kPeReadLimitBytes));
    uint8_t* const image = scratch.imageBuffer(room);
    std::memcpy(image, piece, got);
    size_t imageBytes = got;
    while (got != 0 && imageBytes < room) {
      got = pieces.read(image + imageBytes, room - imageBytes);
      imageBytes += got;
    }
    if (pieces.failed()) return false;
    pe = analyzePeBuffer(ByteView(image, imageBytes), size, unixSecondsNow(), &scratch.digest());
    if (got != 0) got = pieces.read(piece, pieceBytes);
  }
  for (; got != 0; got = pieces.read(piece, pieceBytes)) scratch.digest().update(piece, got);
  return !pieces.failed();
}

/// The digests of what comes before the piece that fails.
void digestUpToFailure(FileBytes& file, const ScanContext& context, ScanScratch& scratch) {
  const auto pieceBytes = static_cast<size_t>(std::clamp<uint64_t>(context.readChunk, 1, kLargestReadBytes));
  Pieces pieces(file, context, pieceBytes);
  uint8_t* const piece = scratch.readBuffer(pieceBytes);
  file.rewind();
  scratch.digest().reset();
  while (const size_t got = pieces.read(piece, pieceBytes)) scratch.digest().update(piece, got);
}

}  // namespace

FileContent readContent(FileBytes& file, uint64_t size, const ScanContext& context, ScanScratch& scratch) {
  FileContent content;
  scratch.digest().reset();
  content.complete = size <= kWholeReadLimitBytes ? readWhole(file, size, scratch, content.pe)
                                                  : readInPieces(file, size, context, scratch, content.pe);
  if (!content.complete) digestUpToFailure(file, context, scratch);
  content.digests = scratch.digest().digests();
  return content;
}

FileContent contentOfBytes(ByteView bytes, uint64_t size, const hash::FileDigests* digests,
                           hash::TripleDigest& digest) {
  FileContent content;
  digest.reset();
  content.pe = analyzePeBuffer(bytes, size, unixSecondsNow(), digests == nullptr ? &digest : nullptr);
  content.digests = digests == nullptr ? digest.digests() : *digests;
  return content;
}

}  // namespace korvel
