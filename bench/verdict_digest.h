// One digest of many verdicts in their order: two scans that yield the same text have found the same.
#pragma once

#include <string>

#include "hash/sha256.h"
#include "scan/scan_records.h"

namespace korvel::bench {

class VerdictDigest {
 public:
  void add(const FileVerdict& verdict);
  std::string hex() const { return digest_.hexDigest(); }

 private:
  void addText(const std::string& text);
  void addNumber(uint64_t number);

  hash::Sha256 digest_;
};

}  // namespace korvel::bench
