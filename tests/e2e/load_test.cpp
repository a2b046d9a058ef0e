// The largest things that the service takes: the time and the memory that each costs are written down, and
// scripts/evidence.d/load holds them against its bounds. Without KORVEL_LOAD=full the amounts are small.
#include <cstdio>

#include "base/files.h"
#include "base/sizes.h"
#include "base/utf.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_sizes.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

constexpr DWORD kEndLimitMs = 3'000'000;
constexpr DWORD kEventLimitMs = 120'000;
constexpr size_t kLargestPayload = 32 * kMiB;
constexpr wchar_t kTree[] = L"C:\\korvel-load-tree";  ///< made by scripts/evidence.d/load when it is large
constexpr wchar_t kWatched[] = L"C:\\Users\\korvel-load";

bool isFull() {
  const char* chosen = std::getenv("KORVEL_LOAD");
  return chosen != nullptr && std::string_view(chosen) == "full";
}
uint64_t either(uint64_t full, uint64_t small) { return isFull() ? full : small; }

class Load : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    removeTree(kWatched);
  }
  void TearDown() override {
    ServiceTest::TearDown();
    removeTree(kWatched);
  }

  void begin() { began_ = ::GetTickCount64(); }
  /// Writes down the time since begin() and the most memory that the service has had.
  void showCost(const std::string& what, uint64_t amount) {
    const uint64_t ms = ::GetTickCount64() - began_;
    const uint64_t mebibytes = sizesOf(service().id()).peakBytes / kMiB;
    std::printf("row: %s\t%llu\t%llu\t%llu\n", what.c_str(), static_cast<unsigned long long>(amount),
                static_cast<unsigned long long>(ms), static_cast<unsigned long long>(mebibytes));
    showFigure(what, amount, "units");
  }

  ScanReport scanToItsEnd(const std::vector<std::wstring>& targets) {
    startScan(ScanScope::kCustom, targets);
    ScanReport now;
    EXPECT_TRUE(eventually(kEndLimitMs, [&] {
      ::Sleep(200);
      now = progress();
      return !now.scanning;
    }));
    return now;
  }
  /// Goes on making a file in a new `folder` until its event comes: the test platform never watches a folder
  /// that was made before the watch above it was armed.
  bool watchedOnceMade(const std::wstring& folder) {
    const std::wstring probe = folder + L"\\armed.com";
    return eventually(kEventLimitMs, [&] {
      try {
        removeTree(folder);
        writeFile(probe, eicarText());
      } catch (const std::exception&) {
        // the watcher reads it at this moment
      }
      return hasEvent(probe);
    });
  }
  /// Goes on writing `path` until its event comes.
  bool reportedOnceWritten(const std::wstring& path) {
    return eventually(kEventLimitMs, [&] {
      try {
        writeFile(path, eicarText());
      } catch (const std::exception&) {
        // the watcher reads it at this moment
      }
      return hasEvent(path);
    });
  }
  bool hasEvent(const std::wstring& path) {
    ::Sleep(200);
    for (const ThreatEvent& event : progress().events) {
      if (event.path == path) return true;
    }
    return false;
  }

 private:
  ULONGLONG began_ = 0;
};

TEST_F(Load, FramesOfTheLargestSizeAreTaken) {
  startService();
  const uint64_t frames = either(20, 1);
  const std::string payload(kLargestPayload, 'x');
  Client client;
  client.connect();
  begin();
  for (uint64_t i = 0; i < frames; ++i) ASSERT_EQ(client.request(2, payload).opcode, 2u);
  client.disconnect();
  showCost("frames of 32 MiB", frames);
}

TEST_F(Load, AsManyTargetsAsAScanMayHaveAreScanned) {
  const uint64_t count = either(ipc::kMaxScanTargets, 1'000);
  std::vector<std::wstring> targets;
  for (uint64_t i = 0; i < count; ++i) targets.push_back(folder().at(L"missing\\" + std::to_wstring(i)));
  folder().write(L"last\\eicar.com", eicarText());
  targets.back() = folder().at(L"last");
  startService();
  begin();
  EXPECT_EQ(scanToItsEnd(targets).lastSummary.threats, 1u);
  showCost("targets of a scan", count);
}

TEST_F(Load, ResultsUpToTheFrameLimitAreListed) {
  folder().write(L"in\\" + std::wstring(150, L'n') + L".com", eicarText());
  const std::wstring target = folder().at(L"in");
  startService();
  ASSERT_EQ(scanToItsEnd({target}).lastSummary.threats, 1u);
  const size_t one = reply(Opcode::kGetResults).size() - sizeof(uint32_t);
  const size_t most = (kLargestPayload - sizeof(uint32_t)) / one;
  ASSERT_LE(most, ipc::kMaxScanTargets);
  const uint64_t count = either(most, 500);
  begin();
  scanToItsEnd(std::vector<std::wstring>(count, target));
  EXPECT_EQ(results().size(), count);
  showCost("results", count);
}

TEST_F(Load, ADatabaseOfFourMillionEntriesIsLoaded) {
  const auto entries = static_cast<unsigned>(either(4'000'000, 50'000));
  std::string text = eicarSignatures();
  text.reserve(text.size() + entries * size_t{65});
  char line[66];
  for (unsigned i = 1; i < entries; ++i) {
    std::snprintf(line, sizeof line, "%08x%056x\n", i * 2'654'435'761u, i);
    text += line;
  }
  writeSettings("SignatureDb=" + toUtf8(folder().write(L"large.txt", text)) + "\n");
  folder().write(L"in\\eicar.com", eicarText());
  begin();
  startService();
  EXPECT_EQ(status().signatureCount, entries);
  showCost("signatures", entries);
  EXPECT_EQ(scanToItsEnd({folder().at(L"in")}).lastSummary.threats, 1u);
}

TEST_F(Load, ABurstOfFilesUnderTheWatcherIsSurvived) {
  writeSettings("RealTimeEnabled=1\n");
  startService();
  ASSERT_TRUE(watchedOnceMade(kWatched));
  const uint64_t files = either(20'000, 200);
  begin();
  for (uint64_t i = 0; i < files; ++i) {
    writeFile(std::wstring(kWatched) + L"\\burst" + std::to_wstring(i / 1'000) + L"\\" + std::to_wstring(i) +
                  L".exe",
              "x");
  }
  // What overflows the watch is lost, but it goes on.
  EXPECT_TRUE(reportedOnceWritten(std::wstring(kWatched) + L"\\after.com"));
  showCost("files in a burst under the watcher", files);
}

TEST_F(Load, AScanOfAMillionFilesEnds) {
  const uint64_t files = either(1'000'000, 500);
  std::wstring tree = kTree;
  if (!isFull()) {
    tree = folder().at(L"tree");
    for (uint64_t i = 0; i < files; ++i) folder().write(L"tree\\" + std::to_wstring(i) + L".exe", "x");
  }
  startService();
  begin();
  EXPECT_EQ(scanToItsEnd({tree}).lastSummary.filesScanned, files);
  showCost("files in a scan", files);
}

}  // namespace
}  // namespace korvel::test
