// The service is killed while it writes what it has downloaded or scanned: the live signatures, an installer,
// the scan cache and the hosts file. Whatever the moment, the old or the new file is there, whole.
#include <atomic>
#include <cstdio>

#include "base/files.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/kill_fixture.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "remedy/hosts_file.h"
#include "support/web_server.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

/// From the request on: the answer, the write and what follows it.
constexpr uint32_t kLongestUpdateMicroseconds = 60'000;
/// The scan of a few files and the save of the cache.
constexpr uint32_t kLongestScanMicroseconds = 40'000;
/// From so many on some must have come after the work.
constexpr int kManyKills = 50;
constexpr DWORD kFirstShieldLimitMs = 90'000;
constexpr DWORD kUpdateLimitMs = 60'000;
constexpr char kUserLines[] = "# mine\n127.0.0.1 localhost\n";

/// `count` digests in their order, a line each.
std::string digests(unsigned count) {
  std::string lines;
  char line[66];
  for (unsigned i = 0; i < count; ++i) {
    std::snprintf(line, sizeof line, "%08x%056x\n", i, 7);
    lines += line;
  }
  return lines;
}

std::string domains(int count) {
  std::string lines;
  for (int i = 0; i < count; ++i) lines += "d" + std::to_string(i) + ".example\n";
  return lines;
}

class KillDownloads : public KillTest {
 protected:
  void SetUp() override {
    KillTest::SetUp();
    savedHosts_ = readFile(hostsFilePath());
  }
  void TearDown() override {
    KillTest::TearDown();
    writeFile(hostsFilePath(), savedHosts_);
  }

  /// One update to its end, so that there is a file to replace.
  void updateOnce(Opcode opcode, const std::wstring& path) {
    startService();
    reply(opcode);
    ASSERT_TRUE(eventually(kUpdateLimitMs, [&] {
      const EngineStatus now = status();
      return pathExists(path) && !now.liveUpdateRunning && !now.updateCheckRunning;
    }));
    stopService();
  }

  static std::string hosts() { return readFile(hostsFilePath()); }

 private:
  std::string savedHosts_;
};

TEST_F(KillDownloads, LeavesTheOldOrTheNewLiveSignatures) {
  const std::string lists[] = {digests(20'000), digests(12'000)};
  std::atomic<size_t> requests{0};
  const WebServer server([&](const std::string&) { return lists[requests++ % 2]; });
  writeSettings("UpdateServer=" + server.url() + "\n");
  ASSERT_NO_FATAL_FAILURE(updateOnce(Opcode::kStartLiveUpdate, liveSignaturesPath()));
  const auto isWhole = [&lists](const std::string& text) {
    return text.starts_with("# KORVEL live signature database") &&
           (text.ends_with("\nSIZE 20000\n" + lists[0]) || text.ends_with("\nSIZE 12000\n" + lists[1]));
  };
  for (int i = 0; i < killCount(); ++i) {
    const size_t before = requests;
    liveAndDie([](size_t, const Reply&) { return frame(14); }, kLongestUpdateMicroseconds,
               [&] { return requests > before; });
    ASSERT_TRUE(isWhole(readFile(liveSignaturesPath()))) << "kill " << i;
    countTemporary(liveSignaturesPath() + L".tmp");
  }
  showKills("live signatures", killCount());
}

