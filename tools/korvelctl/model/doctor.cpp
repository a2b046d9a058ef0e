#include "korvelctl/model/doctor.h"

#include <algorithm>

#include "base/utf.h"
#include "korvelctl/cli/words/doctor_words.h"
#include "korvelctl/model/health.h"
#include "korvelctl/model/shield_block.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/service.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

constexpr Plural kSignatures{{"signature", "signatures"}, {"сигнатура", "сигнатуры", "сигнатур"}};
constexpr Plural kRecords{{"record", "records"}, {"запись", "записи", "записей"}};
constexpr Plural kEntries{{"entry", "entries"}, {"строка", "строки", "строк"}};
constexpr Plural kLines{{"line", "lines"}, {"строка", "строки", "строк"}};
constexpr uint32_t kNeverStarted = 1077;
constexpr uint32_t kHttpMethodRefused = 405;  // the server answers, but only to a download

/// Forms the lines. Each function makes one, from the worst case to the best.
class Doctor {
 public:
  Doctor(const DoctorFacts& facts, Language language) : facts_(facts), language_(language) {}

  std::vector<Diagnosis> all() const {
    return {named("service", service()),
            named("registration", registration()),
            named("pipe", pipe()),
            named("protection", protection()),
            named("database", database()),
            named("database_age", databaseAge()),
            named("update_server", updateServer()),
            named("settings", settings()),
            named("quarantine", quarantine()),
            named("log", log()),
            named("hosts", hosts()),
            named("program_rights", rights(facts_.program, ProtectedFolder::kProgram)),
            named("data_rights", rights(facts_.data, ProtectedFolder::kData)),
            named("quarantine_rights", rights(facts_.quarantine, ProtectedFolder::kQuarantine)),
            named("clock", clock())};
  }

 private:
  using Values = std::initializer_list<std::string_view>;

  static Diagnosis named(const char* id, Diagnosis line) {
    line.id = id;
    return line;
  }
  std::string say(const Text& text, Values values = {}) const { return filled(text, language_, values); }
  Diagnosis ok(std::string message) const { return {{}, DiagnosisState::kOk, std::move(message), {}}; }
  Diagnosis warning(std::string message, const Text& step) const {
    return {{}, DiagnosisState::kWarning, std::move(message), say(step)};
  }
  Diagnosis failure(std::string message, const Text& step) const {
    return {{}, DiagnosisState::kFailure, std::move(message), say(step)};
  }
  Diagnosis notLookedAt(std::string message, std::string step = {}) const {
    return {{}, DiagnosisState::kNotLookedAt, std::move(message), std::move(step)};
  }
  Diagnosis withoutService() const {
    return notLookedAt(say(words::kServiceDoesNotAnswer), say(words::kAfterService));
  }

  Diagnosis service() const {
    if (facts_.serviceError != 0)
      return notLookedAt(say(words::kCannotAsk, {std::to_string(facts_.serviceError)}),
                         say(words::kRunElevated));
    const ServiceFacts& service = facts_.service;
    switch (service.state) {
      case ScmState::kNotInstalled:
        if (facts_.roundTripMs) return warning(say(words::kServiceByHand), words::kRunInstall);
        return failure(say(words::kServiceNotInstalled), words::kRunInstall);
      case ScmState::kStopped:
        if (service.exitCode == 0 || service.exitCode == kNeverStarted)
          return failure(say(words::kDoctorServiceStopped), words::kRunStart);
        return failure(say(words::kServiceFailed, {std::to_string(service.exitCode)}), words::kServiceSeeLog);
      case ScmState::kRunning:
        return ok(say(words::kServiceRuns, {std::to_string(service.processId)}));
      case ScmState::kStartPending:
        return warning(say(words::kDoctorServiceStarting), words::kWaitAndLook);
      case ScmState::kStopPending:
        return warning(say(words::kDoctorServiceStopping), words::kWaitAndLook);
      default:
        return warning(
            say(words::kServiceUnknownState, {std::to_string(static_cast<uint32_t>(service.state))}),
            words::kWaitAndLook);
    }
  }

  std::string faultText(ServiceFault fault) const {
    switch (fault) {
      case ServiceFault::kOtherProgram:
        return say(words::kFaultProgram, {printable(programOf(facts_.service.commandLine))});
      case ServiceFault::kNotQuoted:
        return say(words::kFaultQuotes);
      case ServiceFault::kNotAutomatic:
        return say(words::kFaultStart);
      case ServiceFault::kOtherAccount:
        return say(words::kFaultAccount, {printable(facts_.service.account)});
      case ServiceFault::kNoRecovery:
        break;
    }
    return say(words::kFaultRecovery);
  }

