// How often a scan reports, and how a cancel meets the counting.
#include <algorithm>
#include <thread>

#include "scan_fixture.h"

namespace korvel {
namespace {

class ScanReports : public test::ScanFixture {
 protected:
  std::vector<ScanTarget> target() const { return {{folder_.path(), true}}; }
};

TEST_F(ScanReports, AreExactlyTwoForAScanWithFilesThatEndsWithin120Milliseconds) {
  for (int i = 0; i < 3; ++i) folder_.write(std::to_wstring(i) + L".exe", "zzz");
  FileScanner scanner(databaseOf(""), {});
  bool quick = false;
  for (int attempt = 0; attempt < 20 && !quick; ++attempt) {
    std::vector<ScanProgressInfo> reports;
    const ScanSummary summary = scanner.scan(
        target(), [&](const ScanProgressInfo& info) { reports.push_back(info); }, nullptr);
    EXPECT_EQ(summary.filesScanned, 3u);
    quick = summary.elapsedMs < 120;
    if (!quick) continue;
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].phase, L"scanning");
    EXPECT_EQ(reports[0].filesDone, 0u);
    EXPECT_EQ(reports[1].phase, L"finishing");
    EXPECT_EQ(reports[1].filesDone, 3u);
  }
  EXPECT_TRUE(quick) << "no scan ended in time";
}

TEST_F(ScanReports, ACancelWhileFilesAreCountedEndsTheCountingThere) {
  constexpr uint64_t kFiles = 2'000;
  for (uint64_t i = 0; i < kFiles; ++i) folder_.write(std::to_wstring(i) + L".exe", "");
  bool cut = false;
  for (DWORD attempt = 0; attempt < 200 && !cut; ++attempt) {
    FileScanner scanner(databaseOf(""), {});
    std::thread canceller([&] {
      ::Sleep(attempt / 10);
      scanner.cancel();
    });
    const ScanProgressInfo counted = scanner.measure(target());
    canceller.join();
    EXPECT_LE(counted.filesTotal, kFiles);
    EXPECT_EQ(counted.phase, L"counting");
    cut = counted.filesTotal > 0 && counted.filesTotal < kFiles;
  }
  EXPECT_TRUE(cut) << "no cancel came during the counting";
}

}  // namespace
}  // namespace korvel
