#include <gtest/gtest.h>

#include "protocol/decoder_checks.h"
#include "protocol/frame.h"
#include "protocol/messages.h"
#include "protocol/payload.h"
#include "protocol/wire.h"

namespace korvel::ipc {
namespace {

using test::expectExactLength;
using test::expectRefusedCheaply;
using test::text;
using test::u32;
using test::u64;

ThreatEvent sampleEvent() {
  ThreatEvent event;
  event.path = L"C:\\Загрузки\\счёт.pdf.exe";
  event.name = "Двойное расширение";
  event.code = "FS.DOUBLE_EXT";
  event.severity = kSeverityMedium;
  event.size = 0x0807060504030201;
  return event;
}

std::string sampleEventBytes() {
  return text("C:\\Загрузки\\счёт.pdf.exe") + text("Двойное расширение") + text("FS.DOUBLE_EXT") + u32(2) +
         u64(0x0807060504030201);
}

ThreatRecord sampleThreat() {
  ThreatRecord threat{sampleEvent(), {}, {}, {}};
  threat.sha256 = "0123abcd";
  threat.reasons = {{kSeverityMedium, "FS.DOUBLE_EXT", "Заголовок", "Пояснение"}, {-7, "", "", ""}};
  threat.labels = {"первый", "", "второй"};
  return threat;
}

std::string sampleThreatBytes() {
  return sampleEventBytes() + text("0123abcd") + u32(2) + u32(2) + text("FS.DOUBLE_EXT") + text("Заголовок") +
         text("Пояснение") + u32(0xFFFFFFF9) + text("") + text("") + text("") + u32(3) + text("первый") +
         text("") + text("второй");
}

ScanReport sampleProgress() {
  ScanReport reply;
  reply.progress = {11, 22, 33, 44, L"C:\\Тест\\a.exe", L"scanning"};
  reply.scanning = true;
  reply.lastSummary = {55, 66, 77, 88, 99, true};
  reply.events = {sampleEvent(), ThreatEvent{}};
  return reply;
}

std::string progressFieldBytes() {
  return u64(11) + u64(22) + u64(33) + u64(44) + text("C:\\Тест\\a.exe") + text("scanning") + u32(1) +
         u64(55) + u64(66) + u64(77) + u64(88) + u64(99) + u32(1);
}

bool operator==(const ScanReport& a, const ScanReport& b) {
  return a.progress == b.progress && a.scanning == b.scanning && a.lastSummary == b.lastSummary &&
         a.events == b.events;
}

TEST(ProgressReply, IsThirteenFieldsAndTheEvents) {
  size_t taken = 0;
  const std::string bytes = encodeProgress(sampleProgress(), &taken);
  EXPECT_EQ(taken, 2u);
  EXPECT_EQ(bytes, progressFieldBytes() + u32(2) + sampleEventBytes() + text("") + text("") + text("") +
                       u32(3) + u64(0));
}

TEST(ProgressReply, DecodesWhatItEncodesAndNothingShorter) {
  size_t taken = 0;
  const std::string bytes = encodeProgress(sampleProgress(), &taken);
  const auto decoded = decodeProgress(bytes);
  ASSERT_TRUE(decoded);
  EXPECT_TRUE(*decoded == sampleProgress());
  for (size_t length = 0; length < bytes.size(); ++length)
    EXPECT_FALSE(decodeProgress(bytes.substr(0, length)));
  EXPECT_TRUE(decodeProgress(bytes + "x"));
}

TEST(ProgressReply, EachFlagHasItsOwnPlace) {
  ScanReport reply;
  size_t taken = 0;
  reply.scanning = true;
  EXPECT_TRUE(decodeProgress(encodeProgress(reply, &taken))->scanning);
  EXPECT_FALSE(decodeProgress(encodeProgress(reply, &taken))->lastSummary.cancelled);
}

/// An event whose five fields take exactly `bytes` on the wire.
ThreatEvent eventOfBytes(size_t bytes) {
  ThreatEvent event;
  event.name = std::string(bytes - (3 * 4 + 4 + 8), 'n');
  return event;
}

TEST(ProgressReply, EventsThatFillTheFrameToTheLastByteAllTravel) {
  ScanReport reply;
  size_t taken = 0;
  const size_t room = kMaxPayloadBytes - encodeProgress(reply, &taken).size();
  reply.events = {eventOfBytes(room - 1000), eventOfBytes(1000)};
  const std::string bytes = encodeProgress(reply, &taken);
  EXPECT_EQ(taken, 2u);
  EXPECT_EQ(bytes.size(), kMaxPayloadBytes);
  EXPECT_EQ(decodeProgress(bytes)->events, reply.events);
}

TEST(ProgressReply, EventsThatDoNotFitAreLeftOutFromTheFirstSuchOneOn) {
  ScanReport reply;
  size_t taken = 0;
  const size_t room = kMaxPayloadBytes - encodeProgress(reply, &taken).size();
  reply.events = {eventOfBytes(room - 1000), eventOfBytes(1001), eventOfBytes(24)};
  const std::string bytes = encodeProgress(reply, &taken);
  EXPECT_EQ(taken, 1u);
  EXPECT_LE(bytes.size(), kMaxPayloadBytes);
  const auto decoded = decodeProgress(bytes);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->events, std::vector<ThreatEvent>{reply.events.front()});
}

TEST(ProgressReply, AnUnbackedEventCountCostsNoMemory) {
  expectRefusedCheaply(progressFieldBytes() + u32(0xFFFFFFFF), decodeProgress);
  expectRefusedCheaply(progressFieldBytes() + u32(0xFFFFFFFF) + sampleEventBytes(), decodeProgress);
}

EngineStatus sampleStatus() {
  EngineStatus status;
  status.serviceVersion = "1.2.0";
  status.signatureCount = 123'456;
  status.signatureVersion = "2025.11.21";
  status.protectionEnabled = true;
  status.minifilterConnected = true;
  status.updateCheckRunning = true;
  status.updateCheckError = "ошибка";
  status.minifilterHandled = 0x0102030405060708;
  status.liveUpdateRunning = true;
  status.updateCheckInstaller = "C:\\updates\\setup.exe";
  return status;
}

TEST(StatusReply, IsTwelveFieldsInOrder) {
  const std::string bytes = text("1.2.0") + u64(123'456) + text("2025.11.21") + u32(1) + u32(0) + u32(1) +
                            u32(0) + u32(1) + text("ошибка") + u64(0x0102030405060708) + u32(1) +
                            text("C:\\updates\\setup.exe");
  EXPECT_EQ(encodeStatus(sampleStatus()), bytes);
  EXPECT_EQ(decodeStatus(bytes), sampleStatus());
  expectExactLength(bytes, decodeStatus);
}

TEST(StatusReply, EachFlagHasItsOwnPlace) {
  bool EngineStatus::*const flags[] = {&EngineStatus::protectionEnabled,   &EngineStatus::realTimeActive,
                                       &EngineStatus::minifilterConnected, &EngineStatus::scanRunning,
                                       &EngineStatus::updateCheckRunning,  &EngineStatus::liveUpdateRunning};
  for (bool EngineStatus::*flag : flags) {
    EngineStatus status;
    status.*flag = true;
    EXPECT_EQ(decodeStatus(encodeStatus(status)), status);
  }
}

TEST(ResultsReply, IsACountAndTheThreatsWithReasonsAndLabels) {
  const std::string bytes = u32(1) + sampleThreatBytes();
  EXPECT_EQ(encodeResults({sampleThreat()}), bytes);
  EXPECT_EQ(decodeResults(bytes), std::vector<ThreatRecord>{sampleThreat()});
  expectExactLength(bytes, decodeResults);
}

TEST(ResultsReply, KeepsTheOrderOfDetectionAndMayBeEmpty) {
  const std::vector<ThreatRecord> results = {sampleThreat(), ThreatRecord{}, {sampleEvent(), {}, {}, {}}};
  EXPECT_EQ(decodeResults(encodeResults(results)), results);
  EXPECT_EQ(encodeResults({}), u32(0));
  EXPECT_EQ(decodeResults(u32(0)), std::vector<ThreatRecord>{});
}

TEST(ResultsReply, UnbackedCountsCostNoMemory) {
  const std::string threat = sampleEventBytes() + text("0123abcd");
  expectRefusedCheaply(u32(0xFFFFFFFF), decodeResults);
  expectRefusedCheaply(u32(0xFFFFFFFF) + std::string(16, '\0'), decodeResults);
  expectRefusedCheaply(u32(1) + threat + u32(0xFFFFFFFF), decodeResults);
  expectRefusedCheaply(u32(1) + threat + u32(0) + u32(0xFFFFFFFF), decodeResults);
}

QuarantineRecord sampleQuarantined() {
  QuarantineRecord record;
  record.id = 1'763'740'800'123;
  record.originalPath = L"C:\\Тест\\a.exe";
  record.storedPath = L"D:\\Карантин\\1_ab.q";
  record.threat = "Имя";
  record.code = "SIG.MATCH";
  record.severity = kSeverityCritical;
  record.size = 4096;
  record.time = 1'763'740'800;
  record.storedFileExists = true;
  return record;
}

TEST(QuarantineListReply, CarriesThreatNameThenRuleCode) {
  const std::string bytes = u32(1) + u64(1'763'740'800'123) + text("C:\\Тест\\a.exe") +
                            text("D:\\Карантин\\1_ab.q") + text("Имя") + text("SIG.MATCH") + u32(4) +
                            u64(4096) + u64(1'763'740'800) + u32(1);
  EXPECT_EQ(encodeQuarantineList({sampleQuarantined()}), bytes);
  EXPECT_EQ(decodeQuarantineList(bytes), std::vector<QuarantineRecord>{sampleQuarantined()});
  expectExactLength(bytes, decodeQuarantineList);
}

TEST(QuarantineListReply, NameAndDigestDoNotTravel) {
  QuarantineRecord record = sampleQuarantined();
  record.name = L"a.exe";
  record.sha256 = "ab";
  EXPECT_EQ(encodeQuarantineList({record}), encodeQuarantineList({sampleQuarantined()}));
}

TEST(QuarantineListReply, AnUnbackedCountCostsNoMemory) {
  expectRefusedCheaply(u32(0xFFFFFFFF) + std::string(16, '\0'), decodeQuarantineList);
}

TEST(NumberReply, IsOneU32) {
  EXPECT_EQ(encodeNumber(0x01020304), u32(0x01020304));
  EXPECT_EQ(decodeNumber(u32(0xFFFFFFFF)), 0xFFFFFFFFu);
  expectExactLength(u32(1), decodeNumber);
}

TEST(PingReply, IsTheLowHalfOfTheTickCount) {
  EXPECT_EQ(encodeTickCount(0xFFFFFFFF), u32(0xFFFFFFFF));
  EXPECT_EQ(encodeTickCount(0x1'0000'0000), u32(0));
  EXPECT_EQ(encodeTickCount(0xFEDCBA98'76543210), u32(0x76543210));
}

TEST(FirewallChangeReply, IsAFlagAndAText) {
  EXPECT_EQ(encodeFirewallChange({true, ""}), u32(1) + text(""));
  EXPECT_EQ(encodeFirewallChange({false, "отказ"}), u32(0) + text("отказ"));
  const std::string bytes = u32(0) + text("отказ");
  const auto reply = decodeFirewallChange(bytes);
  ASSERT_TRUE(reply);
  EXPECT_FALSE(reply->ok);
  EXPECT_EQ(reply->text, "отказ");
  for (size_t length = 0; length < bytes.size(); ++length)
    EXPECT_FALSE(decodeFirewallChange(bytes.substr(0, length)));
  EXPECT_TRUE(decodeFirewallChange(u32(7) + text("") + "x")->ok);
}

}  // namespace
}  // namespace korvel::ipc
