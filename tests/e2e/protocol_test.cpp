// Frames on the pipe, good and bad, and clients that take turns.
#include <random>

#include "e2e/machine.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

constexpr uint32_t kPing = 2;
constexpr uint32_t kLargest = 33'554'432;

class Protocol : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    startService();
  }
  void expectAlive() {
    Client client;
    client.connect();
    const Reply reply = client.request(kPing);
    EXPECT_EQ(reply.opcode, kPing);
    EXPECT_EQ(reply.payload.size(), 4u);
    EXPECT_TRUE(service().running());
  }
  /// Sends `bytes`; the service must close the connection without a reply and log `text`.
  void expectHangUp(const std::string& bytes, const std::string& text) {
    Client client;
    client.connect();
    client.send(bytes);
    EXPECT_EQ(client.receive(), std::nullopt);
    EXPECT_TRUE(logGets("[INF] KORVEL Antivirus: request read failed: " + text + "\n"));
    expectAlive();
  }
};

TEST_F(Protocol, PingCarriesTheTickCount) {
  Client client;
  client.connect();
  const uint32_t before = ::GetTickCount();
  const std::optional<uint32_t> ticks = ipc::decodeNumber(client.request(kPing).payload);
  ASSERT_TRUE(ticks.has_value());
  EXPECT_LE(*ticks - before, ::GetTickCount() - before);
}

TEST_F(Protocol, AConnectionServesManyRequests) {
  Client client;
  client.connect();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(client.request(kPing).opcode, kPing);
}

TEST_F(Protocol, ReservedBytesMayHoldAnything) {
  Client client;
  client.connect();
  client.send(RawHeader{.opcode = kPing, .reserved = UINT64_MAX}.bytes());
  ASSERT_EQ(client.receive().value_or(Reply{}).opcode, kPing);
}

TEST_F(Protocol, AFrameMayArriveByteByByte) {
  Client client;
  client.connect();
  for (const char byte : frame(kPing, "xyz")) client.send(std::string_view(&byte, 1));
  EXPECT_EQ(client.receive().value_or(Reply{}).opcode, kPing);
}

TEST_F(Protocol, BadMagicEndsTheConnection) {
  expectHangUp(RawHeader{.magic = 0x4B52564D}.bytes(), "bad magic");
}

TEST_F(Protocol, AnotherVersionEndsTheConnection) {
  expectHangUp(RawHeader{.version = 2}.bytes(), "unsupported protocol version");
}

TEST_F(Protocol, APayloadOfExactly32MiBIsTaken) {
  Client client;
  client.connect();
  EXPECT_EQ(client.request(kPing, std::string(kLargest, 'x')).opcode, kPing);
  EXPECT_EQ(client.request(kPing).opcode, kPing);
}

TEST_F(Protocol, OneByteMoreThan32MiBEndsTheConnection) {
  expectHangUp(RawHeader{.length = kLargest + 1}.bytes(), "declared payload too large");
}

TEST_F(Protocol, UnknownOpcodesAreRefusedAndTheSessionGoesOn) {
  Client client;
  client.connect();
  for (const uint32_t opcode : {0u, 22u, 0xFFFFFFFFu}) {
    const Reply reply = client.request(opcode, "anything");
    EXPECT_EQ(reply.opcode, 0xFFFFFFFFu);
    const std::string text = "unsupported opcode " + std::to_string(opcode);
    EXPECT_EQ(ipc::decodeText(reply.payload), text);
    EXPECT_TRUE(logGets("[WRN] request failed: " + text + "\n"));
  }
  EXPECT_EQ(client.request(kPing).opcode, kPing);
}

TEST_F(Protocol, AClientThatLeavesInMidFrameIsNotAnError) {
  for (const size_t sent : {size_t{0}, size_t{1}, size_t{23}, size_t{24}, size_t{30}}) {
    Client client;
    client.connect();
    client.send(frame(kPing, "0123456789").substr(0, sent));
    client.disconnect();
    expectAlive();
  }
  EXPECT_EQ(log().find("request read failed"), std::string::npos);
}

