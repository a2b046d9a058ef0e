// The result of the PE analysis of one file. Layout: Microsoft's "PE Format".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pe/rule_sheet.h"
#include "records/finding.h"

namespace korvel {

struct PeSection {
  std::string name;  ///< up to 8 bytes, without trailing zero bytes
  uint32_t virtualSize = 0;
  uint32_t rawSize = 0;
  uint32_t rawPointer = 0;
  uint32_t characteristics = 0;
  bool writable = false;
  bool executable = false;
  double entropy = 0.0;  ///< of the raw bytes inside the buffer; 0 when there are none
};

/// All false, zero and empty for a file that is not a PE image.
struct PeInfo {
  bool isPe = false;
  bool isDll = false;
  bool hasImports = false;  ///< the import directory has a non-zero size
  bool packed = false;      ///< some section is writable, executable and almost empty: room to unpack into
  bool hasOverlay = false;
  bool rwxSection = false;
  bool hasResources = false;
  bool hasDebug = false;
  bool hasTls = false;
  uint16_t machine = 0;
  uint16_t subsystem = 0;
  uint32_t timeDateStamp = 0;  ///< Unix seconds
  double entropy = 0.0;        ///< of all bytes read, bits per byte
  double maxSectionEntropy = 0.0;
  uint64_t overlaySize = 0;  ///< bytes after the last section's raw data; 0 when there are none
  std::vector<PeSection> sections;
  uint32_t sectionCount = 0;
  uint32_t importCount = 0;
  std::vector<std::string> imports;  ///< imported function names, at most 2,000
};

struct PeAnalysis {
  PeInfo info;
  std::string packer;  ///< the packer that a section name gives away, e.g. "UPX"; empty when none
  std::vector<Finding> findings;
  RuleTrace rules;  ///< filled by explainPe() only
};

}  // namespace korvel
