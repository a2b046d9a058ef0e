// Scans one file as the simplest program would. As a control it shows what reading once and digesting once
// gains. Each digest streams the file through a buffer of its own, a file of up to 8 MiB is then read whole
// and digested again, and the image analysis reads it once more. Portable digests, block by block. Windows
// only.
#pragma once

#include <memory>
#include <string>

#include "scan/scan_records.h"

namespace korvel {
class SignatureDatabase;
}

namespace korvel::bench {

class LiteralScanner {
 public:
  /// Throws when the signature file cannot be loaded.
  explicit LiteralScanner(const std::string& signatures);

  /// The verdict of scanFile().
  FileVerdict scan(const std::wstring& path) const;

 private:
  std::shared_ptr<SignatureDatabase> database_;
};

}  // namespace korvel::bench