TEST_F(Protocol, AClientThatLeavesBeforeItsReplyIsNotAnError) {
  for (int i = 0; i < 20; ++i) {
    Client client;
    client.connect();
    client.send(frame(11));
    client.disconnect();
  }
  expectAlive();
}

TEST_F(Protocol, TwoClientsAreServedOneAfterTheOther) {
  Client first;
  first.connect();
  EXPECT_EQ(first.request(kPing).opcode, kPing);
  Client second;
  DWORD code = 0;
  EXPECT_FALSE(second.tryConnect(&code));
  EXPECT_EQ(code, static_cast<DWORD>(ERROR_PIPE_BUSY));
  EXPECT_EQ(first.request(kPing).opcode, kPing);
  first.disconnect();
  second.connect();
  EXPECT_EQ(second.request(kPing).opcode, kPing);
}

TEST_F(Protocol, TheLogTellsOfEachClientInOrder) {
  expectAlive();
  expectAlive();
  stopService();
  const std::string connected = "[INF] KORVEL Antivirus: client connected\n";
  const std::string disconnected = "[INF] KORVEL Antivirus: client disconnected\n";
  const std::string text = log();
  size_t at = 0;
  int pairs = 0;
  while ((at = text.find(connected, at)) != std::string::npos) {
    const size_t end = text.find(disconnected, at);
    ASSERT_NE(end, std::string::npos);
    EXPECT_GE(text.find(connected, at + 1), end) << "two clients at once";
    at = end;
    ++pairs;
  }
  // The probe whether the service is up, two pings, and the stop request. The probe asks for nothing: on a
  // busy machine it has gone before the service takes it in.
  const int gone = logMentions("[ERR] ConnectNamedPipe failed, win32=232\n");
  EXPECT_LE(gone, 1);
  EXPECT_EQ(pairs + gone, 4);
}

TEST_F(Protocol, AnswersAPingAfterAThousandMalformedFrames) {
  std::mt19937 random(frameSeed());  // the same frames on every run
  const auto upTo = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % (limit + 1)); };
  for (int i = 0; i < frameCount(); ++i) {
    std::string payload(upTo(200), '\0');
    for (char& byte : payload) byte = static_cast<char>(upTo(255));
    RawHeader header{.opcode = 1 + upTo(30), .length = static_cast<uint32_t>(payload.size())};
    if (header.opcode == 21) header.opcode = 99;  // stopping the service is well-formed with any payload
    switch (upTo(5)) {
      case 0:
        header.magic = upTo(UINT32_MAX - 1);
        break;
      case 1:
        header.version = 2 + upTo(1000);
        break;
      case 2:
        header.length = kLargest + 1 + upTo(1000);
        break;
      case 3:
        header.length += 1 + upTo(100);  // and then the client leaves
        break;
      default:
        break;  // a well-formed frame around nonsense
    }
    Client client;
    client.connect();
    std::string bytes = header.bytes() + payload;
    if (upTo(9) == 0) bytes.resize(upTo(23));
    client.send(bytes);
  }
  expectAlive();
  EXPECT_EQ(log().find("crash:"), std::string::npos);
}

class StopRequest : public Protocol {};

TEST_F(StopRequest, IsAnsweredBeforeTheServiceGoes) {
  Client client;
  client.connect();
  EXPECT_EQ(client.request(21), (Reply{21, ""}));
  client.disconnect();
  EXPECT_EQ(service().waitForExit(20'000), 0u);
  Client late;
  DWORD code = 0;
  EXPECT_FALSE(late.tryConnect(&code));
  EXPECT_EQ(code, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(StopRequest, NeedsNoReaderOfItsReply) {
  Client client;
  client.connect();
  client.send(frame(21));
  EXPECT_EQ(service().waitForExit(20'000), 0u);
}

}  // namespace
}  // namespace korvel::test
