// A script of korvelmock: what the service that it plays is like, and which answers differ from those that
// such a service would give. docs/korvelmock.schema.json describes the JSON. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/engine_status.h"
#include "records/quarantine_record.h"
#include "records/scan_progress.h"
#include "records/settings_fields.h"
#include "records/threat_record.h"

namespace korvel::mock {

/// How every scan goes.
struct ScanSetup {
  enum class End {
    kCompleted,
    kStopped,  ///< somebody else cancels it half-way
    kFailed,
    kNothing,  ///< there are no files
  };

  uint32_t replies = 3;  ///< this many replies of GetStatus and GetProgress show it running
  uint64_t files = 10;
  uint64_t bytes = 1'048'576;
  uint64_t elapsedMs = 1'000;
  uint64_t suspicious = 0;
  End end = End::kCompleted;
  /// "{target}" in a path is the first target of the scan, without a backslash at its end.
  std::vector<ThreatRecord> threats;
};

/// A job of the service: an update or a check.
struct JobSetup {
  uint32_t replies = 2;  ///< this many replies of GetStatus show it running
  bool running = false;  ///< one runs at the start
  bool succeeds = true;
};

struct MachineSetup {
  EngineStatus status;  ///< what does not follow from the rest of the machine
  SettingsFields settings;
  std::vector<QuarantineRecord> quarantine;
  std::vector<ThreatEvent> events;  ///< wait for the first GetProgress
  std::string firewall;             ///< the listing of FirewallStatus
  uint32_t lastOperation = 21;      ///< what is above is an unsupported opcode
  uint32_t tickCount = 123'456'789;
  uint64_t time = 1'795'219'200;  ///< its clock, which stands still; Unix seconds
  bool scanRunning = false;       ///< a scan runs at the start
  ScanSetup scan;
  JobSetup liveUpdate;
  JobSetup updateCheck;
};

/// A rule for the answers to some requests.
struct AnswerRule {
  std::vector<uint32_t> to;  ///< opcodes; empty: every request
  uint64_t skip = 0;         ///< the first so many requests pass it by
  uint64_t times = UINT64_MAX;

  /// The payload of the reply by the request's opcode; empty: the machine answers.
  std::map<uint32_t, std::string> replies;
  std::optional<std::string> refusal;  ///< the payload of a refusal
  std::optional<std::string> payload;  ///< of any reply
  std::optional<std::string> bytes;    ///< instead of a frame
  bool silent = false;                 ///< no answer at all

  std::string append;  ///< behind the payload
  std::optional<uint32_t> opcode;
  std::optional<uint32_t> version;
  std::optional<uint32_t> length;
  std::optional<uint64_t> cut;  ///< only so many bytes of the frame, then the connection ends
  bool hangUp = false;          ///< the connection ends behind the answer

  uint32_t delayMs = 0;
  uint32_t pieceBytes = 0;  ///< written in pieces of this size; 0: at once
  uint32_t pieceMs = 0;     ///< between two pieces
};

struct Script {
  std::string about;
  uint32_t absentMs = 0;  ///< the pipe does not exist for so long
  uint32_t busyMs = 0;    ///< then another client holds it
  MachineSetup machine;
  std::vector<AnswerRule> answers;
};

/// Throws std::invalid_argument with a text that names the place of what is wrong.
Script scriptOf(const nlohmann::ordered_json& json);
/// The same for the text of a file.
Script parseScript(std::string_view text);

}  // namespace korvel::mock
