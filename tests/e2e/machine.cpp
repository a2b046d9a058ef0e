#include "e2e/machine.h"

#include <cstdlib>
#include <stdexcept>

#include "base/files.h"
#include "base/paths.h"
#include "config/data_paths.h"
#include "support/temp_folder.h"

namespace korvel::test {
namespace {

constexpr wchar_t kMarker[] = L"C:\\korvel-test-machine";
constexpr wchar_t kInstalled[] = L"C:\\Program Files\\Korvel\\KorvelService.exe";
constexpr int kFewKills = 10;
constexpr int kFewStops = 3;
constexpr int kFewFrames = 1'000;
constexpr int kOneSeed = 20'251'121;

int countFrom(const char* variable, int few) {
  const char* given = std::getenv(variable);
  return given != nullptr ? std::atoi(given) : few;
}

}  // namespace

void requireTestMachine() {
  if (!pathExists(kMarker)) {
    throw std::runtime_error(
        "these tests wipe the service's data; C:\\korvel-test-machine must exist to allow it");
  }
}

std::wstring serviceExecutable() {
  const wchar_t* given = ::_wgetenv(L"KORVEL_SERVICE");
  return given != nullptr ? given : kInstalled;
}

std::wstring controlExecutable() { return joinPath(parentDirectory(serviceExecutable()), L"korvelctl.exe"); }

void wipeServiceData() {
  requireTestMachine();
  removeTree(scanCachePath());
  removeTree(dataDir());
}

int killCount() { return countFrom("KORVEL_KILLS", kFewKills); }
int stopCount() { return countFrom("KORVEL_STOPS", kFewStops); }
int frameCount() { return countFrom("KORVEL_FRAMES", kFewFrames); }
uint32_t frameSeed() { return static_cast<uint32_t>(countFrom("KORVEL_SEED", kOneSeed)); }

}  // namespace korvel::test
