// Judges a Windows executable by its structure. Pure and thread-safe; bounded in time and memory for every
// input: hostile headers cannot exceed a fixed budget of work.
#pragma once

#include <cstdint>

#include "base/byte_view.h"
#include "base/sizes.h"
#include "hash/triple_digest.h"
#include "pe/pe_info.h"

namespace korvel {

/// The analysis looks at no more than this many first bytes of a file.
inline constexpr uint64_t kPeReadLimitBytes = 64 * kMiB;

/// Cheap test on the first bytes of a file: true when it may be an image ("MZ", at least 84 bytes), so that
/// the rest of the bytes is worth keeping.
bool mayBePe(ByteView firstBytes, uint64_t fileSize);

/// Analyses the first bytes of a file (all of it, or kPeReadLimitBytes). `fileSize` is the true size in
/// bytes; `unixNow` is the current time in Unix seconds. Content that is not a PE image yields an empty
/// analysis. `digest`, when given, is fed all of `bytes`, image or not: the bytes of an image are digested
/// and counted in one pass.
PeAnalysis analyzePeBuffer(ByteView bytes, uint64_t fileSize, uint64_t unixNow,
                           hash::TripleDigest* digest = nullptr);

/// Evaluates the rules of an analysis once more, for `unixNow`, and keeps how each of them came out. Does
/// nothing for what is not an image.
void explainPe(PeAnalysis& analysis, uint64_t unixNow);

}  // namespace korvel
