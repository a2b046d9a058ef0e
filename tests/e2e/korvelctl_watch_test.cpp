// korvelctl watch: real-time detections, which each client gets once.
#include "base/files.h"
#include "e2e/control_client.h"
#include "e2e/sample_files.h"

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

  /// Makes a file in a new folder below the watched tree, again and again until it is a detection of `watch`.
  bool seenBy(const ChildProcess& watch, const std::wstring& name) {
    for (int i = 0; i < 60; ++i) {
      const std::wstring path = std::wstring(kTree) + L"\\" + std::to_wstring(i) + L"\\Downloads\\" + name;
      try {
        writeFile(path, eicarText());
      } catch (const std::exception&) {  // it is being scanned
      }
      if (eventually(2'000, [&] { return has(watch.output(), toUtf8(name)); })) return true;
    }
    return false;
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

TEST_F(WatchCommand, EventsOfAScanAreKeptInItsDocument) {
  startService();
  bool seen = false;
  for (int i = 0; i < 30 && !seen; ++i) {
    try {
      writeFile(std::wstring(kTree) + L"\\s" + std::to_wstring(i) + L"\\Downloads\\eicar.com", eicarText());
    } catch (const std::exception&) {  // it is being scanned
    }
    ::Sleep(500);
    seen = has(log(), "real-time detection: ");
  }
  ASSERT_TRUE(seen);
  folder().write(L"clean\\a.exe", "x");
  const Finished scan = ctl(L"--json scan " + quoted(folder().at(L"clean")));
  EXPECT_GE(parsed(scan)["events"].size(), 1u) << scan.output;
  EXPECT_EQ(scan.exitCode, 1u) << "an event of high severity came";
}

}  // namespace
}  // namespace korvel::test
