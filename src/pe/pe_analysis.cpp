#include "pe/pe_analysis.h"

#include <algorithm>
#include <vector>

#include "pe/entropy.h"
#include "pe/pe_parser.h"
#include "pe/pe_rules.h"

namespace korvel {
namespace {

void fillEntropies(ByteView bytes, PeInfo& info, hash::TripleDigest* digest) {
  std::vector<ByteRange> ranges;
  ranges.reserve(info.sections.size());
  for (const PeSection& section : info.sections) ranges.push_back({section.rawPointer, section.rawSize});

  const BufferEntropies entropies = measureEntropies(bytes, ranges, digest);
  info.entropy = entropies.whole;
  for (size_t i = 0; i < info.sections.size(); ++i) {
    info.sections[i].entropy = entropies.ranges[i];
    info.maxSectionEntropy = std::max(info.maxSectionEntropy, entropies.ranges[i]);
  }
}

}  // namespace

bool mayBePe(ByteView firstBytes, uint64_t fileSize) {
  return fileSize >= kPeMinimumBytes && firstBytes.u8(0) == 'M' && firstBytes.u8(1) == 'Z';
}

PeAnalysis analyzePeBuffer(ByteView bytes, uint64_t fileSize, uint64_t unixNow, hash::TripleDigest* digest) {
  const ByteView seen = bytes.clipped(0, kPeReadLimitBytes);
  PeAnalysis analysis;
  analysis.info = parsePe(seen, fileSize);
  if (!analysis.info.isPe) {
    if (digest != nullptr) digest->update(bytes.data(), bytes.size());
    return analysis;
  }

  fillEntropies(seen, analysis.info, digest);
  const ByteView rest = bytes.clipped(seen.size(), bytes.size());
  if (digest != nullptr) digest->update(rest.data(), rest.size());
  analysis.info.packed = hasPackedMark(analysis.info);
  analysis.packer = findPacker(analysis.info.sections);
  analysis.findings = peFindings(analysis.info, analysis.packer, unixNow);
  return analysis;
}

void explainPe(PeAnalysis& analysis, uint64_t unixNow) {
  if (!analysis.info.isPe) return;
  analysis.rules.clear();
  analysis.findings = peFindings(analysis.info, analysis.packer, unixNow, &analysis.rules);
}

}  // namespace korvel
