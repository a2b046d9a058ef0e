#include "engine/scan_canceller.h"

#include <gtest/gtest.h>

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
  /// Scans slowly enough for a flag to be noticed in the middle; returns how many files were scanned.
  uint64_t scanSlowly() {
    return scanner_.scan({{folder_.path(), true}}, nullptr, [](const FileVerdict&) { ::Sleep(20); })
        .filesScanned;
  }

  test::TempFolder folder_;
  FileScanner scanner_;
  std::atomic<bool> cancel_{false};
  std::atomic<bool> stop_{false};
};

TEST_F(ScanCancellerTest, ACancelDuringTheScanEndsIt) {
  ScanCanceller canceller(scanner_, cancel_, stop_);
  canceller.watchCancelRequests();
  const uint64_t scanned = scanner_
                               .scan({{folder_.path(), true}}, nullptr,
                                     [this](const FileVerdict&) {
                                       cancel_ = true;
                                       ::Sleep(20);
                                     })
                               .filesScanned;
  EXPECT_LT(scanned, 40u);
}

TEST_F(ScanCancellerTest, ACancelFromBeforeTheScanIsLost) {
  cancel_ = true;
  ScanCanceller canceller(scanner_, cancel_, stop_);
  canceller.watchCancelRequests();
  EXPECT_EQ(scanSlowly(), 40u);
}

TEST_F(ScanCancellerTest, AStopFromBeforeTheScanStillEndsIt) {
  stop_ = true;
  ScanCanceller canceller(scanner_, cancel_, stop_);
  canceller.watchCancelRequests();
  EXPECT_LT(scanSlowly(), 40u);
}

TEST_F(ScanCancellerTest, AStopEndsTheCountingToo) {
  stop_ = true;
  ScanCanceller canceller(scanner_, cancel_, stop_);
  ::Sleep(150);
  EXPECT_EQ(scanner_.measure({{folder_.path(), true}}).filesTotal, 0u);
}

}  // namespace
}  // namespace korvel::svc
