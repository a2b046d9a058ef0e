#include "server/pipe_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "protocol/frame.h"
#include "protocol/messages.h"
#include "protocol/wire.h"
#include "runtime/stop_signal.h"
#include "server/pipe_fixture.h"
#include "server/scripted_engine.h"
#include "server/server_pipe.h"
#include "support/eventually.h"

namespace korvel::ipc {
namespace {

using test::openPipe;
using test::tryOpenPipe;
using Lines = std::vector<std::string>;

const char kConnected[] = "[INF] KORVEL Antivirus: client connected";
const char kDisconnected[] = "[INF] KORVEL Antivirus: client disconnected";

class PipeServer : public testing::Test {
 protected:
  PipeServer() {
    sleeps = 0;
    faults = 0;
  }
  ~PipeServer() override { stop(); }

  void start() {
    server_ = std::thread([this] { runPipeServer(engine_, calls_); });
  }
  void stop() {
    StopSignal::process().requestStop();
    join();
  }
  void join() {
    if (server_.joinable()) server_.join();
  }
  /// Waits until the log has at least `count` lines.
  void waitForLines(size_t count) {
    while (log_.lines().size() < count) ::Sleep(5);
  }

  static std::atomic<int> sleeps;  // pauses of the server, taken without waiting
  static std::atomic<int> faults;  // calls that were made to fail

  test::LogCapture log_;
  test::FreshStopSignal stopSignal_;
  test::ScriptedEngine engine_;
  ServerCalls calls_ = ServerCalls::windows();
  std::thread server_;
};
std::atomic<int> PipeServer::sleeps;
std::atomic<int> PipeServer::faults;

test::ReceivedFrame ask(HANDLE pipe, uint32_t opcode) {
  test::send(pipe, test::frame(opcode));
  return test::receiveFrame(pipe);
}

TEST_F(PipeServer, ReturnsAtOnceWhenTheStopWasRequestedBefore) {
  calls_.createEvent = []() -> HANDLE {
    ++faults;
    return nullptr;
  };
  StopSignal::process().requestStop();
  runPipeServer(engine_, calls_);
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(PipeServer, StopWithoutAClientEndsItWithoutALogLine) {
  start();
  while (!::WaitNamedPipeW(kPipeName, 50)) ::Sleep(1);
  stop();
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_FALSE(tryOpenPipe());
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(PipeServer, ServesOneClientAfterTheOther) {
  start();
  for (int client = 0; client < 2; ++client) {
    const UniqueHandle pipe = openPipe();
    EXPECT_EQ(ask(pipe.get(), 2).opcode, 2u);
  }
  waitForLines(4);
  EXPECT_EQ(log_.lines(), (Lines{kConnected, kDisconnected, kConnected, kDisconnected}));
}

TEST_F(PipeServer, ASilentClientKeepsTheNextOneWaiting) {
  start();
  UniqueHandle silent = openPipe();
  waitForLines(1);
  EXPECT_FALSE(tryOpenPipe());
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_PIPE_BUSY});
  EXPECT_FALSE(::WaitNamedPipeW(kPipeName, 200));
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_SEM_TIMEOUT});

  std::thread second([] {
    const UniqueHandle pipe = openPipe();
    EXPECT_EQ(ask(pipe.get(), 2).opcode, 2u);
  });
  silent.reset();
  second.join();
}

TEST_F(PipeServer, ThePipeExistsBetweenTwoClients) {
  start();
  UniqueHandle pipe = openPipe();
  for (int client = 0; client < 50; ++client) {
    EXPECT_EQ(ask(pipe.get(), 2).opcode, 2u);
    pipe.reset();
    for (pipe = tryOpenPipe(); !pipe; pipe = tryOpenPipe()) {
      ASSERT_EQ(::GetLastError(), DWORD{ERROR_PIPE_BUSY}) << "the pipe was gone";
    }
  }
}

TEST_F(PipeServer, StopWhileAClientIsSilentEndsBoth) {
  start();
  const UniqueHandle pipe = openPipe();
  waitForLines(1);
  stop();
  EXPECT_EQ(log_.lines(), (Lines{kConnected, kDisconnected}));
  char byte = 0;
  DWORD got = 0;
  EXPECT_FALSE(::ReadFile(pipe.get(), &byte, 1, &got, nullptr));
}

