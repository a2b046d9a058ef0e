#include "korvelctl/model/doctor.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "korvelctl/render/diagnosis.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kNow = 1'795'320'660;

DoctorFacts healthy() {
  DoctorFacts facts;
  facts.now = kNow;
  facts.service.state = ScmState::kRunning;
  facts.service.processId = 1234;
  facts.service.recovery = Recovery{};
  facts.roundTripMs = 3;
  facts.status.emplace();
  facts.status->serviceVersion = "1.2.0";
  facts.status->signatureCount = 214'906;
  facts.status->signatureVersion = "live-20261120";
  facts.status->protectionEnabled = true;
  facts.status->realTimeActive = true;
  facts.settings.emplace();
  facts.settings->lastLiveUpdateUtc = kNow - 9 * 3'600;
  facts.updateServer = "https://updates.example.org";
  facts.server = DoctorFacts::ServerLook{.status = 200, .win32 = 0, .dateUtc = kNow, .elapsedMs = 40};
  facts.quarantineKnown = true;
  facts.quarantineIndex = DoctorFacts::Index::kWhole;
  facts.orphans = 0;
  facts.logBytes = 5'000;
  facts.hostsBlock = true;
  facts.hostsEntries = 12;
  facts.hostsLines = 30;
  facts.program.path = "C:\\Program Files\\Korvel";
  facts.data.path = "C:\\ProgramData\\KORVEL Antivirus";
  facts.quarantine.path = "C:\\ProgramData\\KORVEL Antivirus\\Quarantine";
  return facts;
}

Diagnosis lineOf(const DoctorFacts& facts, const std::string& id, Language language = Language::kEnglish) {
  for (const Diagnosis& line : diagnose(facts, language)) {
    if (line.id == id) return line;
  }
  ADD_FAILURE() << "there is no line " << id;
  return {};
}

void expectLine(const DoctorFacts& facts, const std::string& id, DiagnosisState state,
                const std::string& part) {
  const Diagnosis line = lineOf(facts, id);
  EXPECT_STREQ(diagnosisStateName(line.state), diagnosisStateName(state)) << id << ": " << line.message;
  EXPECT_NE(line.message.find(part), std::string::npos) << line.message;
  const bool wrong = state == DiagnosisState::kWarning || state == DiagnosisState::kFailure;
  if (wrong) {
    EXPECT_NE(line.nextStep, "") << id << " says what is wrong and not what to do";
  }
}

TEST(Doctor, AHealthyInstallationIsOkInEveryLine) {
  for (const Language language : {Language::kEnglish, Language::kRussian}) {
    for (const Diagnosis& line : diagnose(healthy(), language)) {
      EXPECT_EQ(line.state, DiagnosisState::kOk) << line.id << ": " << line.message;
      EXPECT_EQ(line.nextStep, "") << line.id;
      EXPECT_NE(line.message, "") << line.id;
    }
  }
  EXPECT_FALSE(hasFindings(diagnose(healthy(), Language::kEnglish)));
}

TEST(Doctor, LooksAtTheSameThingsWhateverItFinds) {
  std::string ids;
  for (const Diagnosis& line : diagnose(DoctorFacts(), Language::kEnglish)) ids += line.id + " ";
  EXPECT_EQ(ids,
            "service registration pipe protection database database_age update_server settings quarantine "
            "log hosts "
            "program_rights data_rights quarantine_rights clock ");
}

TEST(Doctor, TheStatesOfTheServiceHaveTheirNextStep) {
  DoctorFacts facts = healthy();
  facts.service = {};
  expectLine(facts, "service", DiagnosisState::kWarning, "answers on the pipe");
  facts.roundTripMs.reset();
  expectLine(facts, "service", DiagnosisState::kFailure, "not installed");
  expectLine(facts, "registration", DiagnosisState::kNotLookedAt, "nothing");
  facts.service.state = ScmState::kStopped;
  expectLine(facts, "service", DiagnosisState::kFailure, "stopped");
  facts.service.exitCode = 1066;
  expectLine(facts, "service", DiagnosisState::kFailure, "1066");
  EXPECT_NE(lineOf(facts, "service").nextStep.find("config lint"), std::string::npos);
  facts.service.state = ScmState::kStartPending;
  expectLine(facts, "service", DiagnosisState::kWarning, "starting");
  facts.serviceError = 5;
  expectLine(facts, "service", DiagnosisState::kNotLookedAt, "5");
  expectLine(facts, "registration", DiagnosisState::kNotLookedAt, "5");
}

TEST(Doctor, AnUnquotedPathIsAFailureAndOtherFaultsAreWarnings) {
  DoctorFacts facts = healthy();
  facts.serviceFaults = {ServiceFault::kNoRecovery};
  expectLine(facts, "registration", DiagnosisState::kWarning, "not restarted");
  facts.serviceFaults.push_back(ServiceFault::kNotQuoted);
  expectLine(facts, "registration", DiagnosisState::kFailure, "quotation marks");
}

