// What `doctor` concludes from what it found. Pure and thread-safe; asking, reading and looking is done by
// its command.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "korvelctl/cli/text.h"
#include "korvelctl/model/access_rules.h"
#include "korvelctl/model/diagnosis.h"
#include "korvelctl/model/service_plan.h"
#include "records/engine_status.h"
#include "records/settings_fields.h"

namespace korvel::ctl {

/// A log of this size should be rotated.
inline constexpr uint64_t kLargeLogBytes = 100 * 1024 * 1024;
/// Clocks may differ by so much without anybody noticing.
inline constexpr uint64_t kClockSlackSeconds = 300;

/// Who may do what in one folder.
struct FolderLook {
  std::string path;  ///< UTF-8
  bool missing = false;
  uint32_t win32 = 0;  ///< why it could not be looked at; 0 = it was
  struct Problem {
    AccessFault fault = AccessFault::kMayChange;
    std::string account;  ///< its name
  };
  std::vector<Problem> problems;
};

struct DoctorFacts {
  uint64_t now = 0;  ///< Unix seconds

  uint32_t serviceError = 0;  ///< why the service manager could not be asked; 0 = it was
  ServiceFacts service;
  std::vector<ServiceFault> serviceFaults;

  std::optional<uint64_t> roundTripMs;  ///< empty: the service did not answer, for the reason below
  std::string pipeError;
  std::string pipeAdvice;
  std::optional<EngineStatus> status;
  std::optional<SettingsFields> settings;

  /// The configured address; nothing when settings.ini could not be read.
  std::optional<std::string> updateServer;
  struct ServerLook {
    uint32_t status = 0;  ///< of HTTP, 0 = no answer
    uint32_t win32 = 0;
    uint64_t dateUtc = 0;
    uint64_t elapsedMs = 0;
  };
  std::optional<ServerLook> server;  ///< empty when it was not asked

  std::string settingsPath;
  uint32_t settingsError = 0;  ///< why settings.ini could not be read; 0 = it was, or it is missing
  bool settingsMissing = false;
  uint64_t settingsErrors = 0;    ///< lines with which the service does not start
  uint64_t settingsWarnings = 0;  ///< lines that it reads in another way than they look

  bool quarantineKnown = false;  ///< the service has told its records
  uint64_t quarantined = 0;
  uint64_t storedMissing = 0;  ///< records whose file has gone
  enum class Index { kWhole, kMissing, kDamaged, kNotLookedAt } quarantineIndex = Index::kNotLookedAt;
  std::optional<uint64_t>
      orphans;  ///< stored files without a record; nothing when the folder is closed to the caller

  std::string logPath;
  std::optional<uint64_t> logBytes;  ///< empty when it could not be looked at
  bool logMissing = false;

  uint32_t hostsError = 0;
  bool hostsBlock = false;
  bool hostsUnclosed = false;
  uint64_t hostsEntries = 0;
  uint64_t hostsLines = 0;

  FolderLook program;
  FolderLook data;
  FolderLook quarantine;
};

/// One line for each thing that was looked at, always in the same order and with the same ids: service,
/// registration, pipe, protection, database, database_age, update_server, settings, quarantine, log, hosts,
/// program_rights, data_rights, quarantine_rights, clock.
std::vector<Diagnosis> diagnose(const DoctorFacts& facts, Language language);

}  // namespace korvel::ctl
