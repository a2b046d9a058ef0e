// Counting the files that a scan would scan, against a bare walk of the same folders.
//
// Usage: walk_bench FOLDER... [--tiny]
#include <memory>
#include <stdexcept>
#include <string>

#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"
#include "measure.h"
#include "scan/file_scanner.h"
#include "signatures/signature_database.h"

namespace {

using korvel::ScanTarget;
using korvel::bench::Arguments;
using korvel::bench::Figures;

/// The files below a folder, by nothing but the system's own listing.
size_t bareWalk(const std::wstring& folder) {
  size_t files = 0;
  WIN32_FIND_DATAW entry{};
  const korvel::UniqueFindHandle find(::FindFirstFileExW((folder + L"\\*").c_str(), FindExInfoBasic, &entry,
                                                         FindExSearchNameMatch, /*filter=*/nullptr,
                                                         FIND_FIRST_EX_LARGE_FETCH));
  if (!find) return 0;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      ++files;
    } else if (wcscmp(entry.cFileName, L".") != 0 && wcscmp(entry.cFileName, L"..") != 0) {
      files += bareWalk(folder + L"\\" + entry.cFileName);
    }
  } while (::FindNextFileW(find.get(), &entry));
  return files;
}

void run(const Arguments& arguments) {
  const std::wstring folder = korvel::toWide(arguments.at(0));
  const korvel::FileScanner scanner(std::make_shared<korvel::SignatureDatabase>(), korvel::ScanOptions());
  const std::vector<ScanTarget> targets = {{folder, /*recursive=*/true}};
  uint64_t files = 0;
  uint64_t counted = 0;
  const std::vector<double> best = korvel::bench::bestOf(
      arguments.rounds(15), {korvel::bench::timed([&] { files = bareWalk(folder); }),
                             korvel::bench::timed([&] { counted = scanner.measure(targets).filesTotal; })});
  if (counted == 0 || counted > files) throw std::runtime_error("the walks saw different files");
  const Figures figures("walk");
  figures.atMost("measure(), to a bare walk", best[1] / best[0], 1.6);
  figures.plain("measure() for a file", best[1] / static_cast<double>(files) * 1e6, "us");
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }
