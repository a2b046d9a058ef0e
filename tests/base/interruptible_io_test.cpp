// Calls on a named pipe stand for a device that stays silent.
#include "base/interruptible_io.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/unique_resource.h"
#include "support/eventually.h"

namespace korvel {
namespace {

constexpr wchar_t kSilentPipe[] = L"\\\\.\\pipe\\korvel-silent";

class InterruptibleIoTest : public testing::Test {
 protected:
  /// Reads from the pipe, on which nothing ever comes, until the stop.
  void readUntilStop() {
    while (!stop_.stop_requested()) {
      const InterruptibleIo interruptible(stop_.get_token());
      char byte = 0;
      DWORD got = 0;
      begun_ = true;
      EXPECT_FALSE(::ReadFile(client_.get(), &byte, 1, &got, /*overlapped=*/nullptr));
      lastError_ = ::GetLastError();
    }
    ended_ = true;
  }

  const UniqueHandle server_{
      ::CreateNamedPipeW(kSilentPipe, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr)};
  const UniqueHandle client_{::CreateFileW(kSilentPipe, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)};
  StopSource stop_;
  std::atomic<bool> begun_{false}, ended_{false};
  DWORD lastError_ = 0;
};

TEST_F(InterruptibleIoTest, AStopEndsACallThatWouldNeverReturn) {
  ASSERT_TRUE(server_ && client_);
  std::thread reader([this] { readUntilStop(); });
  EXPECT_TRUE(test::eventually([this] { return begun_.load(); }));
  stop_.request_stop();
  EXPECT_TRUE(test::eventually([this] { return ended_.load(); }));
  ::DisconnectNamedPipe(server_.get());  // lets the reader go when it was not interrupted
  reader.join();
  EXPECT_EQ(lastError_, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
}

TEST_F(InterruptibleIoTest, AStopRequestedBeforeOrByTheThreadItselfDoesNotBlockIt) {
  stop_.request_stop();
  { const InterruptibleIo before(stop_.get_token()); }
  StopSource own;
  const InterruptibleIo itself(own.get_token());
  EXPECT_TRUE(own.request_stop());
}

TEST_F(InterruptibleIoTest, AStopDoesNotWaitForAThreadThatHasLeft) {
  std::thread([this] { const InterruptibleIo interruptible(stop_.get_token()); }).join();
  EXPECT_TRUE(stop_.request_stop());
}

}  // namespace
}  // namespace korvel