TEST_F(PipeServer, ABadFrameEndsOnlyItsOwnSession) {
  start();
  {
    const UniqueHandle bad = openPipe();
    test::send(bad.get(), std::string(24, 'x'));
    test::drain(bad.get());
  }
  const UniqueHandle good = openPipe();
  EXPECT_EQ(ask(good.get(), 2).opcode, 2u);
  EXPECT_EQ(log_.lines(), (Lines{kConnected, "[INF] KORVEL Antivirus: request read failed: bad magic",
                                 kDisconnected, kConnected}));
}

TEST_F(PipeServer, StopRequestIsAnsweredThenThereIsNoPipe) {
  start();
  const UniqueHandle pipe = openPipe();
  EXPECT_EQ(ask(pipe.get(), 21), (test::ReceivedFrame{21, ""}));
  join();
  EXPECT_FALSE(tryOpenPipe());
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(log_.lines(), (Lines{kConnected, kDisconnected}));
}

TEST_F(PipeServer, TheAnswerToAStopReachesAClientThatReadsItLate) {
  start();
  const UniqueHandle pipe = openPipe();
  test::send(pipe.get(), test::frame(21));
  while (!StopSignal::process().requested()) ::Sleep(1);
  ::Sleep(300);
  EXPECT_EQ(test::receiveFrame(pipe.get()), (test::ReceivedFrame{21, ""}));
}

TEST_F(PipeServer, ALateReaderAlsoGetsTheReplyBeforeABadFrame) {
  start();
  const UniqueHandle pipe = openPipe();
  test::send(pipe.get(), test::frame(5) + std::string(24, 'x'));
  waitForLines(2);
  ::Sleep(100);
  EXPECT_EQ(test::receiveFrame(pipe.get()), (test::ReceivedFrame{5, ""}));
}

HANDLE noThread(LPTHREAD_START_ROUTINE, void*) {
  ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}

TEST_F(PipeServer, TheAnswerToAStopReachesALateReaderEvenWithoutAThreadForTheFlush) {
  calls_.createThread = noThread;
  start();
  const UniqueHandle pipe = openPipe();
  test::send(pipe.get(), test::frame(21));
  while (!StopSignal::process().requested()) ::Sleep(1);
  ::Sleep(300);
  EXPECT_EQ(test::receiveFrame(pipe.get()), (test::ReceivedFrame{21, ""}));
}

TEST_F(PipeServer, AClientThatNeverReadsDoesNotHoldUpTheStopWithoutAThreadEither) {
  calls_.createThread = noThread;
  calls_.sleep = [](DWORD) { ++sleeps; };
  start();
  const UniqueHandle pipe = openPipe();
  test::send(pipe.get(), test::frame(21));
  join();
  EXPECT_EQ(sleeps, 100);  // one second in pauses of 10 ms
  EXPECT_EQ(log_.lines(), (Lines{kConnected, kDisconnected}));
}

TEST_F(PipeServer, WithoutAThreadTheNextClientIsServedAsSoonAsOneHasGone) {
  calls_.createThread = noThread;
  start();
  EXPECT_EQ(ask(openPipe().get(), 2).opcode, 2u);
  EXPECT_EQ(ask(openPipe().get(), 2).opcode, 2u);
}

TEST_F(PipeServer, AClientThatNeverReadsDoesNotHoldUpTheStop) {
  start();
  const UniqueHandle pipe = openPipe();
  test::send(pipe.get(), test::frame(21));
  join();
  EXPECT_EQ(log_.lines(), (Lines{kConnected, kDisconnected}));
}

