#include "korvelctl/model/scan_report.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

ReportedThreat threat(const char* code, Severity severity, bool inStore = false) {
  ReportedThreat threat;
  threat.record.code = code;
  threat.record.severity = severity;
  threat.inQuarantineStore = inStore;
  return threat;
}

TEST(ScanDocument, CountsBySeverityWithoutStoredFiles) {
  ScanDocument document;
  document.threats = {threat("A", 2), threat("A", 3), threat("A", 4, true), threat("A", 7), threat("A", -1)};
  const SeverityCounts counts = countThreats(document);
  EXPECT_EQ(counts.of, (std::array<uint64_t, 5>{2, 0, 1, 1, 0}));
  EXPECT_EQ(counts.atLeast(kSeverityMedium), 2u);
  EXPECT_EQ(counts.atLeast(kSeverityHigh), 1u);
}

TEST(ScanDocument, FindsFromTheGivenSeverityOnInThreatsAndEvents) {
  ScanDocument document;
  document.threats = {threat("A", 2), threat("A", 4, /*inStore=*/true)};
  EXPECT_FALSE(foundSomething(document));
  document.failOn = kSeverityMedium;
  EXPECT_TRUE(foundSomething(document));
  document = {};
  document.events.resize(1);
  document.events[0].event.severity = kSeverityHigh;
  EXPECT_TRUE(foundSomething(document));
  document.events[0].inQuarantineStore = true;
  EXPECT_FALSE(foundSomething(document));
}

TEST(ScanDocument, GroupsByCodeMostSevereFirstThenLargest) {
  ScanDocument document;
  document.threats = {threat("B", 2), threat("C", 2),       threat("C", 2),
                      threat("A", 3), threat("D", 3, true), threat("E", 1)};
  const std::vector<FindingGroup> groups = groupByCode(document, kSeverityMedium, kSeverityCritical);
  ASSERT_EQ(groups.size(), 3u);
  EXPECT_EQ(groups[0].code, "A");
  EXPECT_EQ(groups[1].code, "C");
  EXPECT_EQ(groups[1].threats, (std::vector<size_t>{1, 2}));
  EXPECT_EQ(groups[2].code, "B");
  EXPECT_EQ(groupByCode(document, kSeverityMedium, kSeverityMedium).size(), 2u);
}

TEST(ScanDocument, HasNoSpeedWithoutTime) {
  ScanDocument document;
  document.bytesExamined = 1000;
  EXPECT_EQ(scanSpeed(document), std::nullopt);
  document.elapsedMs = 500;
  EXPECT_EQ(scanSpeed(document), 2000.0);
}

}  // namespace
}  // namespace korvel::ctl
