#include "e2e/driver_fixture.h"

#include "base/files.h"
#include "base/paths.h"
#include "e2e/machine.h"

namespace korvel::test {
namespace {

constexpr wchar_t kFolder[] = L"C:\\korvel-driver-test";

/// The stand-in lies beside this test program.
std::wstring standIn() {
  wchar_t self[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, self, MAX_PATH);
  return joinPath(parentDirectory(self), L"fltlib.dll");
}

}  // namespace

void DriverTest::SetUp() {
  ServiceTest::SetUp();
  wchar_t before[MAX_PATH] = {};
  if (::GetEnvironmentVariableW(L"KORVEL_SERVICE", before, MAX_PATH) != 0) before_ = before;
  const std::wstring copy = joinPath(kFolder, L"KorvelService.exe");
  createDirectories(kFolder);
  ASSERT_TRUE(::CopyFileW(serviceExecutable().c_str(), copy.c_str(), FALSE));
  ASSERT_TRUE(::CopyFileW(standIn().c_str(), joinPath(kFolder, L"fltlib.dll").c_str(), FALSE));
  ::_wputenv_s(L"KORVEL_SERVICE", copy.c_str());
}

void DriverTest::TearDown() {
  if (driver_) driver_->unload();
  ServiceTest::TearDown();
  ::_wputenv_s(L"KORVEL_SERVICE", before_.c_str());
  removeTree(kFolder);
}

void DriverTest::startWithDriver() {
  driver_.emplace();
  startService();
  ASSERT_TRUE(driver_->waitForService(10'000));
}

}  // namespace korvel::test