TEST(Doctor, WithoutAnAnswerNothingThatOnlyTheServiceKnowsIsCalledOk) {
  DoctorFacts facts = healthy();
  facts.roundTripMs.reset();
  facts.status.reset();
  facts.settings.reset();
  facts.quarantineKnown = false;
  facts.pipeError = "no";
  facts.pipeAdvice = "do";
  expectLine(facts, "pipe", DiagnosisState::kFailure, "no");
  for (const char* id : {"protection", "database", "database_age", "quarantine"})
    expectLine(facts, id, DiagnosisState::kNotLookedAt, "does not answer");
}

TEST(Doctor, ProtectionThatIsOffOrEmptyIsSaid) {
  DoctorFacts facts = healthy();
  facts.status->realTimeActive = false;
  expectLine(facts, "protection", DiagnosisState::kWarning, "real-time");
  facts.status->protectionEnabled = false;
  expectLine(facts, "protection", DiagnosisState::kFailure, "off");
  facts.status->signatureCount = 0;
  expectLine(facts, "database", DiagnosisState::kFailure, "no signatures");
}

TEST(Doctor, SignaturesAreTooOldAfterThreeDays) {
  DoctorFacts facts = healthy();
  facts.settings->lastLiveUpdateUtc = kNow - 3 * 86'400;
  expectLine(facts, "database_age", DiagnosisState::kOk, "3\u00A0days");
  facts.settings->lastLiveUpdateUtc -= 1;
  expectLine(facts, "database_age", DiagnosisState::kWarning, "every day");
  facts.settings->lastLiveUpdateUtc = 0;
  expectLine(facts, "database_age", DiagnosisState::kWarning, "never");
  facts.settings->liveUpdates = false;
  expectLine(facts, "database_age", DiagnosisState::kWarning, "off");
}

TEST(Doctor, TheUpdateServerIsJudgedByItsAnswer) {
  DoctorFacts facts = healthy();
  facts.server->status = 404;
  expectLine(facts, "update_server", DiagnosisState::kFailure, "404");
  facts.server->status = 405;
  expectLine(facts, "update_server", DiagnosisState::kOk, "answers");
  facts.server->status = 0;
  facts.server->win32 = 12029;
  expectLine(facts, "update_server", DiagnosisState::kFailure, "12029");
  facts.server.reset();
  expectLine(facts, "update_server", DiagnosisState::kNotLookedAt, "not asked");
  facts.updateServer = "";
  expectLine(facts, "update_server", DiagnosisState::kNotLookedAt, "public lists");
  facts.updateServer.reset();
  expectLine(facts, "update_server", DiagnosisState::kNotLookedAt, "could not be read");
}

TEST(Doctor, SettingsThatStopTheServiceAreAFailure) {
  DoctorFacts facts = healthy();
  facts.settingsWarnings = 2;
  expectLine(facts, "settings", DiagnosisState::kWarning, "2");
  facts.settingsErrors = 1;
  expectLine(facts, "settings", DiagnosisState::kFailure, "from starting");
  facts.settingsError = 5;
  expectLine(facts, "settings", DiagnosisState::kNotLookedAt, "5");
}

TEST(Doctor, TheQuarantineIsJudgedByItsFiles) {
  DoctorFacts facts = healthy();
  facts.quarantined = 2;
  facts.storedMissing = 1;
  expectLine(facts, "quarantine", DiagnosisState::kWarning, "missing: 1");
  facts.orphans = 3;
  expectLine(facts, "quarantine", DiagnosisState::kWarning, "without a record: 3");
  facts.quarantineIndex = DoctorFacts::Index::kDamaged;
  expectLine(facts, "quarantine", DiagnosisState::kFailure, "damaged");
  facts = healthy();
  facts.orphans.reset();
  expectLine(facts, "quarantine", DiagnosisState::kNotLookedAt, "not looked at");
}

TEST(Doctor, ALogIsLargeFrom100MiBOn) {
  DoctorFacts facts = healthy();
  facts.logBytes = kLargeLogBytes;
  expectLine(facts, "log", DiagnosisState::kOk, "100");
  facts.logBytes = kLargeLogBytes + 1;
  expectLine(facts, "log", DiagnosisState::kWarning, "grows");
  facts.logBytes.reset();
  expectLine(facts, "log", DiagnosisState::kNotLookedAt, "5");
}

TEST(Doctor, TheHostsBlockMustFitTheSetting) {
  DoctorFacts facts = healthy();
  facts.hostsLines = 10'001;
  expectLine(facts, "hosts", DiagnosisState::kWarning, "slow");
  facts.hostsLines = 10'000;
  expectLine(facts, "hosts", DiagnosisState::kOk, "12\u00A0entries");
  facts.settings->webShield = false;
  expectLine(facts, "hosts", DiagnosisState::kWarning, "still there");
  facts.hostsBlock = false;
  expectLine(facts, "hosts", DiagnosisState::kOk, "off");
  facts.settings->webShield = true;
  expectLine(facts, "hosts", DiagnosisState::kWarning, "not there");
  facts.hostsUnclosed = true;
  expectLine(facts, "hosts", DiagnosisState::kFailure, "no end");
}

