#include "korvelctl/machine/file_check.h"

#include <stdexcept>

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/sizes.h"
#include "base/unique_resource.h"
#include "config/data_paths.h"
#include "config/settings_text.h"
#include "korvelctl/machine/product_paths.h"
#include "scan/scan_file.h"
#include "scan/scan_filter.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostSettingsBytes = 64 * kMiB;

/// What settings.ini says, or nothing at all where it cannot be read.
SettingsFields settingsInFile() {
  SettingsFields settings;
  std::string text;
  if (!readWholeFile(productSettingsPath(), text, kMostSettingsBytes)) return settings;
  try {
    parseSettingsText(text, settings);
  } catch (const std::logic_error&) {  // a value that keeps the service from starting; what stands before it
                                       // counts
  }
  return settings;
}

EntryKind kindOf(const std::wstring& path) {
  WIN32_FIND_DATAW entry{};
  const UniqueFindHandle find(::FindFirstFileExW(forFileApi(path).c_str(), FindExInfoBasic, &entry,
                                                 FindExSearchNameMatch, /*filter=*/nullptr, /*flags=*/0));
  return find ? classifyEntry(entry.dwFileAttributes, entry.dwReserved0) : EntryKind::kFile;
}

bool isLink(const std::wstring& path) {
  const EntryKind kind = kindOf(path);
  return kind == EntryKind::kSymbolicLink || kind == EntryKind::kJunction;
}

bool isBehindLink(const std::wstring& path) {
  const size_t root = rootLength(path);
  for (size_t end = path.find_last_of(L"\\/"); end != std::wstring::npos && end > root;
       end = path.find_last_of(L"\\/", end - 1)) {
    if (isLink(path.substr(0, end))) return true;
  }
  return false;
}

}  // namespace

std::vector<std::wstring> serviceDatabases() {
  std::vector<std::wstring> databases;
  const SettingsFields settings = settingsInFile();
  databases.push_back(settings.signatureDb.empty() ? seedSignaturesPath() : settings.signatureDb);
  if (const std::wstring live = productDataFolder() + L"\\signatures.live.txt"; pathExists(live))
    databases.push_back(live);
  return databases;
}

FileCheck::FileCheck(const std::vector<std::wstring>& databases)
    : database_(std::make_shared<SignatureDatabase>()) {
  for (const std::wstring& path : databases)
    databases_.push_back({path, database_->loadFile(path, /*error=*/nullptr)});
}

CheckedFile FileCheck::check(const std::wstring& path) {
  const ScanOptions options;
  const ScanContext context{database_, options.maxFileSize, options.readChunk, {}};
  CheckedFile file;
  file.verdict = explainFile(context, path, scratch_, file.trace);
  file.scope = walkScopeOf(path, isLink(path), isBehindLink(path));
  const auto listed = [this](const std::string& md5, const std::string& sha1, const std::string& sha256) {
    return database_->lookup(md5, sha1, sha256, /*match=*/nullptr);
  };
  file.md5Listed = listed(file.verdict.md5, {}, {});
  file.sha1Listed = listed({}, file.verdict.sha1, {});
  file.sha256Listed = listed({}, {}, file.verdict.sha256);
  return file;
}

bool isFolder(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(forFileApi(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace korvel::ctl
