// What the analysis promises of any bytes, for tests and fuzz targets.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pe/pe_analysis.h"
#include "pe/pe_imports.h"

namespace korvel::test {

inline bool isEntropy(double value) { return value >= 0.0 && value <= 8.0 + 1e-9; }

/// The promise that the analysis of the first `size` bytes of a file breaks; nullptr where it keeps all.
inline const char* brokenPromise(const PeAnalysis& analysis, size_t size) {
  const PeInfo& info = analysis.info;
  if (!info.isPe) {
    const bool empty = analysis.findings.empty() && analysis.packer.empty() && info.sections.empty();
    return empty ? nullptr : "nothing is told of what is no image";
  }
  if (!isEntropy(info.entropy)) return "an entropy is between 0 and 8";
  if (info.sectionCount != info.sections.size()) return "the sections are counted";
  if (info.sectionCount * size_t{40} > size) return "every section has a header in the buffer";
  for (const PeSection& section : info.sections) {
    if (!isEntropy(section.entropy)) return "a section's entropy is between 0 and 8";
    if (section.entropy > info.maxSectionEntropy) return "the highest entropy is the highest";
    if (section.name.size() > 8) return "a section's name has at most 8 bytes";
  }
  if (info.importCount != info.imports.size()) return "the imports are counted";
  if (info.importCount > kImportNameLimit) return "the imports are limited";
  for (const std::string& name : info.imports) {
    if (name.empty() || name.size() >= 128) return "a name has 1 to 127 characters";
    for (const char c : name) {
      if (c < 0x20 || c > 0x7E) return "a name is printable";
    }
  }
  if (info.hasOverlay != (info.overlaySize != 0)) return "an overlay has a size";
  return nullptr;
}

}  // namespace korvel::test
