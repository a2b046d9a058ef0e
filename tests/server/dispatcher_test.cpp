// What each opcode does and answers.
#include <gtest/gtest.h>

#include <optional>

#include "fw/fake/fake_firewall.h"
#include "server/session_fixture.h"

namespace korvel::ipc {
namespace {

using test::text;
using test::u32;
using test::u64;
using Dispatcher = test::Session;
using Calls = std::vector<std::string>;

TEST_F(Dispatcher, GetStatusAnswersTheEnginesRecord) {
  engine_.status.serviceVersion = "1.2.0";
  engine_.status.signatureCount = 42;
  const auto reply = ask(Opcode::kGetStatus);
  EXPECT_EQ(reply.opcode, 1u);
  EXPECT_EQ(decodeStatus(reply.payload), engine_.status);
}

TEST_F(Dispatcher, PingAnswersTheLowHalfOfTheTickCount) {
  const auto before = static_cast<uint32_t>(::GetTickCount64());
  const auto reply = ask(Opcode::kPing);
  const auto after = static_cast<uint32_t>(::GetTickCount64());
  EXPECT_EQ(reply.opcode, 2u);
  ASSERT_EQ(reply.payload.size(), 4u);
  const uint32_t tick = decodeNumber(reply.payload).value();
  EXPECT_LE(tick - before, after - before);  // also right when the count wraps in between
}

TEST_F(Dispatcher, RequestsWithoutFieldsIgnoreTheirPayload) {
  for (const Opcode opcode :
       {Opcode::kGetStatus, Opcode::kPing, Opcode::kGetProgress, Opcode::kCancelScan, Opcode::kGetResults,
        Opcode::kListQuarantine, Opcode::kGetConfig, Opcode::kReloadSignatures, Opcode::kStartLiveUpdate,
        Opcode::kStartUpdateCheck}) {
    EXPECT_EQ(ask(opcode, "ignored").opcode, static_cast<uint32_t>(opcode));
  }
}

TEST_F(Dispatcher, StartScanHandsScopeAndTargetsToTheEngine) {
  EXPECT_EQ(ask(Opcode::kStartScan, u32(3) + u32(2) + text("C:\\Тест") + text("D:\\")),
            done(Opcode::kStartScan));
  EXPECT_EQ(engine_.calls, Calls{"startScan"});
  EXPECT_EQ(engine_.scanScope, ScanScope::kCustom);
  EXPECT_EQ(engine_.scanTargets, (std::vector<std::wstring>{L"C:\\Тест", L"D:\\"}));
}

TEST_F(Dispatcher, StartScanCarriesTheEnginesRefusal) {
  engine_.refusal = "a scan is already running";
  EXPECT_EQ(ask(Opcode::kStartScan, u32(0) + u32(0)), error("a scan is already running"));
  EXPECT_EQ(log_.lines(), std::vector<std::string>{"[WRN] request failed: a scan is already running"});
}

TEST_F(Dispatcher, MalformedRequestsAreRefusedWithTheirTextsAndReachNobody) {
  const std::pair<Opcode, const char*> cases[] = {
      {Opcode::kStartScan, "malformed StartScan payload"},
      {Opcode::kThreatDecision, "malformed ThreatDecision payload"},
      {Opcode::kDeleteQuarantined, "malformed quarantine id"},
      {Opcode::kRestoreQuarantined, "malformed quarantine id"},
      {Opcode::kSetConfig, "malformed SetConfig payload"},
      {Opcode::kFirewallSetProfile, "malformed firewall payload"},
      {Opcode::kFirewallBlockInbound, "malformed firewall payload"},
      {Opcode::kFirewallAddRule, "malformed firewall payload"},
      {Opcode::kFirewallRemoveRules, "malformed firewall payload"},
  };
  std::vector<std::string> logged;
  for (const auto& [opcode, message] : cases) {
    EXPECT_EQ(ask(opcode, "\xFF\xFF\xFF"), error(message));
    logged.push_back(std::string("[WRN] request failed: ") + message);
  }
  EXPECT_EQ(engine_.calls, Calls{});
  EXPECT_EQ(log_.lines(), logged);
}

TEST_F(Dispatcher, EmptyRequestsWithFieldsAreMalformedToo) {
  for (const Opcode opcode : {Opcode::kStartScan, Opcode::kThreatDecision, Opcode::kDeleteQuarantined,
                              Opcode::kRestoreQuarantined, Opcode::kSetConfig}) {
    EXPECT_EQ(ask(opcode).opcode, kErrorOpcode);
  }
  EXPECT_EQ(engine_.calls, Calls{});
}

TEST_F(Dispatcher, GetProgressAnswersProgressStateSummaryAndEvents) {
  engine_.progress = {1, 2, 3, 4, L"C:\\a.exe", L"scanning"};
  engine_.scanning = true;
  engine_.summary = {5, 6, 7, 8, 9, true};
  engine_.events.resize(2);
  engine_.events[1].name = "second";
  const std::vector<ThreatEvent> expected = engine_.events;
  const auto reply = ask(Opcode::kGetProgress);
  EXPECT_EQ(reply.opcode, 4u);
  const auto progress = decodeProgress(reply.payload);
  ASSERT_TRUE(progress);
  EXPECT_EQ(progress->progress, engine_.progress);
  EXPECT_TRUE(progress->scanning);
  EXPECT_EQ(progress->lastSummary, engine_.summary);
  EXPECT_EQ(progress->events, expected);
}

TEST_F(Dispatcher, AReplyThatTellsOfTheEndOfAScanAlsoTellsItsOutcome) {
  engine_.progress.phase = L"scanning";
  engine_.scanning = true;
  engine_.endsWhileAsked = true;
  EXPECT_TRUE(decodeProgress(ask(Opcode::kGetProgress).payload)->scanning);
  const auto after = decodeProgress(ask(Opcode::kGetProgress).payload);
  EXPECT_FALSE(after->scanning);
  EXPECT_EQ(after->progress.phase, L"cancelled");
}

TEST_F(Dispatcher, EachEventIsDeliveredOnce) {
  engine_.events.resize(1);
  EXPECT_EQ(decodeProgress(ask(Opcode::kGetProgress).payload)->events.size(), 1u);
  EXPECT_EQ(decodeProgress(ask(Opcode::kGetProgress).payload)->events.size(), 0u);
}

TEST_F(Dispatcher, EventsThatDoNotFitIntoOneFrameComeWithTheNextReplyInOrder) {
  for (int i = 0; i < 5; ++i) {
    ThreatEvent event;
    event.name = std::string(12'000'000, static_cast<char>('a' + i));
    engine_.events.push_back(event);
  }
  std::string order;
  for (const size_t expected : {2u, 2u, 1u, 0u}) {
    const auto reply = ask(Opcode::kGetProgress);
    EXPECT_EQ(reply.opcode, 4u);
    const auto progress = decodeProgress(reply.payload);
    ASSERT_TRUE(progress);
    EXPECT_EQ(progress->events.size(), expected);
    for (const auto& event : progress->events) order.push_back(event.name.front());
  }
  EXPECT_EQ(order, "abcde");
}

TEST_F(Dispatcher, CancelScanSucceedsWithOrWithoutAScan) {
  EXPECT_EQ(ask(Opcode::kCancelScan), done(Opcode::kCancelScan));
  EXPECT_EQ(engine_.calls, Calls{"cancelScan"});
}

TEST_F(Dispatcher, GetResultsAnswersTheThreatsInOrder) {
  engine_.results.resize(2);
  engine_.results[0].labels = {"первый"};
  engine_.results[1].path = L"C:\\b.exe";
  const auto reply = ask(Opcode::kGetResults);
  EXPECT_EQ(reply.opcode, 6u);
  EXPECT_EQ(decodeResults(reply.payload), engine_.results);
}

std::string decision(uint32_t action) {
  ThreatDecisionRequest request;
  request.action = action;
  request.threat.path = L"C:\\Тест\\a.exe";
  request.threat.name = "Имя";
  request.threat.code = "КОД";
  request.threat.severity = kSeverityMedium;
  request.threat.size = 77;
  request.threat.sha256 = "abcd";
  return encodeThreatDecision(request);
}

TEST_F(Dispatcher, ThreatDecisionOneQuarantines) {
  EXPECT_EQ(ask(Opcode::kThreatDecision, decision(1)), done(Opcode::kThreatDecision));
  EXPECT_EQ(engine_.calls, Calls{"quarantineThreat"});
  EXPECT_EQ(engine_.threat, decodeThreatDecision(decision(1))->threat);
}

TEST_F(Dispatcher, ThreatDecisionTwoDeletes) {
  EXPECT_EQ(ask(Opcode::kThreatDecision, decision(2)), done(Opcode::kThreatDecision));
  EXPECT_EQ(engine_.calls, Calls{"deleteThreat"});
  EXPECT_EQ(engine_.threat.path, L"C:\\Тест\\a.exe");
}

TEST_F(Dispatcher, AnyOtherThreatDecisionIsAcceptedAndDoesNothing) {
  for (const uint32_t action : {0u, 3u, 0xFFFFFFFFu}) {
    EXPECT_EQ(ask(Opcode::kThreatDecision, decision(action)), done(Opcode::kThreatDecision));
  }
  EXPECT_EQ(engine_.calls, Calls{});
}

TEST_F(Dispatcher, ThreatDecisionCarriesTheEnginesError) {
  engine_.refusal = "файл не найден";
  EXPECT_EQ(ask(Opcode::kThreatDecision, decision(1)), error("файл не найден"));
  EXPECT_EQ(ask(Opcode::kThreatDecision, decision(2)), error("файл не найден"));
}

TEST_F(Dispatcher, ListQuarantineAnswersTheEntries) {
  engine_.quarantine.resize(2);
  engine_.quarantine[1].id = 9;
  const auto reply = ask(Opcode::kListQuarantine);
  EXPECT_EQ(reply.opcode, 8u);
  EXPECT_EQ(decodeQuarantineList(reply.payload), engine_.quarantine);
}

TEST_F(Dispatcher, QuarantineEntriesAreDeletedAndRestoredByTheirId) {
  EXPECT_EQ(ask(Opcode::kDeleteQuarantined, u64(1'763'740'800'123)), done(Opcode::kDeleteQuarantined));
  EXPECT_EQ(engine_.quarantineId, 1'763'740'800'123u);
  EXPECT_EQ(ask(Opcode::kRestoreQuarantined, u64(5)), done(Opcode::kRestoreQuarantined));
  EXPECT_EQ(engine_.quarantineId, 5u);
  EXPECT_EQ(engine_.calls, (Calls{"deleteQuarantined", "restoreQuarantined"}));
  engine_.refusal = "нет такой записи";
  EXPECT_EQ(ask(Opcode::kDeleteQuarantined, u64(1)), error("нет такой записи"));
  EXPECT_EQ(ask(Opcode::kRestoreQuarantined, u64(1)), error("нет такой записи"));
}

TEST_F(Dispatcher, GetConfigAnswersTheSettingsAndSetConfigAppliesThem) {
  engine_.settings.scheduledHour = 17;
  engine_.settings.webShield = false;
  const auto reply = ask(Opcode::kGetConfig);
  EXPECT_EQ(reply.opcode, 11u);
  const SettingsFields before = engine_.settings;
  engine_.settings = SettingsFields();
  EXPECT_EQ(ask(Opcode::kSetConfig, reply.payload), done(Opcode::kSetConfig));
  EXPECT_EQ(engine_.settings, before);
}

TEST_F(Dispatcher, SetConfigTakesTheHourModuloTwentyFour) {
  SettingsFields settings;
  settings.scheduledHour = 30;
  EXPECT_EQ(ask(Opcode::kSetConfig, encodeSettings(settings)), done(Opcode::kSetConfig));
  EXPECT_EQ(engine_.settings.scheduledHour, 6u);
}

TEST_F(Dispatcher, SetConfigEmptiesTheUpdateServer) {
  engine_.settings.updateServer = "https://update.example";
  EXPECT_EQ(ask(Opcode::kSetConfig, encodeSettings(engine_.settings)), done(Opcode::kSetConfig));
  EXPECT_EQ(engine_.settings.updateServer, "");
}

TEST_F(Dispatcher, SetConfigWithALineFeedInAPathChangesNothing) {
  SettingsFields settings;
  settings.signatureDb = L"C:\\a\nUpdateServer=http://evil";
  EXPECT_EQ(ask(Opcode::kSetConfig, encodeSettings(settings)), error("malformed SetConfig payload"));
  EXPECT_TRUE(engine_.calls.empty());
}

TEST_F(Dispatcher, SetConfigCutAfterFieldFourteenChangesNothing) {
  const std::string record = encodeSettings(SettingsFields());
  EXPECT_EQ(ask(Opcode::kSetConfig, record.substr(0, record.size() - 4)),
            error("malformed SetConfig payload"));
  EXPECT_EQ(engine_.calls, Calls{});
}

TEST_F(Dispatcher, BackgroundJobsAnswerOneOrTheirRefusal) {
  EXPECT_EQ(ask(Opcode::kReloadSignatures), done(Opcode::kReloadSignatures));
  EXPECT_EQ(ask(Opcode::kStartLiveUpdate), (test::ReceivedFrame{14, u32(1)}));
  EXPECT_EQ(ask(Opcode::kStartUpdateCheck), (test::ReceivedFrame{15, u32(1)}));
  EXPECT_EQ(engine_.calls, (Calls{"reloadSignatures", "startLiveUpdate", "startUpdateCheck"}));
  engine_.refusal = "обновление уже выполняется";
  EXPECT_EQ(ask(Opcode::kReloadSignatures), error("обновление уже выполняется"));
  EXPECT_EQ(ask(Opcode::kStartLiveUpdate), error("обновление уже выполняется"));
  EXPECT_EQ(ask(Opcode::kStartUpdateCheck), error("обновление уже выполняется"));
}

class FirewallDispatcher : public Dispatcher {
 protected:
  void SetUp() override {
    if (!test::fwfake::isWine()) GTEST_SKIP() << "would replace the firewall classes of this machine";
    Dispatcher::SetUp();
    firewall_.emplace();
    test::fwfake::State state;
    state.profiles = {{1, -1}, {2, 0}, {4, -1}};
    firewall_->set(state);
  }
  /// The answer of a change: a failed one is an ordinary reply as well.
  static test::ReceivedFrame changed(uint32_t opcode) { return {opcode, u32(1) + text("")}; }
  static test::ReceivedFrame unchanged(uint32_t opcode, const char* why) {
    return {opcode, u32(0) + text(why)};
  }

