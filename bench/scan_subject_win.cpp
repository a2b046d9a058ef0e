#include "scan_subject.h"

#include <atomic>
#include <stdexcept>

#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"
#include "scan/directory_walk.h"
#include "scan/file_scanner.h"
#include "scan/scan_filter.h"
#include "signatures/signature_database.h"

#include <psapi.h>

namespace korvel::bench {
namespace {

/// One page-aligned buffer that stays allocated.
uint8_t* pages(size_t bytes) {
  static uint8_t* memory = nullptr;
  static size_t size = 0;
  if (size < bytes) {
    if (memory != nullptr) ::VirtualFree(memory, 0, MEM_RELEASE);
    memory = static_cast<uint8_t*>(::VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    if (memory == nullptr) throw std::bad_alloc();
    size = bytes;
  }
  return memory;
}

ScanTarget target(const std::string& folder) { return {toWide(folder), /*recursive=*/true}; }

}  // namespace

const char* const kScanArea = "scan";

struct ScanSubject::Parts {
  std::shared_ptr<SignatureDatabase> database = std::make_shared<SignatureDatabase>();
};

ScanSubject::ScanSubject(const std::string& signatures) : parts_(new Parts) {
  std::string error;
  if (!parts_->database->loadFile(toWide(signatures), &error)) throw std::runtime_error(error);
}

ScanSubject::~ScanSubject() = default;

std::vector<std::wstring> ScanSubject::files(const std::string& folder) const {
  std::vector<std::wstring> result;
  DirectoryWalk walk(target(folder), /*followSymlinks=*/false, /*stop=*/{});
  for (WalkedFile file; walk.next(file);) {
    if (shouldScan(file.path, ScanOptions())) result.push_back(file.path);
  }
  return result;
}

void ScanSubject::scan(const std::string& folder, size_t workers, size_t times,
                       const VerdictCallback& onVerdict) const {
  ScanOptions options;
  options.workers = workers;
  FileScanner scanner(parts_->database, options, /*stop=*/{});
  (void)scanner.scan(std::vector<ScanTarget>(times, target(folder)), /*onProgress=*/{}, onVerdict);
}

void readFile(const std::wstring& path, size_t bufferBytes, const std::function<void(ByteView)>& consume) {
  const UniqueHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, /*security=*/nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN,
                                        /*template=*/nullptr));
  if (!file) throw std::runtime_error("cannot open " + toUtf8(path));
  uint8_t* const buffer = pages(bufferBytes);
  DWORD got = 0;
  while (::ReadFile(file.get(), buffer, static_cast<DWORD>(bufferBytes), &got, /*overlapped=*/nullptr) &&
         got != 0)
    consume(ByteView(buffer, got));
}

uint64_t peakResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
  return counters.PeakWorkingSetSize;
}

}  // namespace korvel::bench
