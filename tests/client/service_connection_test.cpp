// Exchanges over a pipe of the test's own, whose server behaves as the test says.
#include "client/service_connection.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace korvel::ipc {
namespace {

constexpr wchar_t kName[] = L"\\\\.\\pipe\\korvel-connection-test";
constexpr DWORD kShortMs = 300;
constexpr DWORD kPatienceMs = 30'000;

std::string framed(uint32_t opcode, const std::string& payload) {
  const FrameHeaderBytes header = encodeFrameHeader({opcode, static_cast<uint32_t>(payload.size())});
  return std::string(header.begin(), header.end()) + payload;
}

/// Serves one client with `act`, then goes away.
class Server {
 public:
  explicit Server(std::function<void(HANDLE)> act)
      : pipe_(::CreateNamedPipeW(kName, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, /*instances=*/1, 4096, 4096, 0,
                                 nullptr)),
        thread_([this, act = std::move(act)] {
          ::ConnectNamedPipe(pipe_.get(), nullptr);
          act(pipe_.get());
          ::FlushFileBuffers(pipe_.get());
          ::DisconnectNamedPipe(pipe_.get());
        }) {}
  ~Server() { thread_.join(); }

  static void readRequest(HANDLE pipe) {
    char bytes[kFrameHeaderBytes];
    DWORD got = 0;
    ::ReadFile(pipe, bytes, sizeof bytes, &got, nullptr);
  }
  static void write(HANDLE pipe, const std::string& bytes) {
    DWORD done = 0;
    ::WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr);
  }

 private:
  UniqueHandle pipe_;
  std::thread thread_;
};

class ServiceConnectionTest : public testing::Test {
 protected:
  ExchangeResult ask(DWORD timeoutMs = kPatienceMs) {
    EXPECT_EQ(connection_.tryOpen(kName, nullptr), ExchangeResult::kOk);
    return connection_.exchange({2, {}}, &reply_, timeoutMs, &error_);
  }

  ServiceConnection connection_;
  Frame reply_;
  ServiceConnection::Error error_;
};

TEST_F(ServiceConnectionTest, WithoutAPipeItIsNotFound) {
  DWORD code = 0;
  EXPECT_EQ(connection_.tryOpen(kName, &code), ExchangeResult::kNotFound);
  EXPECT_EQ(code, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(connection_.isOpen());
}

TEST_F(ServiceConnectionTest, ASecondClientFindsItBusy) {
  const Server server([](HANDLE pipe) { Server::readRequest(pipe); });
  ASSERT_EQ(connection_.tryOpen(kName, nullptr), ExchangeResult::kOk);
  ServiceConnection second;
  DWORD code = 0;
  EXPECT_EQ(second.tryOpen(kName, &code), ExchangeResult::kBusy);
  EXPECT_EQ(code, static_cast<DWORD>(ERROR_PIPE_BUSY));
  connection_.close();
}

TEST_F(ServiceConnectionTest, AReplyArrivesWholeAlsoInPieces) {
  const std::string payload(200'000, 'p');
  const Server server([&payload](HANDLE pipe) {
    Server::readRequest(pipe);
    const std::string bytes = framed(2, payload);
    for (size_t at = 0; at < bytes.size(); at += 30'000) Server::write(pipe, bytes.substr(at, 30'000));
  });
  EXPECT_EQ(ask(), ExchangeResult::kOk);
  EXPECT_EQ(reply_, (Frame{2, payload}));
  EXPECT_TRUE(connection_.isOpen());
}

TEST_F(ServiceConnectionTest, AServerThatSaysNothingOrTooLittleIsGivenUp) {
  for (const std::string& bytes :
       {std::string(), framed(2, "abcd").substr(0, 10), framed(2, "abcd").substr(0, 26)}) {
    const UniqueHandle over(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const Server server([&](HANDLE pipe) {
      Server::readRequest(pipe);
      if (!bytes.empty()) Server::write(pipe, bytes);
      ::WaitForSingleObject(over.get(), kPatienceMs);
    });
    EXPECT_EQ(ask(kShortMs), ExchangeResult::kTimeout) << bytes.size();
    EXPECT_FALSE(connection_.isOpen());
    ::SetEvent(over.get());
  }
}

TEST_F(ServiceConnectionTest, AConnectionThatBreaksIsClosed) {
  const Server server([](HANDLE pipe) {
    Server::readRequest(pipe);
    Server::write(pipe, framed(2, "abcd").substr(0, 26));
  });
  EXPECT_EQ(ask(), ExchangeResult::kClosed);
  EXPECT_NE(error_.code, 0u);
  EXPECT_FALSE(connection_.isOpen());
}

TEST_F(ServiceConnectionTest, BytesThatAreNoFrameAreShown) {
  const Server server([](HANDLE pipe) {
    Server::readRequest(pipe);
    Server::write(pipe, std::string(kFrameHeaderBytes, 'x'));
  });
  EXPECT_EQ(ask(), ExchangeResult::kMalformed);
  EXPECT_EQ(
      error_.text, "bad magic: " + [] {
        std::string hex;
        for (size_t i = 0; i < kFrameHeaderBytes; ++i) hex += "78";
        return hex;
      }());
}

TEST_F(ServiceConnectionTest, ARequestThatIsTooLargeIsNotSent) {
  EXPECT_EQ(connection_.exchange({2, std::string(kMaxPayloadBytes + 1, 'x')}, &reply_, kShortMs, &error_),
            ExchangeResult::kTooLarge);
  EXPECT_FALSE(mayHaveArrived(ExchangeResult::kTooLarge));
  EXPECT_TRUE(mayHaveArrived(ExchangeResult::kTimeout));
}

}  // namespace
}  // namespace korvel::ipc
