#include "e2e/service_test.h"

#include <stdexcept>

#include "base/files.h"
#include "base/text.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/own_console.h"
#include "e2e/sample_files.h"
#include "e2e/thread_report.h"
#include "support/restarts.h"

namespace korvel::test {
namespace {

constexpr DWORD kStartLimitMs = 30'000;
constexpr DWORD kCleanStopLimitMs = 30'000;
constexpr DWORD kSeenOffLimitMs = 2'000;
constexpr DWORD kLogLimitMs = 10'000;
constexpr DWORD kScanLimitMs = 200'000;

template <typename T>
T decoded(std::optional<T> value) {
  if (!value) throw std::runtime_error("the reply does not decode");
  return std::move(*value);
}

}  // namespace

void ServiceTest::SetUp() {
  wipeServiceData();
  folder_.emplace();
  const std::wstring signatures = folder_->write(L"signatures.txt", eicarSignatures());
  settingsText_ =
      "RealTimeEnabled=0\nScheduledScan=0\nLiveUpdates=0\nWebShield=0\nSignatureDb=" + toUtf8(signatures) +
      "\n";
  writeSettings("");
}

void ServiceTest::TearDown() {
  try {
    if (service_.running()) stopService();
  } catch (const std::exception& exception) {
    ADD_FAILURE() << exception.what();
  }
  if (HasFailure()) std::printf("---- korvel.log ----\n%s--------------------\n", log().c_str());
  service_.kill();
  wipeServiceData();
}

void ServiceTest::writeSettings(const std::string& lines) {
  settingsText_ += lines;  // the last line of a key wins
  writeFile(settingsPath(), settingsText_);
}

void ServiceTest::startService() {
  startServiceBy([this] { service_.start(serviceExecutable(), L"--console"); });
}

void ServiceTest::startServiceInConsole() {
  useOwnConsole();
  startServiceBy([this] { service_.startInConsole(serviceExecutable(), L"--console"); });
}

void ServiceTest::startServiceBy(const std::function<void()>& start) {
  const size_t logBefore = log().size();
  const auto comesUp = [this, &start] {
    start();
    const bool answers = eventually(kStartLimitMs, [this] {
      Client client;
      return client.tryConnect() || !service_.running();
    });
    return answers && service_.running();
  };
  // The test platform now and then loses a process before its first step, and then the log has no line of it.
  bool up = comesUp();
  if (!up && log().size() == logBefore && mayRestart(toUtf8(serviceExecutable()))) up = comesUp();
  if (!up) {
    const std::optional<DWORD> exitCode = service_.waitForExit(0);
    throw std::runtime_error("the service does not come up" +
                             (exitCode ? ", exit code " + std::to_string(*exitCode) : std::string()) + ": " +
                             service_.output() + service_.errorOutput());
  }
  // The test begins with a service that waits for clients, not with one that still disconnects the last.
  (void)eventually(kSeenOffLimitMs, [this, logBefore] {
    return log().find("client disconnected\n", logBefore) != std::string::npos || !service_.running();
  });
}

void ServiceTest::stopService() {
  EXPECT_EQ(reply(ipc::Opcode::kStopService), "");
  expectCleanEnd(kCleanStopLimitMs);
}

void ServiceTest::expectCleanEnd(DWORD limitMs) {
  const std::optional<DWORD> exitCode = service_.waitForExit(limitMs);
  ASSERT_TRUE(exitCode.has_value()) << "the service does not stop\n" << threadReport(service_.id());
  EXPECT_EQ(*exitCode, 0u);
  EXPECT_TRUE(logGets("[INF] stopped\n"));
}

std::string ServiceTest::reply(ipc::Opcode opcode, const std::string& payload) {
  Client client;
  client.connect();
  Reply reply = client.request(static_cast<uint32_t>(opcode), payload);
  if (reply.opcode == ipc::kErrorOpcode) {
    ADD_FAILURE() << "request " << static_cast<uint32_t>(opcode)
                  << " refused: " << ipc::decodeText(reply.payload).value_or("?");
  }
  EXPECT_EQ(reply.opcode, static_cast<uint32_t>(opcode));
  return reply.payload;
}

std::string ServiceTest::refusal(uint32_t opcode, const std::string& payload) {
  Client client;
  client.connect();
  const Reply reply = client.request(opcode, payload);
  EXPECT_EQ(reply.opcode, 0xFFFFFFFF) << "request " << opcode << " was not refused";
  return ipc::decodeText(reply.payload).value_or("(no text)");
}

EngineStatus ServiceTest::status() { return decoded(ipc::decodeStatus(reply(ipc::Opcode::kGetStatus))); }

SettingsFields ServiceTest::settings() {
  return decoded(ipc::decodeSettings(reply(ipc::Opcode::kGetConfig), SettingsFields()));
}

ScanReport ServiceTest::progress() { return decoded(ipc::decodeProgress(reply(ipc::Opcode::kGetProgress))); }

std::vector<ThreatRecord> ServiceTest::results() {
  return decoded(ipc::decodeResults(reply(ipc::Opcode::kGetResults)));
}

std::vector<QuarantineRecord> ServiceTest::quarantine() {
  return decoded(ipc::decodeQuarantineList(reply(ipc::Opcode::kListQuarantine)));
}

void ServiceTest::startScan(ScanScope scope, const std::vector<std::wstring>& targets) {
  EXPECT_EQ(reply(ipc::Opcode::kStartScan, ipc::encodeStartScan({scope, targets})), "");
}

bool ServiceTest::waitForPhase(const std::wstring& phase) {
  bool seen = false;
  const bool ended = eventually(kScanLimitMs, [&] {
    const ScanReport now = progress();
    seen = now.scanning && now.progress.phase == phase;
    return seen || !now.scanning;
  });
  return ended && seen;
}

ScanReport ServiceTest::waitForScanEnd() {
  ScanReport now;
  if (!eventually(kScanLimitMs, [&] {
        now = progress();
        return !now.scanning;
      })) {
    throw std::runtime_error("the scan does not end");
  }
  return now;
}

ScanReport ServiceTest::scan(const std::vector<std::wstring>& targets) {
  startScan(ScanScope::kCustom, targets);
  return waitForScanEnd();
}

std::string ServiceTest::log() {
  std::string text;
  (void)readWholeFile(logPath(), text);  // no log yet is an empty log
  return text;
}

bool ServiceTest::logGets(const std::string& part) {
  return eventually(kLogLimitMs, [&part] { return log().find(part) != std::string::npos; });
}

int ServiceTest::logMentions(const std::string& part) {
  const std::string text = log();
  int count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

int ServiceTest::logCount(const std::string& ending) {
  const std::string text = log();
  int count = 0;
  LineReader reader(text);
  for (std::string_view line; reader.next(line);) count += line.ends_with(ending) ? 1 : 0;
  return count;
}

}  // namespace korvel::test