/// Results whose reply fills the pipe up to less than one header.
std::vector<ThreatRecord> resultsThatFillThePipe() {
  std::vector<ThreatRecord> results(1);
  results[0].name = std::string(65'536 - 24 - 10 - encodeResults(results).size(), 'n');
  return results;
}

TEST_F(PipeServer, NeitherDoesOneThatHasFilledThePipeWithUnreadReplies) {
  engine_.results = resultsThatFillThePipe();
  start();
  const UniqueHandle pipe = openPipe();
  test::send(pipe.get(), test::frame(6) + test::frame(21));
  join();
  EXPECT_EQ(log_.lines(), (Lines{kConnected, kDisconnected}));
}

TEST_F(PipeServer, TheAnswerToAStopWaitsForRoomInThePipe) {
  engine_.results = resultsThatFillThePipe();
  start();
  const UniqueHandle pipe = openPipe();
  test::send(pipe.get(), test::frame(6) + test::frame(21));
  while (!StopSignal::process().requested()) ::Sleep(1);
  ::Sleep(300);
  EXPECT_EQ(test::receiveFrame(pipe.get()).opcode, 6u);
  EXPECT_EQ(test::receiveFrame(pipe.get()), (test::ReceivedFrame{21, ""}));
}

TEST_F(PipeServer, APipeThatCannotBeCreatedIsReportedAndTriedAgain) {
  static std::atomic<bool>* released = nullptr;
  std::atomic<bool> free{false};
  released = &free;
  calls_.sleep = [](DWORD milliseconds) {
    EXPECT_EQ(milliseconds, 1000u);
    ++sleeps;
    while (sleeps == 2 && !*released) ::Sleep(1);
  };
  // Another owner of the name allows only one instance.
  UniqueHandle other(::CreateNamedPipeW(kPipeName, PIPE_ACCESS_DUPLEX, 0, 1, 0, 0, 0, nullptr));
  ASSERT_TRUE(other);
  ASSERT_EQ(createServerPipe(PIPE_ACCESS_DUPLEX), INVALID_HANDLE_VALUE);
  const std::string line = "[ERR] CreateNamedPipe failed, win32=" + std::to_string(::GetLastError());
  start();
  while (sleeps < 2) ::Sleep(1);
  other.reset();
  free = true;
  const UniqueHandle pipe = openPipe();
  EXPECT_EQ(ask(pipe.get(), 2).opcode, 2u);
  EXPECT_EQ(log_.lines(), (Lines{line, line, kConnected}));
}

class PipeInstances : public PipeServer {
 protected:
  PipeInstances() {
    created = 0;
    calls_.createNamedPipe = [](const wchar_t* name, DWORD openMode, DWORD pipeMode, DWORD instances,
                                DWORD outBytes, DWORD inBytes, DWORD timeoutMs,
                                SECURITY_ATTRIBUTES* security) -> HANDLE {
      ++created;
      EXPECT_EQ(openMode, 0x40000003u);
      return ServerCalls::windows().createNamedPipe(name, openMode, pipeMode, instances, outBytes, inBytes,
                                                    timeoutMs, security);
    };
  }

  static std::atomic<int> created;
};
std::atomic<int> PipeInstances::created;

// Another process may have made the pipe first: its name is shared, not claimed.
TEST_F(PipeInstances, AreOpenedAlikeTheFirstOneIncluded) {
  start();
  EXPECT_EQ(ask(openPipe().get(), 2).opcode, 2u);
  EXPECT_EQ(ask(openPipe().get(), 2).opcode, 2u);
  EXPECT_TRUE(test::eventually([] { return created == 3; }));
  stop();
  EXPECT_EQ(created, 3);
}

TEST_F(PipeInstances, AreNotMadeOnceAStopIsRequested) {
  start();
  UniqueHandle pipe = openPipe();
  EXPECT_EQ(ask(pipe.get(), 21), (test::ReceivedFrame{21, ""}));
  pipe.reset();
  join();
  EXPECT_EQ(created, 1);
}

TEST_F(PipeInstances, AreNotMadeOnceAStopEndsASession) {
  start();
  const UniqueHandle pipe = openPipe();
  EXPECT_EQ(ask(pipe.get(), 2).opcode, 2u);
  stop();
  EXPECT_EQ(created, 1);
}

TEST_F(PipeServer, ARefusedDescriptorIsReportedAsError1337) {
  calls_.convertSddl = [](const wchar_t* sddl, PSECURITY_DESCRIPTOR* descriptor) -> BOOL {
    return ++faults == 1 ? FALSE : ServerCalls::windows().convertSddl(sddl, descriptor);
  };
  calls_.sleep = [](DWORD) { ++sleeps; };
  start();
  EXPECT_EQ(ask(openPipe().get(), 2).opcode, 2u);
  waitForLines(3);
  EXPECT_EQ(log_.lines(), (Lines{"[ERR] CreateNamedPipe failed, win32=1337", kConnected, kDisconnected}));
  EXPECT_EQ(sleeps, 1);
}

TEST_F(PipeServer, StopEndsTheTriesToCreateAPipe) {
  calls_.convertSddl = [](const wchar_t*, PSECURITY_DESCRIPTOR*) -> BOOL { return FALSE; };
  calls_.sleep = [](DWORD) { StopSignal::process().requestStop(); };
  runPipeServer(engine_, calls_);
  EXPECT_EQ(log_.lines(), Lines{"[ERR] CreateNamedPipe failed, win32=1337"});
}

TEST_F(PipeServer, AFailedConnectIsReportedAndFollowedByANewInstanceWithoutAPause) {
  calls_.connectNamedPipe = [](HANDLE pipe, OVERLAPPED* overlapped) -> BOOL {
    if (++faults > 2) return ServerCalls::windows().connectNamedPipe(pipe, overlapped);
    ::SetLastError(ERROR_NO_DATA);
    return FALSE;
  };
  calls_.sleep = [](DWORD) { ++sleeps; };
  start();
  while (faults < 3) ::Sleep(1);  // until then the instance of a failed call may still be there
  EXPECT_EQ(ask(openPipe().get(), 2).opcode, 2u);
  waitForLines(4);
  EXPECT_EQ(log_.lines(), (Lines{"[ERR] ConnectNamedPipe failed, win32=232",
                                 "[ERR] ConnectNamedPipe failed, win32=232", kConnected, kDisconnected}));
  EXPECT_EQ(sleeps, 0);
}

TEST_F(PipeServer, AClientThatCameBeforeTheConnectIsServed) {
  for (const bool reportedAsFailure : {false, true}) {
    static bool failure = false;
    failure = reportedAsFailure;
    calls_.connectNamedPipe = [](HANDLE pipe, OVERLAPPED* overlapped) -> BOOL {
      // The real call has seen the client; its result depends on whether the client came before it.
      if (!ServerCalls::windows().connectNamedPipe(pipe, overlapped) &&
          ::GetLastError() == ERROR_IO_PENDING) {
        ::WaitForSingleObject(overlapped->hEvent, INFINITE);
      }
      ::SetLastError(failure ? ERROR_PIPE_CONNECTED : ERROR_SUCCESS);
      return failure ? FALSE : TRUE;
    };
    const test::FreshStopSignal fresh;
    start();
    UniqueHandle pipe = openPipe();
    EXPECT_EQ(ask(pipe.get(), 21), (test::ReceivedFrame{21, ""}));
    pipe.reset();
    join();
  }
  EXPECT_EQ(log_.lines(), (Lines{kConnected, kDisconnected, kConnected, kDisconnected}));
}

TEST_F(PipeServer, AConnectThatFailsLateIsFollowedByANewInstanceSilently) {
  calls_.getOverlappedResult = [](HANDLE pipe, OVERLAPPED* overlapped, DWORD* transferred,
                                  BOOL wait) -> BOOL {
    const BOOL ok = ServerCalls::windows().getOverlappedResult(pipe, overlapped, transferred, wait);
    return ++faults == 1 ? FALSE : ok;
  };
  static std::atomic<bool> listening;
  listening = false;
  calls_.connectNamedPipe = [](HANDLE pipe, OVERLAPPED* overlapped) -> BOOL {
    const BOOL ok = ServerCalls::windows().connectNamedPipe(pipe, overlapped);
    listening = true;
    return ok;
  };
  start();
  while (!listening) ::Sleep(1);
  test::drain(openPipe().get());  // the one that is dropped
  const UniqueHandle pipe = openPipe();
  EXPECT_EQ(ask(pipe.get(), 2).opcode, 2u);
  EXPECT_EQ(log_.lines(), Lines{kConnected});
}

TEST_F(PipeServer, WithoutAnEventItReturnsSilently) {
  calls_.createEvent = []() -> HANDLE { return nullptr; };
  runPipeServer(engine_, calls_);
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_FALSE(tryOpenPipe());
}

TEST_F(PipeServer, AFailedWaitForAClientEndsIt) {
  calls_.waitForEither = [](HANDLE, HANDLE) -> DWORD { return WAIT_FAILED; };
  runPipeServer(engine_, calls_);
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_FALSE(tryOpenPipe());
}

}  // namespace
}  // namespace korvel::ipc
