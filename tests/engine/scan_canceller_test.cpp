#include "engine/scan_canceller.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "base/win.h"
#include "scan/file_scanner.h"
#include "scan/signature_database.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

class ScanCancellerTest : public testing::Test {
 protected:
  ScanCancellerTest() : scanner_(std::make_shared<SignatureDatabase>(), ScanOptions{}) {
    for (int i = 0; i < 40; ++i) folder_.write(std::to_wstring(i) + L".exe", "x");
  }
  /// Scans with a pause after each file; returns how many files were scanned.
  uint64_t scanSlowly(
      DWORD pauseMs, const std::function<void()>& atEachFile = [] {}) {
    const auto pause = [&](const FileVerdict&) {
      atEachFile();
      ::Sleep(pauseMs);
    };
    return scanner_.scan({{folder_.path(), true}}, nullptr, pause).filesScanned;
  }
  static constexpr DWORD kNoticeableMs = 500;  // forty of these are time enough for a flag to be noticed

  test::TempFolder folder_;
  FileScanner scanner_;
  std::atomic<bool> cancel_{false};
  std::atomic<bool> stop_{false};
};

TEST_F(ScanCancellerTest, ACancelDuringTheScanEndsIt) {
  ScanCanceller canceller(scanner_, cancel_, stop_);
  canceller.watchCancelRequests();
  EXPECT_LT(scanSlowly(kNoticeableMs, [this] { cancel_ = true; }), 40u);
}

TEST_F(ScanCancellerTest, ACancelFromBeforeTheScanIsLost) {
  cancel_ = true;
  ScanCanceller canceller(scanner_, cancel_, stop_);
  canceller.watchCancelRequests();
  EXPECT_EQ(scanSlowly(/*pauseMs=*/20), 40u);
}

TEST_F(ScanCancellerTest, AStopFromBeforeTheScanStillEndsIt) {
  stop_ = true;
  ScanCanceller canceller(scanner_, cancel_, stop_);
  canceller.watchCancelRequests();
  EXPECT_LT(scanSlowly(kNoticeableMs), 40u);
}

TEST_F(ScanCancellerTest, AStopEndsTheCountingToo) {
  stop_ = true;
  ScanCanceller canceller(scanner_, cancel_, stop_);
  while (scanner_.measure({{folder_.path(), true}}).filesTotal != 0) ::Sleep(10);  // or for ever
}

}  // namespace
}  // namespace korvel::svc
