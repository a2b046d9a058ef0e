// The fixture of the end-to-end tests: fresh data, one service process, and a small language to talk to it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "e2e/child_process.h"
#include "e2e/client.h"
#include "protocol/messages.h"
#include "support/eventually.h"
#include "support/temp_folder.h"

namespace korvel::test {

class ServiceTest : public testing::Test {
 protected:
  /// Wipes the service's data and writes settings that keep it off the network and off other folders, with a
  /// signature file that knows the EICAR test file.
  void SetUp() override;
  /// Stops the service when it still runs; shows its log when the test has failed.
  void TearDown() override;

  /// Settings of the next start: lines "Key=value" that replace or add to those in force.
  void writeSettings(const std::string& lines);

  /// Starts KorvelService.exe --console and waits until the pipe is there.
  void startService();
  /// The same in a console that it shares with this process, where Ctrl+C reaches it; its output goes there.
  void startServiceInConsole();
  /// Asks for the stop through the pipe and expects a clean end.
  void stopService();
  /// Waits for the clean end of a service that was asked to stop. When it does not come, the failure tells
  /// where the service's threads are.
  void expectCleanEnd(DWORD limitMs);
  ChildProcess& service() { return service_; }

  /// One request over a connection of its own. reply() expects success, refusal() an error and returns its
  /// text.
  std::string reply(ipc::Opcode opcode, const std::string& payload = {});
  std::string refusal(uint32_t opcode, const std::string& payload = {});
  std::string refusal(ipc::Opcode opcode, const std::string& payload = {}) {
    return refusal(static_cast<uint32_t>(opcode), payload);
  }

  EngineStatus status();
  SettingsFields settings();
  ScanReport progress();
  std::vector<ThreatRecord> results();
  std::vector<QuarantineRecord> quarantine();

  void startScan(ScanScope scope, const std::vector<std::wstring>& targets);
  /// Waits until the running scan is in `phase`, or has ended; returns whether it was seen.
  bool waitForPhase(const std::wstring& phase);
  ScanReport waitForScanEnd();
  /// A custom scan to its end.
  ScanReport scan(const std::vector<std::wstring>& targets);

  /// The log so far; lines carry a time, so tests look for parts of it.
  static std::string log();
  /// True once the log holds `part`; waits up to a few seconds for it.
  static bool logGets(const std::string& part);
  /// How many lines of the log end with `ending`.
  static int logCount(const std::string& ending);
  /// How often `part` is in the log.
  static int logMentions(const std::string& part);

  const TempFolder& folder() const { return *folder_; }

 private:
  void startServiceBy(const std::function<void()>& start);

  std::optional<TempFolder> folder_;
  std::string settingsText_;
  ChildProcess service_;
};

}  // namespace korvel::test