TEST_F(KillDownloads, LeavesTheOldOrTheNewInstaller) {
  const std::string installers[] = {"MZ" + std::string(1 << 20, 'a'), "MZ" + std::string(700'000, 'b')};
  std::atomic<size_t> requests{0};
  std::string url;
  const WebServer server([&](const std::string& path) {
    if (path == "/installer") return installers[requests++ % 2];
    return R"({"windows":{"version":"9.9.9","url":")" + url + R"(/installer"}})";
  });
  url = server.url();
  writeSettings("UpdateServer=" + url + "\n");
  const std::wstring path = updatesDir() + L"\\KorvelSetup-9.9.9.exe";
  ASSERT_NO_FATAL_FAILURE(updateOnce(Opcode::kStartUpdateCheck, path));
  for (int i = 0; i < killCount(); ++i) {
    const size_t before = requests;
    liveAndDie([](size_t, const Reply&) { return frame(15); }, kLongestUpdateMicroseconds,
               [&] { return requests > before; });
    const std::string left = readFile(path);
    ASSERT_TRUE(left == installers[0] || left == installers[1]) << "kill " << i << ": " << left.size();
    countTemporary(path + L".tmp");
  }
  showKills("installer", killCount());
}

TEST_F(KillDownloads, LeavesTheOldOrTheNewScanCache) {
  std::string before;
  for (int i = 0; i < 20'000; ++i) {
    const std::string number = std::to_string(100'000 + i);
    before += "C:\\known\\" + number + ".exe|4711|132000000000000000|clean\n";
  }
  for (int i = 0; i < 3; ++i) folder().write(L"in\\" + std::to_wstring(i) + L".com", eicarText());
  writeFile(scanCachePath(), before);
  startService();
  scan({folder().at(L"in")});
  stopService();
  const std::string after = readFile(scanCachePath());
  ASSERT_GT(after.size(), before.size());

  const std::string request = frame(3, ipc::encodeStartScan({ScanScope::kCustom, {folder().at(L"in")}}));
  int scanned = 0;
  for (int i = 0; i < killCount(); ++i) {
    writeFile(scanCachePath(), before);
    liveAndDie([&request](size_t, const Reply&) { return request; }, kLongestScanMicroseconds);
    const std::string left = readFile(scanCachePath());
    ASSERT_TRUE(left == before || left == after) << "kill " << i << ": " << left.size();
    if (left == after) ++scanned;
    countTemporary(scanCachePath() + L".tmp");
  }
  if (killCount() >= kManyKills) {
    EXPECT_GT(scanned, 0) << "every kill came before the save";
  }
  showKills("scan cache", killCount());
}

TEST_F(KillDownloads, LeavesTheHostsFileWithTheBlockOrWithoutIt) {
  std::string block = "# KORVEL WEB SHIELD BEGIN\n";
  for (int i = 0; i < 20'000; ++i) block += "127.0.0.1 d" + std::to_string(i) + ".example # korvel-blocked\n";
  block += "# KORVEL WEB SHIELD END\n";
  writeSettings("WebShield=1\n");
  startService();
  SettingsFields off = settings();
  stopService();
  off.webShield = false;
  const std::string request = frame(12, ipc::encodeSettings(off));
  int cleaned = 0;
  for (int i = 0; i < killCount(); ++i) {
    writeSettings("");  // the shield is on again
    writeFile(hostsFilePath(), kUserLines + block);
    liveAndDie([&request](size_t n, const Reply&) { return n == 0 ? request : frame(2); },
               kLongestScanMicroseconds);
    const std::string left = hosts();
    ASSERT_TRUE(left == kUserLines || left == kUserLines + block) << "kill " << i << ": " << left.size();
    if (left == kUserLines) ++cleaned;
    countTemporary(hostsFilePath() + L".korvel.tmp");
  }
  if (killCount() >= kManyKills) {
    EXPECT_GT(cleaned, 0) << "every kill came before the end";
  }
  showKills("hosts block removed", killCount());
}

/// The shield's first run comes half a minute after the start, so each kill takes that long.
class LongKill : public KillDownloads {};

TEST_F(LongKill, LeavesTheHostsFileWithoutTheBlockOrWithAllOfIt) {
  const std::string list = domains(10'000);
  std::atomic<int> requests{0};
  const WebServer server([&](const std::string&) {
    ++requests;
    return list;
  });
  writeSettings("WebShield=1\nUpdateServer=" + server.url() + "\n");
  writeFile(hostsFilePath(), kUserLines);
  startService();
  ASSERT_TRUE(
      eventually(kFirstShieldLimitMs, [] { return logMentions("web shield: blocked 10000 domains") == 1; }));
  stopService();
  const std::string full = hosts();
  ASSERT_GT(full.size(), list.size());
  for (int i = 0; i < killCount(); ++i) {
    writeFile(hostsFilePath(), kUserLines);
    const int before = requests;
    startService();
    ASSERT_TRUE(eventually(kFirstShieldLimitMs, [&] { return requests > before; }));
    dieWithin(kLongestUpdateMicroseconds);
    const std::string left = hosts();
    ASSERT_TRUE(left == kUserLines || left == full) << "kill " << i << ": " << left.size();
    countTemporary(hostsFilePath() + L".korvel.tmp");
  }
  showKills("hosts block added", killCount());
}

}  // namespace
}  // namespace korvel::test
