#include "server/pipe_end.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <cstring>
#include <thread>

#include "client/exchange.h"
#include "protocol/frame.h"
#include "protocol/wire.h"
#include "server/pipe_fixture.h"
#include "server/server_pipe.h"
#include "server/transfers.h"
#include "support/allocation_meter.h"

namespace korvel::ipc {
namespace {

using test::ConnectedPipe;
using test::RawFrame;

struct FrameRead {
  bool ok = false;
  uint32_t opcode = 0;
  std::string payload;
  std::string error;
  DWORD lastError = 0;
};

FrameRead read(const ConnectedPipe& pipe) {
  FrameRead result;
  result.ok = readFrame(pipe.server(), pipe.stopEvent(), &result.opcode, &result.payload, &result.error);
  result.lastError = ::GetLastError();
  return result;
}

/// What the service end may say of a client that has gone, depending on how the system reports it.
void expectGone(const FrameRead& result) {
  EXPECT_FALSE(result.ok);
  if (result.error != "connection closed") {
    EXPECT_EQ(result.error, "ReadFile failed (win32=109)");
    EXPECT_EQ(result.lastError, DWORD{ERROR_BROKEN_PIPE});
  }
}

TEST(ServerPipe, IsAByteModePipeOfUnlimitedInstancesAndLargeBuffers) {
  const UniqueHandle first(createServerPipe(PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED));
  const UniqueHandle second(createServerPipe(PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED));
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  DWORD flags = 0;
  DWORD out = 0;
  DWORD in = 0;
  DWORD instances = 0;
  ASSERT_TRUE(::GetNamedPipeInfo(first.get(), &flags, &out, &in, &instances));
  EXPECT_EQ(flags, DWORD{PIPE_SERVER_END | PIPE_TYPE_BYTE});
  EXPECT_EQ(out, 65'536u);
  EXPECT_EQ(in, 65'536u);
  // The number as it was asked for or, on some systems, as the kernel keeps it.
  EXPECT_TRUE(instances == PIPE_UNLIMITED_INSTANCES || instances == MAXDWORD) << instances;
}

TEST(ServerPipe, IsOpenToLocalSystemAndUsersOnly) {
  std::wstring asked;
  static std::wstring* seen = nullptr;
  seen = &asked;
  ServerCalls calls = ServerCalls::windows();
  calls.convertSddl = [](const wchar_t* sddl, PSECURITY_DESCRIPTOR* descriptor) -> BOOL {
    *seen = sddl;
    return ServerCalls::windows().convertSddl(sddl, descriptor);
  };
  const UniqueHandle pipe(createServerPipe(PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, calls));
  EXPECT_TRUE(pipe);
  EXPECT_EQ(asked, L"D:(A;;GA;;;SY)(A;;GA;;;BU)");
}

TEST(ServerPipe, IsAskedForWithExactlyThese) {
  ServerCalls calls = ServerCalls::windows();
  calls.createNamedPipe = [](const wchar_t* name, DWORD openMode, DWORD pipeMode, DWORD instances,
                             DWORD outBytes, DWORD inBytes, DWORD timeoutMs,
                             SECURITY_ATTRIBUTES* security) -> HANDLE {
    EXPECT_STREQ(name, L"\\\\.\\pipe\\KorvelAV");
    EXPECT_EQ(openMode, 0x40000003u);
    EXPECT_EQ(pipeMode, 0u);  // remote clients are not turned away
    EXPECT_EQ(instances, 255u);
    EXPECT_EQ(outBytes, 65'536u);
    EXPECT_EQ(inBytes, 65'536u);
    EXPECT_EQ(timeoutMs, 30'000u);
    EXPECT_EQ(security->nLength, sizeof *security);
    EXPECT_NE(security->lpSecurityDescriptor, nullptr);
    EXPECT_FALSE(security->bInheritHandle);
    ::SetLastError(ERROR_PIPE_BUSY);
    return INVALID_HANDLE_VALUE;
  };
  EXPECT_EQ(createServerPipe(0x40000003, calls), INVALID_HANDLE_VALUE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_PIPE_BUSY});
}

TEST(ServerPipe, RefusedDescriptorIsError1337) {
  ServerCalls calls = ServerCalls::windows();
  calls.convertSddl = [](const wchar_t*, PSECURITY_DESCRIPTOR*) -> BOOL {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  };
  EXPECT_EQ(createServerPipe(PIPE_ACCESS_DUPLEX, calls), INVALID_HANDLE_VALUE);
  EXPECT_EQ(::GetLastError(), 1337u);
}

TEST(ReadFrame, TakesOneFrameAndLeavesTheNext) {
  const ConnectedPipe pipe;
  RawFrame first;
  first.opcode = 7;
  first.length = 3;
  first.payload = "abc";
  first.reserved = "anything";
  test::send(pipe.client(), first.bytes() + test::frame(9));
  FrameRead result = read(pipe);
  EXPECT_TRUE(result.ok) << result.error;
  EXPECT_EQ(result.opcode, 7u);
  EXPECT_EQ(result.payload, "abc");
  result = read(pipe);
  EXPECT_TRUE(result.ok) << result.error;
  EXPECT_EQ(result.opcode, 9u);
  EXPECT_EQ(result.payload, "");
}

TEST(ReadFrame, PutsTogetherAFrameThatComesByteByByte) {
  const ConnectedPipe pipe;
  std::thread sender([&] {
    for (const char byte : test::frame(3, "payload")) {
      test::send(pipe.client(), std::string(1, byte));
      ::Sleep(1);
    }
  });
  const FrameRead result = read(pipe);
  sender.join();
  EXPECT_TRUE(result.ok) << result.error;
  EXPECT_EQ(result.payload, "payload");
}

TEST(ReadFrame, BadHeadersAreRefusedWithTheirTexts) {
  RawFrame magic;
  magic.magic = 0x4B52564D;
  RawFrame version;
  version.version = 2;
  RawFrame length;
  length.length = kMaxPayloadBytes + 1;
  const std::pair<RawFrame, const char*> cases[] = {{magic, "bad magic"},
                                                    {version, "unsupported protocol version"},
                                                    {length, "declared payload too large"}};
  for (const auto& [raw, text] : cases) {
    const ConnectedPipe pipe;
    test::send(pipe.client(), raw.bytes());
    const FrameRead result = read(pipe);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.error, text);
  }
}

TEST(ReadFrame, AnOlderBrokenPipeDoesNotHideABadHeader) {
  // Calls that succeed need not touch the last error; these never do.
  ServerCalls calls = ServerCalls::windows();
  calls.createEvent = [] {
    const LastErrorKeeper keep;
    return ServerCalls::windows().createEvent();
  };
  calls.readFile = [](HANDLE, void* buffer, DWORD bytes, OVERLAPPED* overlapped) -> BOOL {
    std::memset(buffer, 'x', bytes);
    overlapped->InternalHigh = bytes;
    return TRUE;
  };
  calls.waitForEither = [](HANDLE, HANDLE) -> DWORD { return WAIT_OBJECT_0; };
  calls.getOverlappedResult = [](HANDLE, OVERLAPPED* overlapped, DWORD* transferred, BOOL) -> BOOL {
    *transferred = static_cast<DWORD>(overlapped->InternalHigh);
    return TRUE;
  };
  uint32_t opcode = 0;
  std::string payload;
  std::string error;
  ::SetLastError(ERROR_BROKEN_PIPE);
  EXPECT_FALSE(readFrame(nullptr, nullptr, &opcode, &payload, &error, calls));
  EXPECT_NE(::GetLastError(), DWORD{ERROR_BROKEN_PIPE});
  EXPECT_EQ(error, "bad magic");
}

TEST(ReadFrame, ClientThatLeavesBeforeInOrAfterTheHeaderIsGone) {
  const std::string bytes = test::frame(3, "payload");
  for (const size_t sent : {size_t{0}, size_t{1}, size_t{23}, size_t{24}, bytes.size() - 1}) {
    ConnectedPipe pipe;
    test::send(pipe.client(), bytes.substr(0, sent));
    pipe.closeClient();
    expectGone(read(pipe));
  }
}

TEST(ReadFrame, StopEndsItBeforeInAndAfterTheHeader) {
  const std::string bytes = test::frame(3, "payload");
  for (const size_t sent : {size_t{0}, size_t{12}, size_t{24}, bytes.size() - 1}) {
    ConnectedPipe pipe;
    test::send(pipe.client(), bytes.substr(0, sent));
    std::thread stopper([&] {
      ::Sleep(20);
      pipe.stop();
    });
    const FrameRead result = read(pipe);
    stopper.join();
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.error, "stopping");
    EXPECT_EQ(result.lastError, DWORD{ERROR_OPERATION_ABORTED});
  }
}

TEST(ReadFrame, DeclaredBytesThatDoNotComeCostNoMemory) {
  ConnectedPipe pipe;
  RawFrame raw;
  raw.length = kMaxPayloadBytes;
  test::send(pipe.client(), raw.bytes() + std::string(1000, 'x'));
  pipe.closeClient();
  const test::AllocationMeter meter;
  expectGone(read(pipe));
  EXPECT_LE(meter.bytes(), 4u * kIoChunkBytes);
}

TEST(Frames, OfExactlyThirtyTwoMebibytesPassInBothDirections) {
  const ConnectedPipe pipe;
  std::string sent(kMaxPayloadBytes, '\0');
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i % 251);
  FrameRead request;
  bool replied = false;
  std::thread server([&] {
    request = read(pipe);
    replied = writeFrame(pipe.server(), pipe.stopEvent(), request.opcode + 1, request.payload, nullptr);
  });
  uint32_t opcode = 0;
  std::string reply;
  std::string error;
  EXPECT_TRUE(transact(pipe.client(), 4, sent, &opcode, &reply, &error)) << error;
  server.join();
  EXPECT_TRUE(request.ok) << request.error;
  EXPECT_TRUE(replied);
  EXPECT_TRUE(request.payload == sent);
  EXPECT_TRUE(reply == sent);
  EXPECT_EQ(opcode, 5u);
}

TEST(Frames, OfOneByteMoreAreRefusedBeforeAnythingIsWritten) {
  ConnectedPipe pipe;
  const std::string payload(size_t{kMaxPayloadBytes} + 1, 'x');
  std::string error;
  EXPECT_FALSE(writeFrame(pipe.server(), pipe.stopEvent(), 1, payload, &error));
  EXPECT_EQ(error, "payload too large");
  EXPECT_FALSE(writeFrame(pipe.server(), pipe.stopEvent(), 1, payload, nullptr));

  error.clear();
  uint32_t opcode = 0;
  std::string reply;
  EXPECT_FALSE(transact(pipe.client(), 1, payload, &opcode, &reply, &error));
  EXPECT_EQ(error, "payload too large");
  DWORD waiting = 1;
  EXPECT_TRUE(::PeekNamedPipe(pipe.server(), nullptr, 0, nullptr, &waiting, nullptr));
  EXPECT_EQ(waiting, 0u);
  EXPECT_TRUE(::PeekNamedPipe(pipe.client(), nullptr, 0, nullptr, &waiting, nullptr));
  EXPECT_EQ(waiting, 0u);
}

TEST(WriteFrame, StopEndsAReplyThatTheClientDoesNotRead) {
  ConnectedPipe pipe;
  std::thread stopper([&] {
    ::Sleep(50);
    pipe.stop();
  });
  std::string error;
  EXPECT_FALSE(writeFrame(pipe.server(), pipe.stopEvent(), 6, std::string(1'000'000, 'x'), &error));
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_OPERATION_ABORTED});
  stopper.join();
  EXPECT_EQ(error, "stopping");
}

TEST(WriteFrame, ToAClientThatHasGoneFailsWithItsCode) {
  ConnectedPipe pipe;
  pipe.closeClient();
  std::string error;
  EXPECT_FALSE(writeFrame(pipe.server(), pipe.stopEvent(), 6, "x", &error));
  const DWORD code = ::GetLastError();
  EXPECT_EQ(error, "WriteFile failed (win32=" + std::to_string(code) + ")");
}

}  // namespace
}  // namespace korvel::ipc
