// The link against a driver played by the test; fltlib.dll beside this program is the stand-in.
#include "engine/filter_link.h"

#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "engine/filter_messages.h"
#include "support/eventually.h"
#include "support/fake_driver.h"

namespace korvel::svc {
namespace {

constexpr uint32_t kSilenceMs = 150;  // long enough for an answer that must not come

class FilterLinkTest : public testing::Test {
 protected:
  void connect() {
    std::string error;
    ASSERT_TRUE(link_.connect(
        [this](const std::wstring& path) {
          const std::lock_guard lock(mutex_);
          asked_.push_back(path);
          return path.find(L"bad") == std::wstring::npos;
        },
        &error))
        << error;
    ASSERT_TRUE(driver_.waitForService(5'000));
  }
  void TearDown() override { driver_.unload(); }

  /// The service must stay silent about the message and still serve the next query.
  void expectIgnored(const test::DriverMessage& message) {
    ASSERT_TRUE(driver_.send(message));
    EXPECT_FALSE(driver_.receive(kSilenceMs));
    EXPECT_EQ(driver_.ask(L"C:\\good.exe", 99), true);
  }

  std::mutex mutex_;
  std::vector<std::wstring> asked_;
  test::FakeDriver driver_;
  FilterLink link_;  // destroyed first
};

TEST(FilterLinkWithoutADriver, SaysSoWithTheResultCode) {
  FilterLink link;
  std::string error;
  EXPECT_FALSE(link.connect([](const std::wstring&) { return true; }, &error));
  EXPECT_EQ(error, "фильтр-драйвер недоступен (hr=0x80070002)");
  EXPECT_FALSE(link.connected());
  link.stop();
}

TEST(FilterLinkWithoutADriver, TakesASuccessWithoutAPortForAFailure) {
  ::SetEnvironmentVariableW(L"KORVEL_TEST_NO_PORT", L"1");  // for the stand-in
  FilterLink link;
  std::string error;
  EXPECT_FALSE(link.connect([](const std::wstring&) { return true; }, &error));
  ::SetEnvironmentVariableW(L"KORVEL_TEST_NO_PORT", nullptr);
  EXPECT_EQ(error, "фильтр-драйвер недоступен (hr=0x00000000)");
  EXPECT_FALSE(link.connected());
  EXPECT_EQ(link.handled(), 0u);
}

TEST_F(FilterLinkTest, QueriesOfBothTypesAreAnsweredByTheCallback) {
  connect();
  EXPECT_TRUE(link_.connected());
  EXPECT_EQ(driver_.ask(L"C:\\good.exe", 7), true);
  EXPECT_EQ(driver_.ask(L"C:\\bad.exe", 8), false);
  test::DriverMessage second;
  second.type = 2;
  second.messageId = 9;
  second.path = L"C:\\bad.exe";
  ASSERT_TRUE(driver_.send(second));
  const std::array<uint8_t, kFilterAnswerBytes> expected = encodeFilterAnswer(9, /*block=*/true);
  EXPECT_EQ(driver_.receive(5'000), std::vector<uint8_t>(expected.begin(), expected.end()));
  EXPECT_EQ(asked_, (std::vector<std::wstring>{L"C:\\good.exe", L"C:\\bad.exe", L"C:\\bad.exe"}));
  EXPECT_EQ(link_.handled(), 3u);
}

TEST_F(FilterLinkTest, APathWithoutNulHas512Units) {
  connect();
  EXPECT_EQ(driver_.ask(std::wstring(512, L'x'), 1), true);
  EXPECT_EQ(asked_, std::vector<std::wstring>{std::wstring(512, L'x')});
}

TEST_F(FilterLinkTest, AKeepAliveIsAllowedWithoutAskingAndWithoutCounting) {
  connect();
  test::DriverMessage keepAlive;
  keepAlive.type = 3;
  keepAlive.length = 16;
  keepAlive.bodySize = 16;
  keepAlive.messageId = 5;
  ASSERT_TRUE(driver_.send(keepAlive));
  const std::array<uint8_t, kFilterAnswerBytes> expected = encodeFilterAnswer(5, /*block=*/false);
  EXPECT_EQ(driver_.receive(5'000), std::vector<uint8_t>(expected.begin(), expected.end()));
  EXPECT_TRUE(asked_.empty());
  EXPECT_EQ(link_.handled(), 0u);
}

TEST_F(FilterLinkTest, MalformedMessagesGetNoAnswer) {
  connect();
  test::DriverMessage message;
  message.magic = {'L', 'V', 'R', 'K'};
  expectIgnored(message);
  message = {};
  message.version = 2;
  expectIgnored(message);
  message = {};
  message.type = 4;
  expectIgnored(message);
  message = {};
  message.length = 1'061;
  expectIgnored(message);
  message = {};
  message.length = 1'055;
  message.bodySize = 1'055;
  expectIgnored(message);
  message = {};
  message.bodySize = 15;
  expectIgnored(message);
}

TEST_F(FilterLinkTest, WithoutACallbackEveryQueryIsAllowed) {
  std::string error;
  ASSERT_TRUE(link_.connect(nullptr, &error)) << error;
  ASSERT_TRUE(driver_.waitForService(5'000));
  EXPECT_EQ(driver_.ask(L"C:\\bad.exe", 1), true);
}

TEST_F(FilterLinkTest, AnAnswerThatCannotBeSentCountsAsHandled) {
  std::string error;
  ASSERT_TRUE(link_.connect(
      [this](const std::wstring&) {
        driver_.unload();
        return true;
      },
      &error));
  ASSERT_TRUE(driver_.waitForService(5'000));
  ASSERT_TRUE(driver_.send({}));
  EXPECT_TRUE(test::eventually([this] { return !link_.connected(); }));
  EXPECT_EQ(link_.handled(), 1u);
}

TEST_F(FilterLinkTest, ADriverThatGoesAwayEndsTheLink) {
  connect();
  driver_.unload();
  EXPECT_TRUE(test::eventually([this] { return !link_.connected(); }));
  link_.stop();
}

TEST_F(FilterLinkTest, StopReturnsAfterOneMoreMessage) {
  connect();
  ASSERT_EQ(driver_.ask(L"C:\\good.exe", 1), true);
  ::Sleep(300);  // the link waits for its next message now
  HANDLE thread = ::CreateThread(
      nullptr, 0,
      [](void* link) -> DWORD {
        static_cast<FilterLink*>(link)->stop();
        return 0;
      },
      &link_, 0, nullptr);
  const UniqueHandle stopping(thread);
  EXPECT_EQ(::WaitForSingleObject(stopping.get(), 200), static_cast<DWORD>(WAIT_TIMEOUT));
  // Whether a message is the one more depends on when stop() began, so the driver goes on until the link
  // ends.
  const bool ended = test::eventually([&] {
    (void)driver_.ask(L"C:\\good.exe", 2, 100);
    return ::WaitForSingleObject(stopping.get(), 0) == WAIT_OBJECT_0;
  });
  EXPECT_TRUE(ended);
  EXPECT_FALSE(link_.connected());
}

}  // namespace
}  // namespace korvel::svc
