// Rules of a script, and one connection over a stream of bytes.
#include "tools/korvelmock/mock_client.h"

namespace korvel::test {
namespace {

struct Played {
  mock::SessionEnd end;
  std::string output;
  std::vector<size_t> pieces;
  std::vector<uint32_t> sleeps;
  std::vector<std::string> told;
};

Played play(std::string_view script, const std::string& input, size_t mostOutput = SIZE_MAX) {
  MemoryChannel channel(input);
  channel.mostOutput = mostOutput;
  mock::Player player(mock::parseScript(script));
  Played played;
  const mock::Surroundings around{[&](uint32_t milliseconds) { played.sleeps.push_back(milliseconds); },
                                  [&](std::string_view line) { played.told.emplace_back(line); }};
  played.end = mock::serveClient(channel, player, around);
  played.output = channel.output;
  played.pieces = channel.pieces;
  return played;
}

const std::string kTick = std::string("\x15\xCD\x5B\x07", 4);

TEST(MockSession, AnswersUntilTheClientLeaves) {
  const Played played = play("{}", frameOf(2) + frameOf(2, "ignored") + frameOf(1).substr(0, 20));
  EXPECT_EQ(played.end, mock::SessionEnd::kClientLeft);
  EXPECT_EQ(played.output, frameOf(2, kTick) + frameOf(2, kTick));
  EXPECT_EQ(played.told,
            (std::vector<std::string>{"Ping, 0 bytes: reply, 4 bytes", "Ping, 7 bytes: reply, 4 bytes"}));
}

TEST(MockSession, ARequestThatIsNoFrameEndsTheConnectionWithoutAReply) {
  std::string tooLong = frameOf(2);
  tooLong[15] = '\x7F';
  std::string version2 = frameOf(2);
  version2[4] = 2;
  for (const std::string& bytes : {std::string(24, 'x'), version2, tooLong}) {
    const Played played = play("{}", bytes + frameOf(2));
    EXPECT_EQ(played.end, mock::SessionEnd::kHungUp);
    EXPECT_EQ(played.output, "");
  }
}

TEST(MockSession, StopServiceIsAnsweredAndEndsTheService) {
  const Played played = play("{}", frameOf(21) + frameOf(2));
  EXPECT_EQ(played.end, mock::SessionEnd::kStopped);
  EXPECT_EQ(played.output, frameOf(21));
}

TEST(MockSession, ARuleAnswersAsOftenAsItSays) {
  const Played played = play(R"({"answers": [{"to": "Ping", "skip": 1, "times": 2, "refuse": "no"}]})",
                             frameOf(2) + frameOf(2) + frameOf(5) + frameOf(2) + frameOf(2));
  const std::string refusal = frameOf(ipc::kErrorOpcode, ipc::encodeText("no"));
  EXPECT_EQ(played.output, frameOf(2, kTick) + refusal + frameOf(5) + refusal + frameOf(2, kTick));
}

TEST(MockSession, TheFirstRuleThatAppliesAnswers) {
  const Played played = play(R"({"answers": [{"to": ["Ping", 77], "times": 1, "payload": "01*4"},
                                             {"to": "any", "refuse": ""}]})",
                             frameOf(77) + frameOf(2) + frameOf(1));
  EXPECT_EQ(played.output,
            frameOf(77, "\x01\x01\x01\x01") + frameOf(ipc::kErrorOpcode) + frameOf(ipc::kErrorOpcode));
}

TEST(MockSession, ARuleChangesTheHeaderAndAppendsFields) {
  const Played played = play(
      R"({"answers": [{"to": "Ping", "reply": {"tickCount": 1}, "append": "aabb",
                       "opcode": 3, "version": 2, "length": 9}]})",
      frameOf(2));
  std::string expected = frameOf(3, std::string("\x01\0\0\0\xAA\xBB", 6));
  expected[4] = 2;
  expected[12] = 9;
  EXPECT_EQ(played.output, expected);
}

TEST(MockSession, AnswersCanBeCutSilentLateAndInPieces) {
  const Played cut = play(R"({"answers": [{"to": "Ping", "cut": 26}]})", frameOf(2) + frameOf(2));
  EXPECT_EQ(cut.output, frameOf(2, kTick).substr(0, 26));
  EXPECT_EQ(cut.end, mock::SessionEnd::kHungUp);
  const Played silent = play(R"({"answers": [{"to": "Ping", "silent": true}]})", frameOf(2) + frameOf(5));
  EXPECT_EQ(silent.output, frameOf(5));
  const Played bytes =
      play(R"({"answers": [{"to": "Ping", "bytes": "00ff", "hangUp": true}]})", frameOf(2) + frameOf(5));
  EXPECT_EQ(bytes.output, std::string("\0\xFF", 2));
  EXPECT_EQ(bytes.end, mock::SessionEnd::kHungUp);
  const Played slow =
      play(R"({"answers": [{"to": "Ping", "delayMs": 500, "pieceBytes": 10, "pieceMs": 20}]})", frameOf(2));
  EXPECT_EQ(slow.output, frameOf(2, kTick));
  EXPECT_EQ(slow.pieces, (std::vector<size_t>{10, 10, 8}));
  EXPECT_EQ(slow.sleeps, (std::vector<uint32_t>{500, 20, 20}));
}

TEST(MockSession, EndsWhenNobodyReads) {
  const Played played = play("{}", frameOf(2) + frameOf(2) + frameOf(2), /*mostOutput=*/40);
  EXPECT_EQ(played.end, mock::SessionEnd::kClientLeft);
  EXPECT_EQ(played.pieces.size(), 2u);
}

}  // namespace
}  // namespace korvel::test