  Diagnosis registration() const {
    if (facts_.serviceError != 0)
      return notLookedAt(say(words::kCannotAsk, {std::to_string(facts_.serviceError)}));
    if (facts_.service.state == ScmState::kNotInstalled) return notLookedAt(say(words::kNothingRegistered));
    const auto& faults = facts_.serviceFaults;
    if (faults.empty())
      return ok(say(facts_.service.recovery ? words::kRegistrationGood : words::kRegistrationGoodPartly));
    std::string text;
    for (const ServiceFault fault : faults) text += (text.empty() ? "" : "; ") + faultText(fault);
    const bool open = std::find(faults.begin(), faults.end(), ServiceFault::kNotQuoted) != faults.end();
    return open ? failure(text, words::kRunInstall) : warning(text, words::kRunInstall);
  }

  Diagnosis pipe() const {
    if (!facts_.roundTripMs || !facts_.status)
      return {{}, DiagnosisState::kFailure, printable(facts_.pipeError), printable(facts_.pipeAdvice)};
    return ok(say(words::kPipeAnswers,
                  {printable(facts_.status->serviceVersion), std::to_string(*facts_.roundTripMs)}));
  }

  Diagnosis protection() const {
    if (!facts_.status) return withoutService();
    if (!facts_.status->protectionEnabled)
      return failure(say(words::kDoctorProtectionOff), words::kProtectionOffStep);
    if (!facts_.status->realTimeActive) return warning(say(words::kRealTimeOff), words::kRealTimeOffStep);
    return ok(
        say(facts_.status->minifilterConnected ? words::kProtectionOnDriver : words::kDoctorProtectionOn));
  }

  Diagnosis database() const {
    if (!facts_.status) return withoutService();
    if (facts_.status->signatureCount == 0)
      return failure(say(words::kDatabaseEmpty), words::kDatabaseEmptyStep);
    return ok(say(words::kDatabaseLoaded, {countText(facts_.status->signatureCount, kSignatures, language_),
                                           printable(facts_.status->signatureVersion)}));
  }

  Diagnosis databaseAge() const {
    if (!facts_.settings) return withoutService();
    const uint64_t last = facts_.settings->lastLiveUpdateUtc;
    const uint64_t age = last < facts_.now ? facts_.now - last : 0;
    if (!facts_.settings->liveUpdates) return warning(say(words::kUpdatesOff), words::kUpdatesOffStep);
    if (last == 0) return warning(say(words::kDoctorNeverUpdated), words::kUpdateStep);
    if (age > kOldDatabaseSeconds)
      return warning(say(words::kUpdatedTooLongAgo, {ageText(age, language_)}), words::kUpdateStep);
    return ok(say(words::kDoctorUpdatedAgo, {ageText(age, language_)}));
  }

  Diagnosis updateServer() const {
    if (!facts_.updateServer) return notLookedAt(say(words::kDoctorServerUnknown), say(words::kRunElevated));
    if (facts_.updateServer->empty()) return notLookedAt(say(words::kServerPublic));
    const std::string address = printable(*facts_.updateServer);
    if (!facts_.server) return notLookedAt(say(words::kServerNotAsked, {address}));
    const DoctorFacts::ServerLook& answer = *facts_.server;
    if (answer.status == 0) {
      return failure(say(words::kServerUnreachable, {address, std::to_string(answer.win32)}),
                     words::kServerUnreachableStep);
    }
    const bool answers = (answer.status >= 200 && answer.status < 300) || answer.status == kHttpMethodRefused;
    if (!answers) {
      return failure(say(words::kServerStatus, {address, std::to_string(answer.status)}),
                     words::kServerStatusStep);
    }
    return ok(say(words::kServerAnswers, {address, std::to_string(answer.elapsedMs)}));
  }

  Diagnosis settings() const {
    if (facts_.settingsMissing) return notLookedAt(say(words::kDoctorSettingsMissing));
    if (facts_.settingsError != 0) {
      return notLookedAt(say(words::kDoctorSettingsUnreadable, {std::to_string(facts_.settingsError)}),
                         say(words::kRunElevated));
    }
    if (facts_.settingsErrors > 0)
      return failure(say(words::kSettingsBad, {std::to_string(facts_.settingsErrors)}),
                     words::kSettingsFixStep);
    if (facts_.settingsWarnings > 0)
      return warning(say(words::kSettingsOdd, {std::to_string(facts_.settingsWarnings)}),
                     words::kSettingsFixStep);
    return ok(say(words::kSettingsGood));
  }

