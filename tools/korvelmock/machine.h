// The service that korvelmock plays: it answers every request as the real one would on the machine of a
// script, and remembers what its clients did. Nothing happens outside its own memory. Pure; not thread-safe.
//
// A scan goes on with each reply of GetStatus and GetProgress, an update with each reply of GetStatus, so
// that the same requests always have the same answers. Only the files that it has reported exist for it.
// Firewall changes succeed and change nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "korvelmock/script.h"
#include "protocol/frame.h"
#include "protocol/messages.h"

namespace korvel::mock {

class Machine {
 public:
  explicit Machine(const MachineSetup& setup);

  /// The reply to a request, or its refusal.
  ipc::Frame answer(const ipc::Frame& request);

 private:
  struct Answer;

  Answer perform(ipc::Opcode opcode, const std::string& payload);
  std::string status();
  std::string progress();
  Answer startScan(const std::string& payload);
  Answer decide(const std::string& payload);
  Answer takeEntry(const std::string& payload, bool restore);
  Answer setConfig(const std::string& payload);

  void beginScan(const std::vector<std::wstring>& targets);
  void advanceScan();
  void endScan(bool byClient);
  void showScan();
  std::vector<ThreatRecord> foundSoFar() const;
  bool fileExists(const std::wstring& path) const;

  MachineSetup setup_;
  ScanReport report_;
  std::wstring target_;
  std::vector<ThreatRecord> threats_;  ///< of the last scan, with its target in their paths
  uint32_t scanReplies_ = 0;           ///< so many replies have shown it running
  std::set<std::wstring> reported_;    ///< files that events named
  std::set<std::wstring> gone_;        ///< files that were quarantined or deleted
  uint32_t liveUpdateReplies_ = 0;     ///< so many more replies show it running
  uint32_t updateCheckReplies_ = 0;
  EngineStatus checkOutcome_;  ///< what the next check will show
  uint64_t taken_ = 0;         ///< files that were quarantined
};

}  // namespace korvel::mock
