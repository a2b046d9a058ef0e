// The time from the start of the service to the answer of the first ping, minus the time from the start to
// the end of an empty program: with the seed signatures, and with a live database of 4,000,000 entries.
//
// Usage: start_bench CORPUS [--tiny], with empty_program.exe beside it.
#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>

#include "base/paths.h"
#include "base/utf.h"
#include "base/win.h"
#include "measure.h"
#include "running_service.h"

namespace {

using korvel::bench::Arguments;
using korvel::bench::Figures;
using korvel::bench::Loop;
using korvel::bench::prepareService;
using korvel::bench::RunningService;
using korvel::bench::wallSeconds;

std::wstring emptyProgram() {
  wchar_t self[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(/*module=*/nullptr, self, MAX_PATH);
  return korvel::joinPath(korvel::parentDirectory(self), L"empty_program.exe");
}

double startEmpty() {
  korvel::test::ChildProcess process;
  const double start = wallSeconds();
  process.start(emptyProgram(), L"");
  if (process.waitForExit(60'000) != DWORD{0}) throw std::runtime_error("the empty program failed");
  return wallSeconds() - start;
}

double startService() {
  const double start = wallSeconds();
  const RunningService service;
  return wallSeconds() - start;
}

void run(const Arguments& arguments) {
  const Figures figures("start");
  const int rounds = arguments.rounds(9);
  const auto compare = [&](const char* name, double barMs) {
    const std::vector<double> best = korvel::bench::bestOf(rounds, {startEmpty, startService});
    figures.atMost(name, (best[1] - best[0]) * 1e3, barMs, "ms");
    return best[0];
  };
  prepareService(L"");
  const double empty = compare("first answer with the seed, beyond an empty program", 80);
  prepareService(korvel::toWide(arguments.at(0) + "\\signatures.live.txt"));
  compare("first answer with 4,000,000 entries, beyond an empty program", 350);
  figures.plain("an empty program", empty * 1e3, "ms");
  prepareService(L"");
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }
