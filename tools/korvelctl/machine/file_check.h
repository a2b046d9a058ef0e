// Judges files with the caller's own rights, by the rules and databases of the service. Nothing is written.
// Not thread-safe.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "korvelctl/model/checked_file.h"
#include "scan/scan_context.h"
#include "signatures/signature_database.h"

namespace korvel::ctl {

/// The signature files that the service loads: the one that settings.ini names, or the one beside this
/// program, and the live one where it is there.
std::vector<std::wstring> serviceDatabases();

class FileCheck {
 public:
  /// Loads all of them; one that cannot be loaded is marked so.
  explicit FileCheck(const std::vector<std::wstring>& databases);

  const std::vector<UsedDatabase>& databases() const { return databases_; }
  SignatureDbInfo info() const { return database_->info(); }
  /// `path` is whole.
  CheckedFile check(const std::wstring& path);

 private:
  std::shared_ptr<SignatureDatabase> database_;
  std::vector<UsedDatabase> databases_;
  ScanScratch scratch_;
};

/// Whether `path` is a folder; false where that cannot be determined.
bool isFolder(const std::wstring& path);

}  // namespace korvel::ctl
