#include "remedy/web_shield.h"

#include <gtest/gtest.h>

#include <thread>

#include "base/files.h"
#include "base/sizes.h"
#include "remedy/hosts_file.h"
#include "runtime/log.h"
#include "support/eventually.h"
#include "support/held_moves.h"
#include "support/memory_peak.h"
#include "support/odd_server.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

using test::nginxUrl;
using test::oddUrl;

const std::string kUserLines = "127.0.0.1 localhost\n";

class WebShield : public testing::Test {
 protected:
  WebShield() {
    Log::instance().open(folder_.at(L"test.log"));
    settings_.updateServer = nginxUrl("/shield");
    test::writeFile(hosts_, kUserLines);
  }
  ~WebShield() override { Log::instance().open(L""); }

  /// One run over this list; returns what was logged, without the time.
  std::string runWith(const std::string& list) {
    test::publish("/shield/api/v1/blocklist", list);
    return run();
  }
  std::string run(const StopToken& stop = {}) {
    const size_t before = test::readFile(folder_.at(L"test.log")).size();
    runWebShieldOn(hosts_, settings_, stop);
    const std::string line = test::readFile(folder_.at(L"test.log")).substr(before);
    return line.empty() ? line : line.substr(line.find('['));
  }
  std::string text() const { return test::readFile(hosts_); }

  test::TempFolder folder_;
  std::wstring hosts_ = folder_.at(L"hosts");
  SettingsFields settings_;
};

TEST(DomainListUrl, IsTheServersOrThePublicOneNeverBoth) {
  SettingsFields settings;
  settings.updateServer = "https://srv///";
  EXPECT_EQ(domainListUrl(settings), "https://srv/api/v1/blocklist");
  settings.updateServer = "";
  const std::string url = domainListUrl(settings);
  EXPECT_EQ(url.rfind("https://", 0), 0u);
  EXPECT_TRUE(url.ends_with("/v2/text")) << url;
}

TEST(FetchDomainList, ReadsTheDomainsOfTheList) {
  test::publish("/list", "# list\r\nB.com\r\nb.COM\n127.0.0.1 c.com\na.org");
  DomainList list{{"old.com"}, 1};
  std::string error = "old";
  EXPECT_TRUE(fetchDomainList(nginxUrl("/list"), list, &error)) << error;
  EXPECT_EQ(list.first, (std::vector<std::string>{"b.com", "a.org"}));
  EXPECT_EQ(list.count, 2u);
}

TEST(FetchDomainList, FailsWithTheClientsTextAndLeavesTheListAlone) {
  DomainList list{{"old.com"}, 1};
  std::string error;
  EXPECT_FALSE(fetchDomainList(nginxUrl("/missing"), list, &error));
  EXPECT_EQ(error, "http status 404");
  EXPECT_FALSE(fetchDomainList("nonsense", list, nullptr));
  EXPECT_FALSE(fetchDomainList(oddUrl("/truncated"), list, nullptr));
  EXPECT_EQ(list.first, std::vector<std::string>{"old.com"});
}

TEST_F(WebShield, BlocksTheDomainsOfTheServerAndLogsTheirNumber) {
  EXPECT_EQ(runWith("Example.com\nexample.com\nwww.other.org\nbad\n"),
            "[INF] web shield: blocked 2 domains (3 hosts entries)\n");
  EXPECT_EQ(text(), kUserLines +
                        "\n# KORVEL WEB SHIELD BEGIN\n"
                        "127.0.0.1 example.com # korvel-blocked\n"
                        "127.0.0.1 www.example.com # korvel-blocked\n"
                        "127.0.0.1 www.other.org # korvel-blocked\n"
                        "# KORVEL WEB SHIELD END\n");
}

