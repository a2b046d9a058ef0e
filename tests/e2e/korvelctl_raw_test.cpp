// korvelctl raw and --trace: the bytes of an exchange.
#include "base/files.h"
#include "e2e/control_client.h"
#include "e2e/sample_files.h"

namespace korvel::test {
namespace {

class ControlRaw : public ControlClient {};

TEST_F(ControlRaw, ShowsAReplyAsBytesAndAsWhatTheySay) {
  startService();
  const Finished run = ctl(L"raw StartUpdateCheck");
  EXPECT_EQ(run.exitCode, 0u) << run.errorOutput;
  EXPECT_EQ(run.output, "reply 15, 4 bytes\n01000000\n");
  const auto status = json(L"raw 1");
  EXPECT_EQ(status["schema"], "korvel.raw/1");
  EXPECT_EQ(status["exchange"]["name"], "GetStatus");
  EXPECT_EQ(status["exchange"]["cases"][1]["value"]["serviceVersion"], "1.2.0");
}

TEST_F(ControlRaw, ARefusalIsShownAndEndsWith2) {
  startService();
  const Finished run = ctl(L"raw 22");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.output, "reply 4294967295, 25 bytes\n15000000756e737570706f72746564206f70636f6465203232\n");
  const auto refused = json(L"raw StartScan 03");
  EXPECT_EQ(refused["exchange"]["cases"][1]["opcode"], 0xFFFFFFFF);
  EXPECT_EQ(refused["exchange"]["cases"][1]["value"]["error"], "malformed StartScan payload");
}

TEST_F(ControlRaw, TakesThePayloadFromAFile) {
  startService();
  const std::wstring file = L"C:\\raw-payload.bin";
  ASSERT_TRUE(rewriteTextFile(file, std::string("\x02\0\0\0\0\0\0\0", 8)));
  EXPECT_EQ(ctl(L"raw StartScan @" + file).exitCode, 0u);
  ::DeleteFileW(file.c_str());
  EXPECT_EQ(ctl(L"raw StartScan @" + file).exitCode, 2u);
}

TEST_F(ControlRaw, AsksBeforeItChangesSomething) {
  startService();
  EXPECT_EQ(ctl(L"raw StopService").exitCode, 64u);
  EXPECT_EQ(ctl(L"raw 9 0100000000000000 --dry-run").output, "would send request 9 with 8 bytes\n");
  const auto refused = json(L"raw 9 0100000000000000 --yes");
  EXPECT_EQ(refused["exchange"]["cases"][1]["value"]["error"], "record not found");
}

TEST_F(ControlRaw, WhatIsNoRequestIsWrongUsage) {
  EXPECT_EQ(ctl(L"raw Nothing").exitCode, 64u);
  EXPECT_EQ(ctl(L"raw 1 0g").exitCode, 64u);
  EXPECT_EQ(ctl(L"raw -- -1").exitCode, 64u);
}

TEST_F(ControlRaw, ATraceHoldsEveryExchangeAsAVector) {
  startService();
  const std::wstring file = L"C:\\korvelctl-trace.json";
  EXPECT_EQ(ctl(L"raw GetStatus --trace " + file).exitCode, 0u);
  std::string text;
  ASSERT_TRUE(readWholeFile(file, text));
  ::DeleteFileW(file.c_str());
  const auto traced = lines(Finished{.exitCode = 0, .output = text, .errorOutput = {}});
  ASSERT_EQ(traced.size(), 1u) << text;
  EXPECT_EQ(traced[0]["name"], "GetStatus");
  EXPECT_EQ(traced[0]["result"], "ok");
  EXPECT_EQ(traced[0]["cases"][0]["kind"], "request");
  EXPECT_EQ(traced[0]["cases"][1]["value"]["serviceVersion"], "1.2.0");
}

TEST_F(ControlRaw, NothingIsSentWhenTheTraceCannotBeWritten) {
  startService();
  EXPECT_EQ(ctl(L"--yes raw StopService --trace C:\\no-such-folder\\trace.json").exitCode, 2u);
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
}

}  // namespace
}  // namespace korvel::test
