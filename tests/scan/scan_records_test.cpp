#include "scan/scan_records.h"

#include <gtest/gtest.h>

#include "signatures/signature_match.h"

namespace korvel {
namespace {

FileVerdict verdictOf(Severity severity, bool matched = false) {
  FileVerdict verdict;
  verdict.severity = severity;
  verdict.signatureMatched = matched;
  verdict.size = 10;
  return verdict;
}

ScanSummary summaryOf(const FileVerdict& verdict) {
  ScanSummary summary;
  addToSummary(verdict, summary);
  return summary;
}

TEST(ScanRecords, OptionsHaveTheLimitsOfTheEngine) {
  const ScanOptions options;
  EXPECT_FALSE(options.followSymlinks);
  EXPECT_FALSE(options.scanArchives);
  EXPECT_TRUE(options.skipKernelFiles);
  EXPECT_EQ(options.maxFileSize, 536'870'912u);
  EXPECT_EQ(options.readChunk, 1'048'576u);
}

TEST(ScanRecords, StartEmpty) {
  EXPECT_EQ(SignatureMatch{}.severity, 3);
  EXPECT_EQ(SignatureMatch{}.threatName, "");
  EXPECT_EQ(FileVerdict{}.severity, 0);
  EXPECT_EQ(FileVerdict{}.threatSeverity, 3);
  EXPECT_EQ(ScanProgressInfo{}, (ScanProgressInfo{0, 0, 0, 0, L"", L""}));
}

TEST(ScanSummary, CountsHighAndCriticalAsThreats) {
  for (const Severity severity : {3, 4}) {
    EXPECT_EQ(summaryOf(verdictOf(severity)).threats, 1u);
    EXPECT_EQ(summaryOf(verdictOf(severity)).suspicious, 0u);
  }
}

TEST(ScanSummary, CountsMediumAsSuspicious) {
  EXPECT_EQ(summaryOf(verdictOf(2)).threats, 0u);
  EXPECT_EQ(summaryOf(verdictOf(2)).suspicious, 1u);
}

TEST(ScanSummary, CountsCleanAndLowAsNeither) {
  for (const Severity severity : {0, 1}) {
    EXPECT_EQ(summaryOf(verdictOf(severity)).threats, 0u);
    EXPECT_EQ(summaryOf(verdictOf(severity)).suspicious, 0u);
  }
}

TEST(ScanSummary, CountsAListedFileAsAThreatAtAnySeverity) {
  for (Severity severity = 0; severity <= 4; ++severity) {
    EXPECT_EQ(summaryOf(verdictOf(severity, /*matched=*/true)).threats, 1u);
    EXPECT_EQ(summaryOf(verdictOf(severity, /*matched=*/true)).suspicious, 0u);
  }
}

TEST(ScanSummary, CountsFilesAndBytesOfEveryVerdict) {
  ScanSummary summary;
  addToSummary(verdictOf(0), summary);
  FileVerdict skipped = verdictOf(0);
  skipped.size = 1'000'000'000'000;
  skipped.reasons = {"Файл пропущен: превышен лимит размера"};
  addToSummary(skipped, summary);
  EXPECT_EQ(summary.filesScanned, 2u);
  EXPECT_EQ(summary.bytesScanned, 1'000'000'000'010u);
}

}  // namespace
}  // namespace korvel
