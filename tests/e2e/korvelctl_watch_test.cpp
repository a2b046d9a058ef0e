// korvelctl watch: real-time detections, which each client gets once.
#include "base/files.h"
#include "e2e/control_client.h"
#include "e2e/sample_files.h"
#include "korvelctl/machine/event_log.h"

namespace korvel::test {
namespace {

constexpr wchar_t kTree[] = L"C:\\Users\\korvel-test";

class WatchCommand : public ControlClient {
 protected:
  void SetUp() override {
    ControlClient::SetUp();
    removeTree(kTree);
    writeSettings("RealTimeEnabled=1\n");
  }
  void TearDown() override {
    ControlClient::TearDown();
    removeTree(kTree);
  }

  /// Makes a file in a new tree, again and again until it is a detection of `watch`: the test platform never
  /// watches a folder that was made before the watch above it was armed.
  bool seenBy(const ChildProcess& watch, const std::wstring& name) {
    for (int i = 0; i < 60; ++i) {
      makeAnew(std::to_wstring(i) + L"\\Downloads\\" + name);
      if (eventually(2'000, [&] { return has(watch.output(), toUtf8(name)); })) return true;
    }
    return false;
  }
  /// The same until the service has written it into its log.
  static bool seenInLog() {
    for (int i = 0; i < 120; ++i) {
      makeAnew(L"s" + std::to_wstring(i) + L"\\Downloads\\eicar.com");
      if (eventually(500, [] { return has(log(), "real-time detection: "); })) return true;
    }
    return false;
  }
  static void makeAnew(const std::wstring& name) {
    removeTree(kTree);
    try {
      writeFile(std::wstring(kTree) + L"\\" + name, eicarText());
    } catch (const std::exception&) {  // one of them is being scanned
    }
  }
  /// That the log "Application" holds an event of this number. Wine keeps no events, so there nothing is
  /// looked at.
  static void expectInEventLog(DWORD id) {
    const HANDLE events = ::OpenEventLogW(nullptr, ctl::kEventSource);
    ASSERT_NE(events, nullptr);
    std::vector<BYTE> buffer(64 * 1024);
    DWORD got = 0, needed = 0;
    bool any = false, found = false;
    while (!found &&
           ::ReadEventLogW(events, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0, buffer.data(),
                           static_cast<DWORD>(buffer.size()), &got, &needed) &&
           got > 0) {
      any = true;
      for (DWORD at = 0; at < got;) {
        const auto* record = reinterpret_cast<const EVENTLOGRECORD*>(buffer.data() + at);
        found =
            found || ((record->EventID & 0xFFFF) == id &&
                      std::wstring_view(reinterpret_cast<const wchar_t*>(record + 1)) == ctl::kEventSource);
        at += record->Length;
      }
    }
    ::CloseEventLog(events);
    EXPECT_TRUE(found || !any);
  }
};

TEST_F(WatchCommand, PrintsEventsAsTheyComeAndKeepsThemToTheEnd) {
  startService();
  ChildProcess watch;
  watch.start(controlExecutable(), withManners(L"watch --ndjson --interval 1 --for 40"));
  ASSERT_TRUE(seenBy(watch, L"eicar.com")) << watch.output() << watch.errorOutput();
  ASSERT_EQ(watch.waitForExit(90'000), 1u) << "an event of high severity came";
  const auto all = lines({0, watch.output(), {}});
  EXPECT_EQ(all.front()["type"], "start");
  EXPECT_EQ(all.back()["schema"], "korvel.events/1");
  EXPECT_GE(all.back()["events"].size(), 1u);
  EXPECT_EQ(all.back()["events"][0]["severity"], "high");
  EXPECT_TRUE(all.back()["events"][0]["seen_utc"].is_string());
}

TEST_F(WatchCommand, CsvBeginsWithAHeading) {
  startService();
  const std::string output = ctl(L"--format csv watch --for 1").output;
  EXPECT_TRUE(output.starts_with("seen_utc,severity,name,path")) << output;
}

TEST_F(WatchCommand, AppliesTheSettingOnlyWhenItIsOn) {
  writeSettings("QuarantineOnDetect=1\n");
  startService();
  ChildProcess watch;
  watch.start(controlExecutable(), withManners(L"watch --apply --interval 1 --for 60 --json"));
  const auto quarantined = [&] { return !quarantine().empty(); };
  bool taken = false;
  for (int i = 0; i < 20 && !taken; ++i) {
    try {
      writeFile(std::wstring(kTree) + L"\\q" + std::to_wstring(i) + L"\\Downloads\\eicar.com", eicarText());
    } catch (const std::exception&) {  // it is being scanned
    }
    taken = eventually(3'000, quarantined);
  }
  ASSERT_TRUE(taken);
  EXPECT_EQ(quarantine()[0].code, "EICAR");
  EXPECT_TRUE(has(toUtf8(quarantine()[0].storedPath), "_275a021bbfb6489e_"))
      << "the client has computed the digest that the event lacks: " << toUtf8(quarantine()[0].storedPath);
  ASSERT_TRUE(watch.waitForExit(120'000).has_value());
  EXPECT_EQ(nlohmann::json::parse(watch.output())["actions"][0]["result"], "ok");
}

TEST_F(WatchCommand, WritesIntoTheEventLogAndSaysWhenItsSourceIsNotRegistered) {
  startService();
  ASSERT_EQ(ctl::unregisterEventSource(), 0u);
  const Finished plain = ctl(L"watch --eventlog --for 1");
  EXPECT_EQ(plain.exitCode, 0u) << plain.errorOutput;
  EXPECT_TRUE(has(plain.errorOutput, "source is not registered")) << plain.errorOutput;

  ASSERT_EQ(ctl::registerEventSource(controlExecutable()), 0u);
  ChildProcess watch;
  watch.start(controlExecutable(), withManners(L"watch --eventlog --json --interval 1 --for 40"));
  const bool seen = seenInLog();
  const std::optional<DWORD> exitCode = watch.waitForExit(90'000);
  (void)ctl::unregisterEventSource();
  ASSERT_TRUE(seen);
  EXPECT_EQ(exitCode, 1u) << watch.output() << watch.errorOutput();
  EXPECT_FALSE(has(watch.errorOutput(), "source is not registered")) << watch.errorOutput();
  const auto document = nlohmann::json::parse(watch.output());
  EXPECT_EQ(document["errors"], nlohmann::json::array()) << "each event was taken by the log";
  EXPECT_GE(document["events"].size(), 1u);
  expectInEventLog(1001);
}

TEST_F(WatchCommand, EventsOfAScanAreKeptInItsDocument) {
  startService();
  ASSERT_TRUE(seenInLog());
  folder().write(L"clean\\a.exe", "x");
  const Finished scan = ctl(L"--json scan " + quoted(folder().at(L"clean")));
  EXPECT_GE(parsed(scan)["events"].size(), 1u) << scan.output;
  EXPECT_EQ(scan.exitCode, 1u) << "an event of high severity came";
}

}  // namespace
}  // namespace korvel::test
