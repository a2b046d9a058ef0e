#include "client/service_pipe.h"

#include <gtest/gtest.h>

#include <thread>

#include "client/exchange.h"
#include "protocol/wire.h"
#include "server/pipe_fixture.h"
#include "server/transfers.h"
#include "support/open_watch.h"

namespace korvel::ipc {
namespace {

using test::ConnectedPipe;
using test::RawFrame;

TEST(ConnectServicePipe, TellsAServerNothingAboutItsAccount) {
  const test::OpenWatch watch;
  EXPECT_EQ(connectServicePipe(nullptr, /*timeoutMs=*/0), nullptr);  // no service runs here
  EXPECT_TRUE(watch.allAnonymous(kPipeName));
}

TEST(Transact, SendsOneFrameAndReturnsTheReply) {
  const ConnectedPipe pipe;
  Frame request;
  std::thread server([&] {
    std::string error;
    EXPECT_TRUE(readFrame(pipe.server(), pipe.stopEvent(), &request.opcode, &request.payload, &error))
        << error;
    writeFrame(pipe.server(), pipe.stopEvent(), 0xFFFFFFFF, "answer", nullptr);
  });
  uint32_t opcode = 0;
  std::string reply = "old content";
  std::string error;
  EXPECT_TRUE(transact(pipe.client(), 12, "question", &opcode, &reply, &error)) << error;
  server.join();
  EXPECT_EQ(request.opcode, 12u);
  EXPECT_EQ(request.payload, "question");
  EXPECT_EQ(opcode, 0xFFFFFFFFu);
  EXPECT_EQ(reply, "answer");
}

TEST(Transact, RefusesReplyHeadersWithPlainTexts) {
  RawFrame magic;
  magic.magic = 0;
  RawFrame version;
  version.version = 0;
  RawFrame length;
  length.length = 0xFFFFFFFF;
  const std::pair<RawFrame, const char*> cases[] = {{magic, "bad magic"},
                                                    {version, "unsupported protocol version"},
                                                    {length, "declared payload too large"}};
  for (const auto& [raw, text] : cases) {
    const ConnectedPipe pipe;
    pipe.serverSends(raw.bytes());
    uint32_t opcode = 0;
    std::string reply;
    std::string error;
    EXPECT_FALSE(transact(pipe.client(), 2, {}, &opcode, &reply, &error));
    EXPECT_EQ(error, text);
  }
}

TEST(Transact, HangUpAnywhereInTheReplyIsAClosedConnectionWithItsCode) {
  const std::string bytes = test::frame(2, "1234");
  for (const size_t sent : {size_t{0}, size_t{1}, size_t{24}, bytes.size() - 1}) {
    ConnectedPipe pipe;
    pipe.serverSends(bytes.substr(0, sent));
    std::thread hangUp([&] {
      ::Sleep(20);
      pipe.closeServer();
    });
    uint32_t opcode = 0;
    std::string reply;
    std::string error;
    EXPECT_FALSE(transact(pipe.client(), 2, {}, &opcode, &reply, &error));
    const DWORD code = ::GetLastError();
    hangUp.join();
    EXPECT_EQ(error, "connection closed (win32=" + std::to_string(code) + ")");
    EXPECT_NE(code, 0u);
  }
}

TEST(Transact, WritingToAServiceThatHasGoneFailsWithItsCode) {
  ConnectedPipe pipe;
  pipe.closeServer();
  uint32_t opcode = 0;
  std::string reply;
  std::string error;
  EXPECT_FALSE(transact(pipe.client(), 2, {}, &opcode, &reply, &error));
  EXPECT_EQ(error, "WriteFile failed (win32=" + std::to_string(::GetLastError()) + ")");
}

// With a scripted system instead of a service.

struct Exchange {
  bool ok = false;
  std::string error;
};

Exchange exchange(const ClientCalls& calls) {
  Exchange result;
  uint32_t opcode = 0;
  std::string reply;
  ::SetLastError(ERROR_SUCCESS);
  result.ok = transact(nullptr, 2, "request", &opcode, &reply, &result.error, calls);
  return result;
}

BOOL writeAll(HANDLE, const void*, DWORD bytes, DWORD* transferred) {
  *transferred = bytes;
  return TRUE;
}

TEST(TransactFaults, WriteThatFailsOrWritesNothing) {
  ClientCalls calls = ClientCalls::windows();
  calls.writeFile = [](HANDLE, const void*, DWORD, DWORD*) -> BOOL {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  };
  EXPECT_EQ(exchange(calls).error, "WriteFile failed (win32=5)");
  calls.writeFile = [](HANDLE, const void*, DWORD, DWORD* transferred) -> BOOL {
    *transferred = 0;
    ::SetLastError(ERROR_DISK_FULL);
    return TRUE;
  };
  EXPECT_EQ(exchange(calls).error, "WriteFile failed (win32=112)");
}

TEST(TransactFaults, PayloadIsWrittenAfterTheHeaderAndFailsAlike) {
  ClientCalls calls = ClientCalls::windows();
  calls.writeFile = [](HANDLE, const void*, DWORD bytes, DWORD* transferred) -> BOOL {
    *transferred = bytes;
    ::SetLastError(ERROR_NO_DATA);
    return bytes == kFrameHeaderBytes;
  };
  EXPECT_EQ(exchange(calls).error, "WriteFile failed (win32=232)");
}

TEST(TransactFaults, ReadThatFailsWithBytesIsAFailedRead) {
  ClientCalls calls = ClientCalls::windows();
  calls.writeFile = writeAll;
  calls.readFile = [](HANDLE, void*, DWORD, DWORD* transferred) -> BOOL {
    *transferred = 3;
    ::SetLastError(ERROR_CRC);
    return FALSE;
  };
  EXPECT_EQ(exchange(calls).error, "ReadFile failed (win32=23)");
}

TEST(TransactFaults, ReadWithoutBytesIsAClosedConnectionWhetherItFailsOrNot) {
  ClientCalls calls = ClientCalls::windows();
  calls.writeFile = writeAll;
  calls.readFile = [](HANDLE, void*, DWORD, DWORD* transferred) -> BOOL {
    *transferred = 0;
    ::SetLastError(ERROR_BROKEN_PIPE);
    return FALSE;
  };
  EXPECT_EQ(exchange(calls).error, "connection closed (win32=109)");
  calls.readFile = [](HANDLE, void*, DWORD, DWORD* transferred) -> BOOL {
    *transferred = 0;
    ::SetLastError(ERROR_HANDLE_EOF);
    return TRUE;
  };
  EXPECT_EQ(exchange(calls).error, "connection closed (win32=38)");
}

}  // namespace
}  // namespace korvel::ipc
