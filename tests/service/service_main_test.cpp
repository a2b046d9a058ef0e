// Service mode up to the dispatcher. What the dispatcher then runs is in service_host_test.cpp, the whole
// under a Service Control Manager in the end-to-end tests.
#include "service/service_main.h"

#include <gtest/gtest.h>

#include "base/utf.h"
#include "runtime/log.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

constexpr char kUsage[] =
    "[INF] launch it through the Service Control Manager:\n"
    "  sc create KorvelService binPath= \"<path>\\KorvelService.exe\" start= auto\n"
    "  sc start KorvelService\n"
    "or run it without SCM rights:\n"
    "  KorvelService.exe --console\n"
    "diagnostics against a running service:\n"
    "  KorvelService.exe --ping\n"
    "  KorvelService.exe --update-check\n"
    "  KorvelService.exe --fw\n";

/// A debugger that takes every text sent to it and leaves a last-error value behind, another one each time.
class MeddlingDebugger {
 public:
  static constexpr DWORD kFirstLeftBehind = 71;
  MeddlingDebugger() : handler_(::AddVectoredExceptionHandler(/*first=*/1, &receive)) { texts = 0; }
  ~MeddlingDebugger() { ::RemoveVectoredExceptionHandler(handler_); }
  MeddlingDebugger(const MeddlingDebugger&) = delete;
  MeddlingDebugger& operator=(const MeddlingDebugger&) = delete;

 private:
  static LONG CALLBACK receive(EXCEPTION_POINTERS* pointers) {
    constexpr DWORD kDebugPrint = 0x40010006;
    if (pointers->ExceptionRecord->ExceptionCode != kDebugPrint) return EXCEPTION_CONTINUE_SEARCH;
    ::SetLastError(kFirstLeftBehind + texts++);
    return EXCEPTION_CONTINUE_EXECUTION;
  }

  static inline DWORD texts = 0;
  void* handler_;
};

class ServiceMode : public testing::Test {
 protected:
  void SetUp() override { Log::instance().open(logFile_); }
  void TearDown() override { Log::instance().open(folder_.path()); }
  std::string log() const { return test::readFile(logFile_); }

  test::TempFolder folder_;
  std::wstring logFile_ = folder_.at(L"korvel.log");
  ServiceSystem calls_ = ServiceSystem::windows();
};

TEST_F(ServiceMode, GivesTheDispatcherOneServiceAndReturns0AfterIt) {
  calls_.startDispatcher = [](const SERVICE_TABLE_ENTRYW* table) -> BOOL {
    EXPECT_EQ(toUtf8(table[0].lpServiceName), "KorvelService");
    EXPECT_EQ(table[0].lpServiceProc, &ServiceMain);
    EXPECT_EQ(table[1].lpServiceName, nullptr);
    EXPECT_EQ(table[1].lpServiceProc, nullptr);
    return TRUE;
  };
  EXPECT_EQ(runServiceMode(calls_), 0);
  EXPECT_EQ(log(), "");
}

TEST_F(ServiceMode, ADispatcherThatFailsIsLoggedWithTheUsage) {
  calls_.startDispatcher = [](const SERVICE_TABLE_ENTRYW*) -> BOOL {
    ::SetLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    return FALSE;
  };
  (void)runServiceMode(calls_);
  const std::string text = log();
  constexpr size_t kTimeLength = 13;
  const std::string first = "[ERR] StartServiceCtrlDispatcher failed, win32=1063\n";
  ASSERT_GT(text.size(), 2 * kTimeLength + first.size());
  EXPECT_EQ(text.substr(kTimeLength, first.size()), first);
  EXPECT_EQ(text.substr(kTimeLength + first.size() + kTimeLength), kUsage);
}

TEST_F(ServiceMode, ExitsWithTheLastErrorThatTheTwoLogLinesLeave) {
  const MeddlingDebugger debugger;
  calls_.startDispatcher = [](const SERVICE_TABLE_ENTRYW*) -> BOOL {
    ::SetLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    return FALSE;
  };
  EXPECT_EQ(runServiceMode(calls_), static_cast<int>(MeddlingDebugger::kFirstLeftBehind + 1));
  EXPECT_NE(log().find("win32=1063\n"), std::string::npos);
}

}  // namespace
}  // namespace korvel::svc