TEST(Doctor, RightsNameWhoHasTooMany) {
  DoctorFacts facts = healthy();
  facts.data.problems = {{AccessFault::kOwnerMayChange, "PC\\ann"}};
  expectLine(facts, "data_rights", DiagnosisState::kWarning, "PC\\ann");
  facts.data.problems.push_back({AccessFault::kMayChange, "BUILTIN\\Users"});
  facts.data.problems.push_back({AccessFault::kMayChange, "Everyone"});
  expectLine(facts, "data_rights", DiagnosisState::kFailure, "BUILTIN\\Users, Everyone");
  facts.program.problems = {{AccessFault::kNoList, ""}};
  expectLine(facts, "program_rights", DiagnosisState::kFailure, "everyone");
  facts.quarantine.problems = {{AccessFault::kMayLook, "BUILTIN\\Users"}};
  expectLine(facts, "quarantine_rights", DiagnosisState::kFailure, "read by: BUILTIN\\Users");
  facts.quarantine = {.path = "Q", .missing = false, .win32 = 5, .problems = {}};
  expectLine(facts, "quarantine_rights", DiagnosisState::kNotLookedAt, "closed to you");
}

TEST(Doctor, ClocksMayDifferByFiveMinutes) {
  DoctorFacts facts = healthy();
  facts.server->dateUtc = kNow + 300;
  expectLine(facts, "clock", DiagnosisState::kOk, "agrees");
  facts.server->dateUtc = kNow - 301;
  expectLine(facts, "clock", DiagnosisState::kWarning, "5\u00A0min");
  facts.server.reset();
  expectLine(facts, "clock", DiagnosisState::kNotLookedAt, "nothing to compare");
  facts.settings->lastScanUtc = kNow + 301;
  expectLine(facts, "clock", DiagnosisState::kWarning, "future");
}

const std::vector<Diagnosis> kLines = {
    {"service", DiagnosisState::kOk, "runs, process 1234", ""},
    {"hosts", DiagnosisState::kFailure, "the block has no end: the next update removes every line",
     "write the end"},
    {"log", DiagnosisState::kNotLookedAt, "is not there yet", ""}};

std::string page(Language language, size_t columns) {
  Look look;
  look.language = language;
  look.columns = columns;
  return renderDiagnosis(
      kLines, [language](const std::string& id) { return doctorTitle(id, language); }, look);
}

TEST(DoctorPage, ValuesBeginInOneColumnAndWrapBelowThemselves) {
  EXPECT_EQ(page(Language::kEnglish, 60),
            "ok             service     runs, process 1234\n"
            "FAILURE        hosts file  the block has no end: the next\n"
            "                           update removes every line\n"
            "                           -> write the end\n"
            "not looked at  log         is not there yet\n");
  EXPECT_EQ(page(Language::kRussian, 0),
            "норма         служба      runs, process 1234\n"
            "ОШИБКА        файл hosts  the block has no end: the next update removes every line\n"
            "                          -> write the end\n"
            "не осмотрено  журнал      is not there yet\n");
}

TEST(DoctorPage, EndsWithASummary) {
  EXPECT_EQ(doctorSummary(kLines, Language::kEnglish),
            "3 checks: 1 ok, warnings: 0, failures: 1, not looked at: 1\n");
  EXPECT_EQ(doctorSummary({kLines[0]}, Language::kRussian), "Проверено: 1, всё в порядке\n");
}

TEST(DoctorPage, ColoursTakeNoRoom) {
  Look look;
  look.columns = 60;
  look.colors = true;
  const auto title = [](const std::string& id) { return doctorTitle(id, Language::kEnglish); };
  std::string text = renderDiagnosis(kLines, title, look);
  ASSERT_NE(text.find('\x1B'), std::string::npos);
  for (size_t at; (at = text.find('\x1B')) != std::string::npos;) text.erase(at, text.find('m', at) + 1 - at);
  EXPECT_EQ(text, page(Language::kEnglish, 60));
}

TEST(DoctorPage, DocumentsHaveTheWordsOfScripts) {
  EXPECT_EQ(diagnosisJson({kLines[2]}).dump(),
            R"([{"id":"log","state":"not_looked_at","message":"is not there yet","next_step":""}])");
  Look look;
  look.mode = OutputMode::kCsv;
  const std::string csv = renderDiagnosis(
      {kLines[2]}, [](const std::string&) { return std::string("Log"); }, look);
  EXPECT_EQ(csv, "state,id,message,next_step\r\nnot_looked_at,log,is not there yet,\r\n");
}

}  // namespace
}  // namespace korvel::ctl