  Diagnosis quarantine() const {
    const std::string orphans = facts_.orphans ? std::to_string(*facts_.orphans) : "?";
    if (facts_.quarantineIndex == DoctorFacts::Index::kDamaged)
      return failure(say(words::kQuarantineDamaged, {orphans}), words::kQuarantineStep);
    if (!facts_.quarantineKnown) return withoutService();
    const std::string records = countText(facts_.quarantined, kRecords, language_);
    if (facts_.orphans && *facts_.orphans > 0)
      return warning(say(words::kQuarantineOrphans, {records, orphans}), words::kQuarantineStep);
    if (facts_.storedMissing > 0) {
      return warning(say(words::kQuarantineMissing, {records, std::to_string(facts_.storedMissing)}),
                     words::kQuarantineMissingStep);
    }
    if (!facts_.orphans)
      return notLookedAt(say(words::kQuarantineUnseen, {records}), say(words::kRunElevated));
    return ok(say(words::kQuarantineGood, {records}));
  }

  Diagnosis log() const {
    if (facts_.logMissing) return notLookedAt(say(words::kLogMissing));
    if (!facts_.logBytes) return notLookedAt(say(words::kCannotAsk, {"5"}), say(words::kRunElevated));
    const std::string size = bytesText(*facts_.logBytes, language_);
    if (*facts_.logBytes > kLargeLogBytes) return warning(say(words::kLogLarge, {size}), words::kLogStep);
    return ok(say(words::kLogSize, {size}));
  }

  Diagnosis hosts() const {
    if (facts_.hostsError != 0)
      return notLookedAt(say(words::kCannotAsk, {std::to_string(facts_.hostsError)}),
                         say(words::kRunElevated));
    if (facts_.hostsUnclosed) return failure(say(words::kHostsUnclosed), words::kHostsUnclosedStep);
    if (facts_.settings && facts_.settings->webShield && !facts_.hostsBlock)
      return warning(say(words::kHostsNoBlock), words::kHostsNoBlockStep);
    if (facts_.settings && !facts_.settings->webShield && facts_.hostsBlock && facts_.hostsEntries > 0)
      return warning(say(words::kHostsLeftOver), words::kHostsLeftOverStep);
    if (facts_.hostsLines > kManyHostsLines) {
      return warning(say(words::kHostsLong, {countText(facts_.hostsLines, kLines, language_)}),
                     words::kHostsLongStep);
    }
    if (!facts_.hostsBlock) return ok(say(facts_.settings ? words::kHostsNone : words::kHostsNoneHere));
    return ok(say(words::kHostsGood, {countText(facts_.hostsEntries, kEntries, language_)}));
  }

  Diagnosis rights(const FolderLook& look, ProtectedFolder kind) const {
    const std::string path = printable(look.path);
    if (look.missing) return notLookedAt(say(words::kRightsNoFolder, {path}));
    if (look.win32 != 0) {
      return notLookedAt(say(words::kRightsNotLookedAt, {path, std::to_string(look.win32)}),
                         say(words::kRunElevated));
    }
    // The worst first: who may write matters more than who owns.
    for (const auto& [fault, text] : {std::pair{AccessFault::kMayChange, &words::kRightsMayChange},
                                      std::pair{AccessFault::kMayLook, &words::kRightsMayLook}}) {
      std::string accounts;
      for (const FolderLook::Problem& problem : look.problems) {
        if (problem.fault == AccessFault::kNoList)
          return failure(say(words::kRightsNoList, {path}), words::kRunInstall);
        if (problem.fault == fault) accounts += (accounts.empty() ? "" : ", ") + printable(problem.account);
      }
      if (!accounts.empty()) return failure(say(*text, {path, accounts}), words::kRunInstall);
    }
    for (const FolderLook::Problem& problem : look.problems) {
      return warning(say(words::kRightsOwner, {path, printable(problem.account)}), words::kRunInstall);
    }
    return ok(say(kind == ProtectedFolder::kQuarantine ? words::kRightsClosed : words::kRightsGood, {path}));
  }

  Diagnosis clock() const {
    if (facts_.settings && std::max(facts_.settings->lastLiveUpdateUtc, facts_.settings->lastScanUtc) >
                               facts_.now + kClockSlackSeconds) {
      return warning(say(words::kClockFuture), words::kClockStep);
    }
    if (!facts_.server || facts_.server->dateUtc == 0) return notLookedAt(say(words::kClockUnknown));
    const uint64_t theirs = facts_.server->dateUtc;
    const uint64_t apart = theirs > facts_.now ? theirs - facts_.now : facts_.now - theirs;
    if (apart > kClockSlackSeconds)
      return warning(say(words::kClockDiffers, {ageText(apart, language_)}), words::kClockStep);
    return ok(say(words::kClockGood));
  }

  const DoctorFacts& facts_;
  const Language language_;
};

}  // namespace

std::vector<Diagnosis> diagnose(const DoctorFacts& facts, Language language) {
  return Doctor(facts, language).all();
}

}  // namespace korvel::ctl
