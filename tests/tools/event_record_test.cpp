#include "korvelctl/model/event_record.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

const EventThreat kEicar{.path = L"C:\\in\\eicar.com",
                         .name = "EICAR-Test-File",
                         .code = "EICAR",
                         .severity = kSeverityHigh,
                         .size = 68,
                         .seenUtc = 1'795'320'660};

TEST(EventRecord, ADetectionHasItsFieldsInTheirFixedOrder) {
  const EventRecord record = threatFound(kEicar);
  EXPECT_EQ(static_cast<uint32_t>(record.id), 1001u);
  EXPECT_EQ(record.strings, (std::vector<std::wstring>{L"C:\\in\\eicar.com", L"EICAR-Test-File", L"EICAR",
                                                       L"high", L"68", L"2026-11-22T04:11:00Z"}));
}

TEST(EventRecord, HighSeveritiesAreErrorsAndTheOthersWarnings) {
  EventThreat threat = kEicar;
  EXPECT_EQ(threatFound(threat).level, EventLevel::kError);
  threat.severity = kSeverityMedium;
  EXPECT_EQ(threatFound(threat).level, EventLevel::kWarning);
}

TEST(EventRecord, DecisionsNameTheFileAndAFailureItsReason) {
  EXPECT_EQ(static_cast<uint32_t>(threatQuarantined(kEicar).id), 1002u);
  EXPECT_EQ(static_cast<uint32_t>(threatDeleted(kEicar).id), 1003u);
  const EventRecord failed = actionFailed(kEicar, "MoveFileEx failed, code 32");
  EXPECT_EQ(static_cast<uint32_t>(failed.id), 1004u);
  EXPECT_EQ(failed.level, EventLevel::kError);
  EXPECT_EQ(failed.strings.at(4), L"MoveFileEx failed, code 32");
  EXPECT_EQ(threatQuarantined(kEicar).strings.size(), 4u);
}

TEST(EventRecord, TheServiceGoesAndComesBack) {
  EXPECT_EQ(serviceLost("busy"), (EventRecord{EventId::kServiceLost, EventLevel::kWarning, {L"busy"}}));
  EXPECT_EQ(serviceBack("1.2.0"), (EventRecord{EventId::kServiceBack, EventLevel::kInformation, {L"1.2.0"}}));
  EXPECT_EQ(watchStarted("1.2.0").strings, std::vector<std::wstring>{L"1.2.0"});
  EXPECT_EQ(watchEnded(7).strings, std::vector<std::wstring>{L"7"});
}

TEST(EventRecord, ANameThatTriesToLookLikeAnotherLineLosesItsControlCharacters) {
  EventThreat threat = kEicar;
  threat.path = L"C:\\a\r\nSeverity: clean";
  threat.name = "x\x1B[2J";
  const EventRecord record = threatFound(threat);
  EXPECT_EQ(record.strings[0].find(L'\n'), std::wstring::npos);
  EXPECT_EQ(record.strings[0].find(L'\r'), std::wstring::npos);
  EXPECT_EQ(record.strings[1].find(L'\x1B'), std::wstring::npos);
}

TEST(EventRecord, ATextIsCutToWhatAnEventCanHold) {
  EventThreat threat = kEicar;
  threat.path.assign(40'000, L'a');
  threat.name.assign(40'000, 'b');
  const EventRecord record = threatFound(threat);
  EXPECT_EQ(record.strings[0].size(), 31'839u);
  EXPECT_EQ(record.strings[1].size(), 31'839u);
}

TEST(EventRecord, ATimeThatNobodyKnowsIsADash) {
  EventThreat threat = kEicar;
  threat.seenUtc = 0;
  EXPECT_EQ(threatFound(threat).strings[5], L"-");
}

}  // namespace
}  // namespace korvel::ctl
