// The crash line of the unmodified executable.
#include "base/text.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

constexpr DWORD kAccessViolation = 0xC0000005;

class Crash : public ServiceTest {
 protected:
  /// The first thread of the service that begins at an address where there is no code.
  void crash() {
    const auto nowhere = reinterpret_cast<LPTHREAD_START_ROUTINE>(uintptr_t{0x10});
    ASSERT_TRUE(service().runThread(nowhere, 0));
    ASSERT_EQ(service().waitForExit(20'000), kAccessViolation);
  }
  /// The lines of the log that begin like the crash line.
  static std::vector<std::string> crashLines() {
    std::vector<std::string> lines;
    const std::string text = log();
    LineReader reader(text);
    for (std::string_view line; reader.next(line);) {
      if (line.starts_with("crash: ")) lines.emplace_back(line);
    }
    return lines;
  }
};

TEST_F(Crash, LeavesItsLineBehindTheLogsOwn) {
  startService();
  const std::string before = log();
  crash();
  ASSERT_EQ(crashLines().size(), 1u);
  const std::string line = crashLines()[0];
  const std::string text = "crash: UNHANDLED EXCEPTION code=0xC0000005 address=0000000000000010 thread=";
  EXPECT_EQ(line.substr(0, text.size()), text);
  EXPECT_EQ(line.find_first_not_of("0123456789", text.size()), std::string::npos) << line;
  EXPECT_TRUE(log().starts_with(before));
  EXPECT_TRUE(log().ends_with("\n" + line + "\n"));
}

TEST_F(Crash, IsFollowedByAStartThatAppendsToTheSameLog) {
  startService();
  crash();
  startService();
  stopService();
  EXPECT_EQ(crashLines().size(), 1u);
  EXPECT_LT(log().find("crash: "), log().rfind("[INF] KorvelService starting, version 1.2.0\n"));
}

}  // namespace
}  // namespace korvel::test
