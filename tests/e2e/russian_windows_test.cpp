// On a Russian machine. Windows then has its texts in Russian, and the library hands them out in code page
// 1251, while logs and replies are UTF-8. scripts/test arranges the language.
#include <system_error>

#include "base/utf.h"
#include "e2e/service_test.h"
#include "support/sparse_file.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

constexpr UINT kCyrillicCodePage = 1251;
constexpr char kDeniedIn1251[] = "\xC4\xEE\xF1\xF2\xF3\xEF \xE7\xE0\xEF\xF0\xE5\xF9\xB8\xED";

class RussianWindows : public ServiceTest {
 protected:
  void SetUp() override {
    if (::GetACP() != kCyrillicCodePage) GTEST_SKIP() << "this machine is not Russian";
    ServiceTest::SetUp();
  }
};

TEST_F(RussianWindows, HasTheLibraryTextsThatMustNotReachAnyone) {
  EXPECT_EQ(std::system_category().message(ERROR_ACCESS_DENIED).rfind(kDeniedIn1251, 0), 0u);
}

TEST_F(RussianWindows, RefusalsAndLogLinesHaveTheCodeAndThePathInUtf8) {
  const std::wstring quarantine = folder().at(L"Карантин");
  writeSettings("QuarantineDir=" + toUtf8(quarantine) + "\n");
  startService();
  const std::wstring index = sparseFile(quarantine + L"\\quarantine.db", 257 << 20);
  const std::string text = "filesystem error: exists: win32=223 [" + toUtf8(index) + "]";
  EXPECT_EQ(refusal(Opcode::kListQuarantine), text);
  EXPECT_TRUE(logGets("[WRN] request failed: " + text + "\n"));
}

TEST_F(RussianWindows, TextsOfFailedMovesAreUtf8) {
  startService();
  const std::wstring path = folder().write(L"Вирус.exe", "x");
  const UniqueHandle held(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
  ThreatRecord threat;
  threat.path = path;
  EXPECT_EQ(refusal(Opcode::kThreatDecision, ipc::encodeThreatDecision({ipc::kActionQuarantine, threat})),
            "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)");
}

}  // namespace
}  // namespace korvel::test
