#include "config/data_paths.h"

#include "base/files.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "base/win.h"

#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>

namespace korvel {
namespace {

struct TaskMemoryTraits {
  using Value = wchar_t*;
  static Value empty() { return nullptr; }
  static bool valid(wchar_t* memory) { return memory != nullptr; }
  static void close(wchar_t* memory) { ::CoTaskMemFree(memory); }
};

/// Empty when the folder cannot be looked up.
std::wstring knownFolder(const KNOWNFOLDERID& id) {
  UniqueResource<TaskMemoryTraits> path;
  if (FAILED(::SHGetKnownFolderPath(id, /*flags=*/0, /*token=*/nullptr, path.receive())) || !path) return {};
  return path.get();
}

}  // namespace

std::wstring whereDataDirIs() {
  if (const std::wstring shared = knownFolder(FOLDERID_ProgramData); !shared.empty()) {
    return shared + L"\\KORVEL Antivirus";
  }
  const std::wstring local = knownFolder(FOLDERID_LocalAppData);
  return local.empty() ? local : local + L"\\KorvelAntivirus";
}

std::wstring dataDir() {
  std::wstring result = whereDataDirIs();
  (void)createDirectories(result);  // a failure shows when a file in it is opened
  return result;
}

std::wstring logPath() { return dataDir() + L"\\korvel.log"; }
std::wstring settingsPath() { return dataDir() + L"\\settings.ini"; }
std::wstring defaultQuarantineDir() { return dataDir() + L"\\Quarantine"; }
std::wstring liveSignaturesPath() { return dataDir() + L"\\signatures.live.txt"; }
std::wstring updatesDir() { return dataDir() + L"\\updates"; }

std::wstring scanCachePath() { return dataDir() + L"scan.cache"; }  // no separator, on purpose

std::wstring seedSignaturesPath() {
  wchar_t executable[MAX_PATH + 1] = {};
  (void)::GetModuleFileNameW(/*module=*/nullptr, executable, MAX_PATH);  // a longer path is truncated
  const std::wstring folder = parentDirectory(executable);
  return joinPath(joinPath(folder, L"data"), L"signatures.seed.txt");
}

}  // namespace korvel
