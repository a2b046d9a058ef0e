#include "scan/file_scanner.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "base/win.h"
#include "scan/ordered_pipeline.h"
#include "scan/report_pace.h"
#include "scan_fixture.h"
#include "support/eventually.h"

namespace korvel {
namespace {

ScanOptions withWorkers(size_t workers) {
  ScanOptions options;
  options.workers = workers;
  return options;
}

class FileScannerTest : public test::ScanFixture {
 protected:
  FileScanner& scanner(const std::string& signatures = "", const ScanOptions& options = {}) {
    scanner_ = std::make_unique<FileScanner>(databaseOf(signatures), options);
    return *scanner_;
  }
  std::vector<ScanTarget> target() const { return {{folder_.path(), true}}; }

  std::unique_ptr<FileScanner> scanner_;
};

TEST_F(FileScannerTest, MeasureCountsFilesAndBytesThatPassTheFilter) {
  folder_.write(L"a.exe", "12345");
  folder_.write(L"sub\\b.DLL", "123");
  folder_.write(L"photo.jpg", "1234567");
  folder_.write(L"readme", "1");
  const ScanProgressInfo info = scanner().measure(target());
  EXPECT_EQ(info.filesTotal, 2u);
  EXPECT_EQ(info.bytesTotal, 8u);
  EXPECT_EQ(info.filesDone, 0u);
  EXPECT_EQ(info.bytesDone, 0u);
  EXPECT_EQ(info.phase, L"counting");
  EXPECT_EQ(info.currentPath, L"");
}

TEST_F(FileScannerTest, MeasureAfterACancelCountsNothingAndKeepsTheCancel) {
  folder_.write(L"a.exe", "12345");
  FileScanner& subject = scanner();
  subject.cancel();
  EXPECT_EQ(subject.measure(target()).filesTotal, 0u);
  EXPECT_EQ(subject.measure(target()).filesTotal, 0u);
}

TEST_F(FileScannerTest, ACancelBeforeTheScanIsForgotten) {
  folder_.write(L"a.exe", "12345");
  FileScanner& subject = scanner();
  subject.cancel();
  const ScanSummary summary = subject.scan(target(), nullptr, nullptr);
  EXPECT_EQ(summary.filesScanned, 1u);
  EXPECT_FALSE(summary.cancelled);
}

TEST_F(FileScannerTest, VerdictsComeOncePerScannedFile) {
  folder_.write(L"clean.exe", "zzz");
  folder_.write(L"listed.exe", "abc");
  folder_.write(L"invoice.pdf.exe", "xyz");
  folder_.write(L"skipped.jpg", "abc");
  std::vector<std::wstring> names;
  const ScanSummary summary = scanner(std::string(test::kAbcSha256) + "\n")
                                  .scan(target(), nullptr, [&names](const FileVerdict& verdict) {
                                    names.push_back(verdict.fileName);
                                  });
  EXPECT_EQ(names.size(), 3u);
  EXPECT_EQ(summary.filesScanned, 3u);
  EXPECT_EQ(summary.bytesScanned, 9u);
  EXPECT_EQ(summary.threats, 2u);
  EXPECT_EQ(summary.suspicious, 0u);
}

TEST_F(FileScannerTest, AListedFileOfLowSeverityIsAThreatAndADownloadIsOnlySuspicious) {
  folder_.write(L"listed.exe", "abc");
  folder_.write(L"Downloads\\tool.exe", "xyz");
  const ScanSummary summary =
      scanner(std::string(test::kAbcSha256) + ":t:F:low:Name:ref\n").scan(target(), nullptr, nullptr);
  EXPECT_EQ(summary.threats, 1u);
  EXPECT_EQ(summary.suspicious, 1u);
}

TEST_F(FileScannerTest, AnOversizedFileStillCountsWithItsFullSize) {
  folder_.write(L"big.exe", std::string(2000, 'x'));
  ScanOptions options;
  options.maxFileSize = 1000;
  std::vector<ScanProgressInfo> reports;
  std::vector<FileVerdict> verdicts;
  const ScanSummary summary =
      scanner("", options)
          .scan(
              target(), [&reports](const ScanProgressInfo& info) { reports.push_back(info); },
              [&verdicts](const FileVerdict& verdict) { verdicts.push_back(verdict); });
  EXPECT_EQ(summary.filesScanned, 1u);
  EXPECT_EQ(summary.bytesScanned, 2000u);
  ASSERT_EQ(verdicts.size(), 1u);
  EXPECT_EQ(reports.back().filesDone, 1u);
  EXPECT_EQ(reports.back().bytesDone, 2000u);
}

TEST_F(FileScannerTest, ACallbackThatCancelsGetsNoFurtherVerdict) {
  for (int i = 0; i < 50; ++i) folder_.write(std::to_wstring(i) + L".exe", "zzz");
  FileScanner& subject = scanner("", withWorkers(0));
  int verdicts = 0;
  const ScanSummary summary = subject.scan(target(), nullptr, [&](const FileVerdict&) {
    if (++verdicts == 7) subject.cancel();
  });
  EXPECT_EQ(verdicts, 7);
  EXPECT_EQ(summary.filesScanned, 7u);
  EXPECT_TRUE(summary.cancelled);
}

// Of the files scanned ahead, those in front of the first unfinished one are delivered and counted too.
TEST_F(FileScannerTest, ACutScanDeliversAPrefixOfTheWholeAndCountsIt) {
  for (int i = 0; i < 400; ++i) folder_.write(std::to_wstring(i) + L".exe", "zzz");
  std::vector<FileVerdict> whole;
  scanner("", withWorkers(0)).scan(target(), nullptr, [&](const FileVerdict& verdict) {
    whole.push_back(verdict);
  });
  ASSERT_EQ(whole.size(), 400u);
  for (const size_t workers : {1u, 2u, 4u}) {
    for (const bool byStop : {false, true}) {
      StopSource stop;
      FileScanner subject(databaseOf(""), withWorkers(workers), stop.get_token());
      std::vector<FileVerdict> verdicts;
      const ScanSummary summary = subject.scan(target(), nullptr, [&](const FileVerdict& verdict) {
        verdicts.push_back(verdict);
        if (verdicts.size() == 7) byStop ? (void)stop.request_stop() : subject.cancel();
      });
      ASSERT_GE(verdicts.size(), 7u);
      EXPECT_LE(verdicts.size(), 7u + PipelineLimits().windowItems) << workers;
      EXPECT_TRUE(std::equal(verdicts.begin(), verdicts.end(), whole.begin())) << workers;
      EXPECT_EQ(summary.filesScanned, verdicts.size()) << workers;
      EXPECT_TRUE(summary.cancelled);
    }
  }
}

TEST_F(FileScannerTest, ProgressBeginsWithScanningAndEndsWithFinishing) {
  const std::wstring path = folder_.write(L"a.exe", "12345");
  std::vector<ScanProgressInfo> reports;
  scanner().scan(
      target(), [&reports](const ScanProgressInfo& info) { reports.push_back(info); }, nullptr);
  ASSERT_GE(reports.size(), 2u);
  EXPECT_EQ(reports.front().phase, L"scanning");
  EXPECT_EQ(reports.front().filesDone, 0u);
  EXPECT_EQ(reports.back().phase, L"finishing");
  EXPECT_EQ(reports.back().filesDone, 1u);
  EXPECT_EQ(reports.back().bytesDone, 5u);
  EXPECT_EQ(reports.back().currentPath, path);
  EXPECT_EQ(reports.back().filesTotal, 0u);
}

TEST_F(FileScannerTest, AScanOfNothingReportsExactlyTwice) {
  int reports = 0;
  scanner().scan(
      target(), [&reports](const ScanProgressInfo&) { ++reports; }, nullptr);
  EXPECT_EQ(reports, 2);
}

TEST_F(FileScannerTest, ReportsBetweenFirstAndLastKeepTheirDistance) {
  using Clock =
      std::chrono::steady_clock;  // the scanner's; that of the system's ticks may pass at another pace
  for (int i = 0; i < 12; ++i) folder_.write(std::to_wstring(i) + L".exe", "zzz");
  int reports = 0;
  const Clock::time_point start = Clock::now();
  scanner().scan(
      target(), [&reports](const ScanProgressInfo&) { ++reports; }, [](const FileVerdict&) { ::Sleep(40); });
  const Clock::duration whole = Clock::now() - start;
  // The first and the last come at any time, and the others share what the scan took.
  EXPECT_LE(reports - 2, whole / ReportPace::kDistance);
  EXPECT_GE(reports, 3);
}

TEST_F(FileScannerTest, TargetsThatAreFilesOrMissingAddNothing) {
  const std::wstring file = folder_.write(L"a.exe", "abc");
  const ScanSummary summary =
      scanner().scan({{file, true}, {folder_.at(L"missing"), true}}, nullptr, nullptr);
  EXPECT_EQ(summary.filesScanned, 0u);
  EXPECT_FALSE(summary.cancelled);
}

TEST_F(FileScannerTest, AnExceptionOfACallbackPassesThrough) {
  folder_.write(L"a.exe", "abc");
  EXPECT_THROW(scanner().scan(target(), nullptr, [](const FileVerdict&) { throw std::runtime_error("no"); }),
               std::runtime_error);
}

TEST_F(FileScannerTest, AnyNumberOfWorkersGivesTheSameVerdictsInTheSameOrder) {
  for (int i = 0; i < 300; ++i) {
    const std::wstring name = L"d" + std::to_wstring(i % 7) + L"\\f" + std::to_wstring(i);
    folder_.write(name + (i % 11 == 0 ? L".pdf.exe" : L".exe"),
                  i % 5 == 0 ? "abc" : std::string(static_cast<size_t>(i) * 37, 'x'));
  }
  folder_.write(L"large.exe", std::string(9'000'000, 'y'));
  const auto run = [this](size_t workers) {
    std::vector<FileVerdict> verdicts;
    std::vector<ScanProgressInfo> reports;
    ScanSummary summary =
        scanner(std::string(test::kAbcSha256) + "\n", withWorkers(workers))
            .scan(
                target(), [&reports](const ScanProgressInfo& info) { reports.push_back(info); },
                [&verdicts](const FileVerdict& verdict) { verdicts.push_back(verdict); });
    summary.elapsedMs = 0;
    return std::tuple(verdicts, summary, reports.front(), reports.back());
  };
  const auto expected = run(0);
  EXPECT_EQ(std::get<0>(expected).size(), 301u);
  for (const size_t workers : {1u, 2u, 4u}) EXPECT_TRUE(run(workers) == expected) << workers;
}

TEST_F(FileScannerTest, ACancelFromAnotherThreadDeliversOnlyWhatIsFinished) {
  for (int i = 0; i < 400; ++i) folder_.write(std::to_wstring(i) + L".exe", "zzz");
  for (const size_t workers : {0u, 1u, 2u, 4u}) {
    FileScanner& subject = scanner("", withWorkers(workers));
    std::atomic<int> delivered{0};
    int atCancel = -1;
    std::thread canceller([&] {
      EXPECT_TRUE(test::eventually([&] { return delivered >= 20; }));
      subject.cancel();
      atCancel = delivered;
    });
    subject.scan(target(), nullptr, [&](const FileVerdict&) {
      ++delivered;
      ::Sleep(1);
    });
    canceller.join();
    const int ahead = workers == 0 ? 0 : static_cast<int>(PipelineLimits().windowItems);
    EXPECT_LE(delivered, atCancel + 1 + ahead) << workers;
  }
}

TEST_F(FileScannerTest, AnAbandonedScanDeliversNoFurtherFile) {
  for (int i = 0; i < 40; ++i) folder_.write(std::to_wstring(i) + L".exe", "zzz");
  StopSource stop;
  FileScanner subject(databaseOf(""), withWorkers(0), stop.get_token());
  int delivered = 0;
  const ScanSummary summary = subject.scan(target(), nullptr, [&](const FileVerdict&) {
    if (++delivered == 3) stop.request_stop();
  });
  EXPECT_EQ(delivered, 3);
  EXPECT_EQ(summary.filesScanned, 3u);
}

TEST_F(FileScannerTest, AStopFromBeforeTheScanStillEndsIt) {
  for (int i = 0; i < 40; ++i) folder_.write(std::to_wstring(i) + L".exe", "x");
  for (const size_t workers : {0u, 2u}) {
    StopSource stop;
    stop.request_stop();
    FileScanner subject(databaseOf(""), withWorkers(workers), stop.get_token());
    const ScanSummary summary = subject.scan(target(), nullptr, nullptr);
    EXPECT_EQ(summary.filesScanned, 0u);
    EXPECT_TRUE(summary.cancelled);
  }
}

TEST_F(FileScannerTest, AStopEndsTheCountingToo) {
  folder_.write(L"a.exe", "x");
  StopSource stop;
  const FileScanner subject(databaseOf(""), ScanOptions{}, stop.get_token());
  EXPECT_EQ(subject.measure(target()).filesTotal, 1u);
  stop.request_stop();
  EXPECT_EQ(subject.measure(target()).filesTotal, 0u);
}

TEST_F(FileScannerTest, ALivingDriveIsScannedWholeWhileOtherFoldersComeAndGo) {
  constexpr int kFolders = 12, kFilesEach = 25, kOthers = 11, kScans = 20;
  for (int folder = 0; folder < kFolders; ++folder) {
    for (int file = 0; file < kFilesEach; ++file) {
      folder_.write(L"d" + std::to_wstring(folder) + L"\\" + std::to_wstring(file) + L".exe", "abc");
    }
  }
  std::atomic<bool> ended{false};
  std::atomic<int> rounds{0};
  std::thread life([&] {
    for (; !ended; ++rounds) {
      // Between the others in any order of listing.
      for (int i = 0; i < kOthers; ++i) {
        ::CreateDirectoryW(folder_.at(L"d" + std::to_wstring(i) + L"x").c_str(), nullptr);
      }
      for (int i = 0; i < kOthers; ++i) {
        ::RemoveDirectoryW(folder_.at(L"d" + std::to_wstring(i) + L"x").c_str());
      }
    }
  });
  for (int scan = 0; scan < kScans; ++scan) {
    const int roundsBefore = rounds;
    EXPECT_TRUE(test::eventually([&] { return rounds > roundsBefore; }));
    FileScanner& subject = scanner("", withWorkers(scan % 2 == 0 ? 0 : 2));
    EXPECT_EQ(subject.measure(target()).filesTotal, 300u);
    int read = 0;
    const ScanSummary summary = subject.scan(target(), nullptr, [&read](const FileVerdict& verdict) {
      read += verdict.sha256 == test::kAbcSha256 ? 1 : 0;
    });
    EXPECT_EQ(summary.filesScanned, 300u) << scan;
    EXPECT_EQ(read, 300) << scan;
  }
  ended = true;
  life.join();
}

TEST_F(FileScannerTest, ScansASingleFileWithoutAskingTheFilter) {
  const FileVerdict verdict =
      scanner(std::string(test::kAbcSha1) + "\n").scanSingleFile(folder_.write(L"photo.jpg", "abc"));
  EXPECT_TRUE(verdict.signatureMatched);
}

}  // namespace
}  // namespace korvel
