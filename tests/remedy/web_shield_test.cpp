#include "remedy/web_shield.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "remedy/hosts_file.h"
#include "runtime/log.h"
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
  std::string run(const std::stop_token& stop = {}) {
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

TEST(FetchDomainList, AppendsTheDomainsOfTheList) {
  test::publish("/list", "# list\r\nB.com\r\nb.COM\n127.0.0.1 c.com\na.org");
  std::vector<std::string> domains{"kept.com"};
  std::string error = "old";
  EXPECT_TRUE(fetchDomainList(nginxUrl("/list"), domains, &error)) << error;
  EXPECT_EQ(domains, (std::vector<std::string>{"kept.com", "b.com", "a.org"}));
}

TEST(FetchDomainList, FailsWithTheClientsTextAndAddsNothing) {
  std::vector<std::string> domains;
  std::string error;
  EXPECT_FALSE(fetchDomainList(nginxUrl("/missing"), domains, &error));
  EXPECT_EQ(error, "http status 404");
  EXPECT_FALSE(fetchDomainList("nonsense", domains, nullptr));
  EXPECT_TRUE(domains.empty());
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
  std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(run(stop.get_token()), "");
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