TEST_F(WebShield, LongListIsLoggedWholeAndCutToTheBudget) {
  std::string list;
  for (int i = 0; i < 30'001; ++i) list += "d" + std::to_string(i) + ".com\n";
  EXPECT_EQ(runWith(list), "[INF] web shield: blocked 30001 domains (60000 hosts entries)\n");
}

TEST_F(WebShield, ListWithoutDomainsEmptiesTheBlock) {
  (void)runWith("a.com\n");
  EXPECT_EQ(runWith("# nothing today\n\n"), "[INF] web shield: blocked 0 domains (0 hosts entries)\n");
  EXPECT_EQ(text(), kUserLines + "\n# KORVEL WEB SHIELD BEGIN\n# KORVEL WEB SHIELD END\n");
}

TEST_F(WebShield, FailedFetchKeepsThePreviousBlockAndAsksNobodyElse) {
  (void)runWith("a.com\n");
  const std::string before = text();
  settings_.updateServer = nginxUrl("/no-such-server");
  EXPECT_EQ(run(), "[WRN] web shield: domain feed failed: http status 404\n");
  settings_.updateServer = "nonsense";
  EXPECT_EQ(run().rfind("[WRN] web shield: domain feed failed: bad url, win32=", 0), 0u);
  EXPECT_EQ(text(), before);
}

TEST_F(WebShield, ListThatEndsEarlyBlocksNothing) {
  (void)runWith("a.com\n");
  const std::string before = text();
  settings_.updateServer = oddUrl("/cut/bank.example.co");
  EXPECT_EQ(run(), "[WRN] web shield: domain feed failed: WinHttpReadData, win32=12030\n");
  EXPECT_EQ(text(), before);
}

TEST_F(WebShield, FailingServerIsAskedOnceAndNobodyElse) {
  settings_.updateServer = oddUrl("/status/500");
  const int before = test::requestsSeen();
  EXPECT_EQ(run(), "[WRN] web shield: domain feed failed: http status 500\n");
  EXPECT_EQ(test::pathsSince(before), "/status/500/api/v1/blocklist\n");
}

TEST_F(WebShield, LargeListTakesAtMostTwiceItsSizeOfMemory) {
  constexpr uint64_t kBodyBytes = 51 * kMiB;
  uint64_t domains = 0;
  {
    std::string list;
    list.reserve(kBodyBytes + 32);
    for (; list.size() < kBodyBytes; ++domains) list += "d" + std::to_string(domains * 7) + ".com\n";
    test::publish("/shield/api/v1/blocklist", list);
  }
  test::MemoryPeak memory;
  const std::string logged = run();
  const uint64_t peak = memory.stop();
  std::printf("%llu domains: %llu MiB at the peak\n", static_cast<unsigned long long>(domains),
              static_cast<unsigned long long>(peak >> 20));
  EXPECT_EQ(logged,
            "[INF] web shield: blocked " + std::to_string(domains) + " domains (60000 hosts entries)\n");
  EXPECT_GT(peak, kBodyBytes) << "the domains themselves; less means that nothing was measured";
  EXPECT_LT(peak, 2 * kBodyBytes + 32 * kMiB);
}

TEST_F(WebShield, HostsThatCannotBeReplacedAreAnError) {
  const UniqueHandle holder(::CreateFileW(hosts_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  EXPECT_EQ(runWith("a.com\n"), "[ERR] web shield: hosts update failed: cannot replace hosts, win32=5\n");
  EXPECT_EQ(text(), kUserLines);
}

TEST_F(WebShield, SwitchedOffItTakesTheBlockOutSilently) {
  (void)runWith("a.com\n");
  settings_.webShield = false;
  EXPECT_EQ(run(), "");
  EXPECT_EQ(text(), kUserLines + "\n");
}

TEST_F(WebShield, SwitchedOffWithoutABlockItWritesAndLogsNothing) {
  settings_.webShield = false;
  test::writeFile(hosts_, "user\r\n\r\n");
  EXPECT_EQ(run(), "");
  EXPECT_EQ(text(), "user\r\n\r\n");
  // Markers with nothing between them are no entries: they stay too.
  const std::string empty = "user\r\n# KORVEL WEB SHIELD BEGIN\n# KORVEL WEB SHIELD END\n";
  test::writeFile(hosts_, empty);
  EXPECT_EQ(run(), "");
  EXPECT_EQ(text(), empty);
}

TEST_F(WebShield, SwitchedOffBlockThatCannotBeRemovedIsAWarning) {
  (void)runWith("a.com\n");
  settings_.webShield = false;
  const UniqueHandle holder(::CreateFileW(hosts_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  EXPECT_EQ(run(), "[WRN] web shield: cannot clean hosts: cannot replace hosts, win32=5\n");
}

TEST_F(WebShield, RunThatAStopCutsShortChangesAndLogsNothing) {
  StopSource stop;
  stop.request_stop();
  EXPECT_EQ(run(stop.get_token()), "");
  EXPECT_EQ(text(), kUserLines);
}

TEST_F(WebShield, StopWhileTheHostsFileIsHeldChangesAndLogsNothing) {
  test::publish("/shield/api/v1/blocklist", "a.com\n");
  {
    const test::HeldMoves held;
    EXPECT_EQ(run(held.stop()), "");
    EXPECT_EQ(held.tries(), 1);
  }
  EXPECT_EQ(text(), kUserLines);

  (void)run();
  settings_.webShield = false;
  const std::string before = text();
  const test::HeldMoves held;
  EXPECT_EQ(run(held.stop()), "");
  EXPECT_EQ(held.tries(), 1);
  EXPECT_EQ(text(), before);
}

TEST_F(WebShield, StopDuringTheDownloadChangesAndLogsNothing) {
  settings_.updateServer = oddUrl("/drip");
  const int before = test::requestsSeen();
  StopSource stop;
  std::thread stopper([&] {
    EXPECT_TRUE(test::eventually([&] { return test::requestsSeen() > before; }));
    stop.request_stop();
  });
  EXPECT_EQ(run(stop.get_token()), "");
  stopper.join();
  EXPECT_EQ(text(), kUserLines);
}

TEST(WebShieldRun, WorksOnTheSystemsHostsFile) {
  if (!test::isTestMachine()) GTEST_SKIP() << "changes the system's hosts file; see isTestMachine()";
  const std::string before = test::readFile(hostsFilePath());
  test::publish("/system/api/v1/blocklist", "a.com\n");
  SettingsFields settings;
  settings.updateServer = nginxUrl("/system");
  runWebShield(settings);
  EXPECT_EQ(countBlockedEntries(), 2u);
  settings.webShield = false;
  runWebShield(settings);
  EXPECT_EQ(countBlockedEntries(), 0u);
  test::writeFile(hostsFilePath(), before);
}

}  // namespace
}  // namespace korvel
