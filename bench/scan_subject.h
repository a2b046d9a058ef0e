// What scan_bench.cpp measures, and how its control loops reach the same files. Under Wine this is the
// product's own file scanner. Natively, where that does not exist, the ordered pipeline and the pure half of
// a scan do the same work on files read through POSIX.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/byte_view.h"
#include "scan/scan_records.h"

namespace korvel::bench {

/// The area's name in the table.
extern const char* const kScanArea;

class ScanSubject {
 public:
  using VerdictCallback = std::function<void(const FileVerdict&)>;

  /// `signatures` is a signature file. Throws when it cannot be loaded.
  explicit ScanSubject(const std::string& signatures);
  ~ScanSubject();

  /// Scans what is worth scanning below a folder, in an order that does not change; `times` over in one scan.
  void scan(const std::string& folder, size_t workers, size_t times, const VerdictCallback& onVerdict) const;
  /// The files that such a scan visits, in its order.
  std::vector<std::wstring> files(const std::string& folder) const;

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

/// Opens a file, reads it to its end with one buffer of `bufferBytes` that stays allocated, and closes it.
void readFile(const std::wstring& path, size_t bufferBytes, const std::function<void(ByteView)>& consume);

/// The most memory this process ever had resident.
uint64_t peakResidentBytes();

}  // namespace korvel::bench
