// The failures that no real pipe shows on demand: each system call of a transfer fails in turn.
#include <gtest/gtest.h>

#include <thread>

#include "protocol/frame.h"
#include "protocol/wire.h"
#include "server/pipe_fixture.h"
#include "server/server_pipe.h"
#include "server/transfers.h"

namespace korvel::ipc {
namespace {

using test::ConnectedPipe;

/// The real calls, counted, one of which the test replaces.
class PipeFaults : public testing::Test {
 protected:
  void SetUp() override {
    chunkSizes.clear();
    events = 0;
  }

  bool readBytes(size_t n) {
    buffer_.assign(n, '\0');
    ::SetLastError(ERROR_SUCCESS);
    return readExact(pipe_.server(), buffer_.data(), n, pipe_.stopEvent(), &error_, calls_);
  }
  bool writeBytes(size_t n) {
    buffer_.assign(n, 'x');
    ::SetLastError(ERROR_SUCCESS);
    return writeExact(pipe_.server(), buffer_.data(), n, pipe_.stopEvent(), &error_, calls_);
  }

  static std::vector<DWORD> chunkSizes;
  static int events;  // made by the calls under test

  ConnectedPipe pipe_;
  ServerCalls calls_ = ServerCalls::windows();
  std::string buffer_;
  std::string error_;
};
std::vector<DWORD> PipeFaults::chunkSizes;
int PipeFaults::events = 0;

HANDLE noEvent() {
  ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);
  return nullptr;
}
BOOL readDenied(HANDLE, void*, DWORD, OVERLAPPED*) {
  ::SetLastError(ERROR_ACCESS_DENIED);
  return FALSE;
}
BOOL writeDenied(HANDLE, const void*, DWORD, OVERLAPPED*) {
  ::SetLastError(ERROR_ACCESS_DENIED);
  return FALSE;
}
BOOL resultFails(HANDLE pipe, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait) {
  (void)ServerCalls::windows().getOverlappedResult(pipe, overlapped, transferred, wait);
  ::SetLastError(ERROR_CRC);
  return FALSE;
}
BOOL resultAborted(HANDLE pipe, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait) {
  (void)ServerCalls::windows().getOverlappedResult(pipe, overlapped, transferred, wait);
  ::SetLastError(ERROR_OPERATION_ABORTED);
  return FALSE;
}
BOOL resultOfNoBytes(HANDLE pipe, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait) {
  (void)ServerCalls::windows().getOverlappedResult(pipe, overlapped, transferred, wait);
  *transferred = 0;
  return TRUE;
}
DWORD waitFails(HANDLE, HANDLE) {
  ::SetLastError(ERROR_INVALID_HANDLE);
  return WAIT_FAILED;
}
DWORD waitAbandoned(HANDLE, HANDLE) { return WAIT_ABANDONED_0; }

TEST_F(PipeFaults, NothingToTransferSucceedsWithoutACall) {
  calls_.createEvent = noEvent;
  EXPECT_TRUE(readBytes(0));
  EXPECT_TRUE(writeBytes(0));
}

TEST_F(PipeFaults, NoEvent) {
  calls_.createEvent = noEvent;
  EXPECT_FALSE(readBytes(1));
  EXPECT_EQ(::GetLastError(), 1450u);
  EXPECT_EQ(error_, "CreateEvent failed (win32=1450)");
  error_.clear();
  EXPECT_FALSE(writeBytes(1));
  EXPECT_EQ(::GetLastError(), 1450u);
  EXPECT_EQ(error_, "CreateEvent failed (win32=1450)");
}

TEST_F(PipeFaults, TransferThatCannotBeStarted) {
  calls_.readFile = readDenied;
  calls_.writeFile = writeDenied;
  EXPECT_FALSE(readBytes(1));
  EXPECT_EQ(::GetLastError(), 5u);
  EXPECT_EQ(error_, "ReadFile failed (win32=5)");
  EXPECT_FALSE(writeBytes(1));
  EXPECT_EQ(::GetLastError(), 5u);
  EXPECT_EQ(error_, "WriteFile failed (win32=5)");
}

TEST_F(PipeFaults, WaitThatFailsKeepsItsCodeAndLeavesNothingPending) {
  calls_.waitForEither = waitFails;
  EXPECT_FALSE(readBytes(1));
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_EQ(error_, "ReadFile failed (win32=6)");
  // A read left behind would swallow this byte.
  calls_ = ServerCalls::windows();
  test::send(pipe_.client(), "y");
  EXPECT_TRUE(readBytes(1));
  EXPECT_EQ(buffer_, "y");
}

TEST_F(PipeFaults, WaitThatEndsInAnyOtherWayIsError31) {
  calls_.waitForEither = waitAbandoned;
  EXPECT_FALSE(readBytes(1));
  EXPECT_EQ(::GetLastError(), 31u);
  EXPECT_EQ(error_, "ReadFile failed (win32=31)");
  EXPECT_FALSE(writeBytes(1));
  EXPECT_EQ(::GetLastError(), 31u);
  EXPECT_EQ(error_, "WriteFile failed (win32=31)");
}

TEST_F(PipeFaults, ResultThatFails) {
  calls_.getOverlappedResult = resultFails;
  test::send(pipe_.client(), "y");
  EXPECT_FALSE(readBytes(1));
  EXPECT_EQ(::GetLastError(), 23u);
  EXPECT_EQ(error_, "ReadFile failed (win32=23)");
  EXPECT_FALSE(writeBytes(1));
  EXPECT_EQ(::GetLastError(), 23u);
  EXPECT_EQ(error_, "WriteFile failed (win32=23)");
}

TEST_F(PipeFaults, ATransferAbortedByWhomeverCountsAsStopping) {
  calls_.getOverlappedResult = resultAborted;
  EXPECT_FALSE(writeBytes(1));
  EXPECT_EQ(::GetLastError(), 995u);
  EXPECT_EQ(error_, "stopping");
}

TEST_F(PipeFaults, ChunkOfNoBytesIsAPlainClosedConnection) {
  calls_.getOverlappedResult = resultOfNoBytes;
  test::send(pipe_.client(), "y");
  EXPECT_FALSE(readBytes(1));
  EXPECT_EQ(error_, "connection closed");
  error_.clear();
  EXPECT_FALSE(writeBytes(1));
  EXPECT_EQ(error_, "connection closed");
}

TEST_F(PipeFaults, TheErrorTextIsOptional) {
  calls_.readFile = readDenied;
  char byte = 0;
  EXPECT_FALSE(readExact(pipe_.server(), &byte, 1, pipe_.stopEvent(), nullptr, calls_));
  EXPECT_EQ(::GetLastError(), 5u);
}

TEST_F(PipeFaults, TransfersGoInChunksOfAtMostSixtyFourKibibytes) {
  calls_.writeFile = [](HANDLE pipe, const void* buffer, DWORD bytes, OVERLAPPED* overlapped) {
    chunkSizes.push_back(bytes);
    return ServerCalls::windows().writeFile(pipe, buffer, bytes, overlapped);
  };
  std::string received;
  std::thread client([&] { received = test::receive(pipe_.client(), 2 * 65'536 + 1); });
  EXPECT_TRUE(writeBytes(2 * 65'536 + 1)) << error_;
  client.join();
  EXPECT_EQ(chunkSizes, (std::vector<DWORD>{65'536, 65'536, 1}));
  EXPECT_EQ(received, buffer_);
}

TEST_F(PipeFaults, EveryChunkHasAnEventOfItsOwn) {
  calls_.createEvent = [] {
    ++events;
    return ServerCalls::windows().createEvent();
  };
  std::thread client([&] { (void)test::receive(pipe_.client(), 2 * 65'536 + 1); });
  EXPECT_TRUE(writeBytes(2 * 65'536 + 1)) << error_;
  client.join();
  EXPECT_EQ(events, 3);
}

TEST_F(PipeFaults, AFrameThatFitsIntoOneChunkGoesOutInOneWrite) {
  calls_.writeFile = [](HANDLE pipe, const void* buffer, DWORD bytes, OVERLAPPED* overlapped) {
    chunkSizes.push_back(bytes);
    return ServerCalls::windows().writeFile(pipe, buffer, bytes, overlapped);
  };
  std::thread client([this] {
    for (int frames = 0; frames < 4; ++frames) (void)test::receiveFrame(pipe_.client());
  });
  constexpr DWORD kMost = kIoChunkBytes - kFrameHeaderBytes;
  for (const DWORD size : {DWORD{0}, DWORD{4}, kMost, kMost + 1}) {
    EXPECT_TRUE(writeFrame(pipe_.server(), pipe_.stopEvent(), 2, std::string(size, 'x'), &error_, calls_));
  }
  client.join();
  EXPECT_EQ(chunkSizes, (std::vector<DWORD>{24, 28, kIoChunkBytes, 24, kMost + 1}));
}

TEST_F(PipeFaults, ASignalledStopEndsTheWaitButNotAChunkThatIsComplete) {
  pipe_.stop();
  test::send(pipe_.client(), "y");
  EXPECT_TRUE(readBytes(1)) << error_;
  EXPECT_FALSE(readBytes(1));
  EXPECT_EQ(error_, "stopping");
}

}  // namespace
}  // namespace korvel::ipc
