// How a session begins and ends, whatever is asked in it.
#include <gtest/gtest.h>

#include "runtime/stop_signal.h"
#include "server/session_fixture.h"
#include "support/allocation_meter.h"

namespace korvel::ipc {
namespace {

using test::RawFrame;
using test::u32;
using DispatcherSession = test::Session;
using Lines = std::vector<std::string>;

TEST_F(DispatcherSession, ClientThatLeavesEndsItSilently) {
  EXPECT_EQ(ask(Opcode::kPing).opcode, 2u);
  end();
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(DispatcherSession, ClientThatLeavesInsideAFrameEndsItSilently) {
  test::send(pipe_.client(), test::frame(3, "payload").substr(0, 26));
  end();
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(DispatcherSession, StopEndsItSilentlyWhileAClientSaysNothing) {
  StopSignal::process().requestStop();
  join();
  EXPECT_TRUE(repliesWereWhole_);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(DispatcherSession, BadFramesEndItWithOneLineAndNoReply) {
  RawFrame raw;
  raw.magic = 1;
  test::send(pipe_.client(), raw.bytes() + test::frame(2));
  join();
  EXPECT_EQ(log_.lines(), Lines{"[INF] KORVEL Antivirus: request read failed: bad magic"});
  DWORD waiting = 1;
  EXPECT_TRUE(::PeekNamedPipe(pipe_.client(), nullptr, 0, nullptr, &waiting, nullptr));
  EXPECT_EQ(waiting, 0u);
}

TEST_F(DispatcherSession, ADeclaredLengthAboveTheLimitEndsItToo) {
  RawFrame raw;
  raw.opcode = 2;
  raw.length = 33'554'433;
  test::send(pipe_.client(), raw.bytes());
  join();
  EXPECT_EQ(log_.lines(), Lines{"[INF] KORVEL Antivirus: request read failed: declared payload too large"});
}

TEST_F(DispatcherSession, ARequestThatDoesNotFitIntoMemoryEndsOnlyTheSession) {
  const test::AllocationLimit limit(1'000'000);
  RawFrame raw;
  raw.opcode = 2;
  raw.length = 8'000'000;
  test::send(pipe_.client(), raw.bytes());
  std::thread sender([&] {
    const std::string piece(60'000, 'x');
    DWORD written = 0;
    // Until the service stops reading.
    for (size_t sent = 0; sent < raw.length; sent += piece.size()) {
      if (!::WriteFile(pipe_.client(), piece.data(), 60'000, &written, nullptr)) break;
    }
  });
  join();
  pipe_.closeServer();
  sender.join();
  EXPECT_EQ(log_.lines(), Lines{"[INF] KORVEL Antivirus: request read failed: not enough memory"});
}

TEST_F(DispatcherSession, ResultsTooLargeForAFrameEndItWithoutAReply) {
  engine_.results.resize(3);
  for (auto& threat : engine_.results) threat.name = std::string(12'000'000, 'n');
  test::send(pipe_.client(), test::frame(6));
  join();
  DWORD waiting = 1;
  EXPECT_TRUE(::PeekNamedPipe(pipe_.client(), nullptr, 0, nullptr, &waiting, nullptr));
  EXPECT_EQ(waiting, 0u);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(DispatcherSession, StopCutsShortAReplyThatIsNotRead) {
  engine_.results.resize(1);
  engine_.results[0].name = std::string(1'000'000, 'n');
  test::send(pipe_.client(), test::frame(6));
  // Some of the reply has come, so the rest is waiting for its reader.
  EXPECT_EQ(test::receive(pipe_.client(), 4), "LVRK");
  StopSignal::process().requestStop();
  join();
  EXPECT_FALSE(repliesWereWhole_);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(DispatcherSession, StopRequestIsAnsweredAndEndsIt) {
  EXPECT_EQ(ask(Opcode::kStopService), done(Opcode::kStopService));
  join();
  EXPECT_TRUE(repliesWereWhole_);
  EXPECT_TRUE(StopSignal::process().requested());
  EXPECT_EQ(::WaitForSingleObject(StopSignal::process().event(), 0), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(DispatcherSession, RequestsBehindAStopRequestAreNotServed) {
  test::send(pipe_.client(), test::frame(21) + test::frame(5));
  EXPECT_EQ(test::receiveFrame(pipe_.client()), done(Opcode::kStopService));
  join();
  EXPECT_EQ(engine_.calls, Lines{});
}

TEST_F(DispatcherSession, RequestsSentTogetherAreAnsweredInOrder) {
  test::send(pipe_.client(), test::frame(2) + test::frame(5) + test::frame(22));
  EXPECT_EQ(test::receiveFrame(pipe_.client()).opcode, 2u);
  EXPECT_EQ(test::receiveFrame(pipe_.client()).opcode, 5u);
  EXPECT_EQ(test::receiveFrame(pipe_.client()).opcode, 0xFFFFFFFFu);
}

TEST(DispatcherStop, ASessionThatBeginsAfterTheStopServesNothing) {
  const test::FreshStopSignal stopSignal;
  test::ScriptedEngine engine;
  const test::ConnectedPipe pipe;
  test::send(pipe.client(), test::frame(5));
  StopSignal::process().requestStop();
  handleClient(pipe.server(), engine);
  EXPECT_EQ(engine.calls, Lines{});
}

}  // namespace
}  // namespace korvel::ipc