  std::optional<test::fwfake::FakeFirewall> firewall_;
};

TEST_F(FirewallDispatcher, StatusIsTheListingItselfWithoutALength) {
  const std::string listing = "prof,domain,on\nprof,private,off\nprof,public,on\nblockin,off\n";
  EXPECT_EQ(ask(Opcode::kFirewallStatus), (test::ReceivedFrame{16, listing}));
  EXPECT_EQ(ask(Opcode::kFirewallStatus, "ignored"), (test::ReceivedFrame{16, listing}));
}

TEST_F(FirewallDispatcher, StatusErrorsAreLinesAndNoErrorFrame) {
  firewall_->fail({{"create.policy", 1, 0x800706D9}});
  EXPECT_EQ(ask(Opcode::kFirewallStatus),
            (test::ReceivedFrame{
                16, "error,брандмауэр недоступен: не удалось обратиться к API брандмауэра: код 0x800706D9"}));
  EXPECT_EQ(log_.lines(), std::vector<std::string>{});
}

TEST_F(FirewallDispatcher, ChangesReachTheFirewall) {
  EXPECT_EQ(ask(Opcode::kFirewallSetProfile, text("Private,1")), changed(17));
  EXPECT_EQ(ask(Opcode::kFirewallBlockInbound, text("1")), changed(18));
  EXPECT_EQ(ask(Opcode::kFirewallAddRule, text("allow|out|C:\\a.exe")), changed(19));
  EXPECT_EQ(ask(Opcode::kFirewallStatus),
            (test::ReceivedFrame{16,
                                 "prof,domain,on\nprof,private,on\nprof,public,on\n"
                                 "rule,on,allow,out,KORVEL: a.exe (out),C:\\a.exe\nblockin,on\n"}));
  EXPECT_EQ(ask(Opcode::kFirewallRemoveRules), changed(20));
  EXPECT_TRUE(firewall_->state().elements.empty());
  EXPECT_EQ(ask(Opcode::kFirewallRemoveRules, text("ignored")), changed(20));
}

TEST_F(FirewallDispatcher, FailedChangesAreOrdinaryRepliesAndNotLogged) {
  EXPECT_EQ(ask(Opcode::kFirewallSetProfile, text("x,1")),
            unchanged(17, "некорректный профиль брандмауэра в запросе"));
  EXPECT_EQ(ask(Opcode::kFirewallBlockInbound, text("2")),
            unchanged(18, "некорректное значение блокирования входящих"));
  EXPECT_EQ(ask(Opcode::kFirewallAddRule, text("deny|in|C:\\a.exe")),
            unchanged(19, "некорректное описание правила приложения"));
  firewall_->fail({{"policy.get_Rules", 1, 0x80070005}});
  EXPECT_EQ(
      ask(Opcode::kFirewallRemoveRules),
      unchanged(20, "не удалось получить набор правил: требуются права администратора (код 0x80070005)"));
  EXPECT_EQ(log_.lines(), std::vector<std::string>{});
}

TEST_F(FirewallDispatcher, NoPayloadStandsForAnEmptyArgument) {
  EXPECT_EQ(ask(Opcode::kFirewallSetProfile), unchanged(17, "некорректный профиль брандмауэра в запросе"));
  EXPECT_EQ(ask(Opcode::kFirewallBlockInbound, text("")),
            unchanged(18, "некорректное значение блокирования входящих"));
  EXPECT_EQ(ask(Opcode::kFirewallAddRule), unchanged(19, "некорректное описание правила приложения"));
}

TEST_F(Dispatcher, UnknownOpcodesAreNamedAndTheSessionGoesOn) {
  EXPECT_EQ(ask(0), error("unsupported opcode 0"));
  EXPECT_EQ(ask(22), error("unsupported opcode 22"));
  EXPECT_EQ(ask(0xFFFFFFFF), error("unsupported opcode 4294967295"));
  EXPECT_EQ(ask(Opcode::kPing).opcode, 2u);
  EXPECT_EQ(log_.lines(), (std::vector<std::string>{"[WRN] request failed: unsupported opcode 0",
                                                    "[WRN] request failed: unsupported opcode 22",
                                                    "[WRN] request failed: unsupported opcode 4294967295"}));
}

TEST_F(Dispatcher, ARefusalWithoutATextIsAnEmptyErrorFrameAndNotLogged) {
  engine_.refusal = "";
  for (const Opcode opcode : {Opcode::kReloadSignatures, Opcode::kStartLiveUpdate}) {
    EXPECT_EQ(ask(opcode), (test::ReceivedFrame{0xFFFFFFFF, ""}));
  }
  EXPECT_EQ(log_.lines(), std::vector<std::string>{});
}

TEST_F(Dispatcher, AnExceptionInsideARequestBecomesItsErrorText) {
  engine_.thrown = "filesystem error: cannot check";
  EXPECT_EQ(ask(Opcode::kRestoreQuarantined, u64(1)), error("filesystem error: cannot check"));
  engine_.thrown.reset();
  EXPECT_EQ(ask(Opcode::kPing).opcode, 2u);
}

}  // namespace
}  // namespace korvel::ipc
