// Everything at once, for long: connections, pings, reloads, scans, a watched folder that never rests, driver
// queries and updates. What the service holds is written down all the time; scripts/evidence.d/soak judges
// it.
#include <atomic>
#include <cstdio>
#include <future>

#include "base/files.h"
#include "base/utf.h"
#include "e2e/driver_fixture.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_sizes.h"
#include "support/web_server.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

constexpr wchar_t kWatched[] = L"C:\\Users\\korvel-soak";
constexpr int kWatchedFiles = 50;
constexpr int kHarmless = 20;
constexpr int kListed = 3;
constexpr int kPingsPerCycle = 10;
constexpr int kCyclesPerReload = 10;
constexpr int kCyclesPerUpdate = 15;
constexpr int kSamples = 240;
constexpr DWORD kScanEndLimitMs = 60'000;

class Soak : public DriverTest {
 protected:
  void SetUp() override {
    DriverTest::SetUp();
    removeTree(kWatched);
    writeSettings("RealTimeEnabled=1\n");
    for (int i = 0; i < kHarmless; ++i) folder().write(L"in\\h" + std::to_wstring(i) + L".exe", "harmless");
    for (int i = 0; i < kListed; ++i) folder().write(L"in\\l" + std::to_wstring(i) + L".com", eicarText());
  }
  void TearDown() override {
    DriverTest::TearDown();
    removeTree(kWatched);
  }

  /// Files that come, change and go below the watched tree, a few dozen of them a second.
  static void keepTheWatcherBusy(const std::atomic<bool>& end) {
    for (uint64_t i = 0; !end; ++i) {
      const std::wstring path = std::wstring(kWatched) + L"\\" + std::to_wstring(i % kWatchedFiles) + L".exe";
      try {
        if (i % 3 == 2) {
          removeTree(path);
        } else {
          writeFile(path, i % 7 == 0 ? eicarText() : "harmless");
        }
      } catch (const std::exception&) {
        // the watcher reads it at this moment
      }
      ::Sleep(30);
    }
  }
  /// Returns the number of wrong answers.
  int keepTheDriverAsking(const std::atomic<bool>& end) {
    int wrong = 0;
    for (uint64_t id = 1; !end; id += 2) {
      wrong += driver_->ask(folder().at(L"in\\l0.com"), id) == false ? 0 : 1;
      wrong += driver_->ask(folder().at(L"in\\h0.exe"), id + 1) == true ? 0 : 1;
      ::Sleep(20);
    }
    return wrong;
  }

  struct Counts {
    uint64_t connects = 0, pings = 0, scans = 0, reloads = 0, updates = 0;
  };

  /// One connection: pings, a look at the progress, the next scan when the last has ended.
  void cycle(Counts& counts) {
    Client client;
    client.connect();
    ++counts.connects;
    for (int i = 0; i < kPingsPerCycle; ++i) {
      ASSERT_EQ(client.request(2).opcode, 2u);
      ++counts.pings;
    }
    if (counts.connects % kCyclesPerReload == 0) {
      ASSERT_EQ(client.request(13), (Reply{13, ""}));
      ++counts.reloads;
    }
    if (counts.connects % kCyclesPerUpdate == 0) {
      // One that still runs is not started again.
      if (client.request(14).opcode == 14) ++counts.updates;
      if (client.request(15).opcode == 15) ++counts.updates;
    }
    ScanReport now;
    ASSERT_TRUE(eventually(kScanEndLimitMs, [&] {
      now = ipc::decodeProgress(client.request(4).payload).value();
      return !now.scanning;
    }));
    if (counts.scans > 0) {
      ASSERT_EQ(now.lastSummary.threats, static_cast<uint64_t>(kListed));
      ASSERT_EQ(now.lastSummary.filesScanned, static_cast<uint64_t>(kListed + kHarmless));
    }
    ASSERT_EQ(client.request(3, ipc::encodeStartScan({ScanScope::kCustom, {folder().at(L"in")}})),
              (Reply{3, ""}));
    ++counts.scans;
  }

  void showSample(uint64_t seconds) {
    const ServiceSizes sizes = sizesOf(service().id());
    std::printf("sample: %llu\t%llu\t%u\t%u\n", static_cast<unsigned long long>(seconds),
                static_cast<unsigned long long>(sizes.privateBytes), sizes.handles, sizes.threads);
    std::fflush(stdout);
  }
};

TEST_F(Soak, UnderEverythingAtOnceTheServiceGoesOn) {
  const auto seconds = static_cast<uint64_t>(amountFrom("KORVEL_SOAK_SECONDS", 3));
  const auto cyclesPerSecond = static_cast<uint64_t>(amountFrom("KORVEL_SOAK_PACE", 3));
  const std::string installer = "MZ" + std::string(70'000, 'i');
  std::string url;
  const WebServer server([&](const std::string& path) {
    if (path == "/installer") return installer;
    if (path == "/api/v1/releases")
      return R"({"windows":{"version":"9.9.9","url":")" + url + R"(/installer"}})";
    return std::string(kEicarSha256) + "\n" + std::string(64, '7') + "\n";
  });
  url = server.url();
  writeSettings("UpdateServer=" + url + "\n");
  startWithDriver();
  std::atomic<bool> end{false};
  auto watched = std::async(std::launch::async, [&] { keepTheWatcherBusy(end); });
  auto wrongAnswers = std::async(std::launch::async, [&] { return keepTheDriverAsking(end); });
  Counts counts;
  uint64_t samples = 0;
  const ULONGLONG began = ::GetTickCount64();
  const auto elapsedMs = [began] { return ::GetTickCount64() - began; };
  while (elapsedMs() < seconds * 1'000 && service().running() && !HasFailure()) {
    if (elapsedMs() >= samples * seconds * 1'000 / kSamples && elapsedMs() >= samples * 500) {
      showSample(elapsedMs() / 1'000);
      ++samples;
    }
    cycle(counts);
    const uint64_t next = counts.connects * 1'000 / cyclesPerSecond;
    if (elapsedMs() < next) ::Sleep(static_cast<DWORD>(next - elapsedMs()));
  }
  end = true;
  watched.get();
  EXPECT_EQ(wrongAnswers.get(), 0);
  ASSERT_TRUE(service().running());
  const uint64_t queries = status().minifilterHandled;
  EXPECT_GT(queries, 0u);
  EXPECT_GT(counts.scans, 1u);
  EXPECT_EQ(log().find("crash:"), std::string::npos);
  EXPECT_EQ(log().find("scan aborted"), std::string::npos);
  showFigure("connects", counts.connects, "operations");
  showFigure("pings", counts.pings, "operations");
  showFigure("reloads", counts.reloads, "operations");
  showFigure("scans", counts.scans, "operations");
  showFigure("updates", counts.updates, "operations");
  showFigure("driver queries", queries, "operations");
}

}  // namespace
}  // namespace korvel::test
