#include "engine/threat_naming.h"

#include <gtest/gtest.h>

namespace korvel::svc {
namespace {

TEST(MakeThreatRecord, ASignatureMatchIsNamedByItsEntry) {
  FileVerdict verdict;
  verdict.path = L"C:\\a.exe";
  verdict.size = 42;
  verdict.sha256 = "ab";
  verdict.signatureMatched = true;
  verdict.threatName = "Win.Test";
  verdict.family = "Test";
  verdict.severity = kSeverityCritical;
  verdict.findings = {{4, "SIG.MATCH", "t", "d"}};
  verdict.reasons = {"headline"};
  const ThreatRecord expected{
      {L"C:\\a.exe", "Win.Test", "Test", 4, 42}, "ab", verdict.findings, verdict.reasons};
  EXPECT_EQ(makeThreatRecord(verdict), expected);
}

TEST(MakeThreatRecord, AHeuristicDetectionIsNamedByItsFirstHeadlineAndItsFirstRule) {
  FileVerdict verdict;
  verdict.severity = kSeverityHigh;
  verdict.findings = {{2, "PE.NO_IMPORTS", "", ""}, {3, "FS.DOUBLE_EXT", "", ""}};
  verdict.reasons = {"first", "second"};
  const ThreatRecord record = makeThreatRecord(verdict);
  EXPECT_EQ(record.name, "first");
  EXPECT_EQ(record.code, "PE.NO_IMPORTS");
}

TEST(MakeThreatRecord, WithoutHeadlineAndRuleItIsASuspiciousFile) {
  const ThreatRecord record = makeThreatRecord(FileVerdict{});
  EXPECT_EQ(record.name, "Suspicious file");
  EXPECT_EQ(record.code, "UNKNOWN");
}

}  // namespace
}  // namespace korvel::svc
