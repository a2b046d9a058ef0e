#include <stdexcept>

#include "base/files.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "protocol/messages.h"
#include "running_service.h"
#include "support/temp_folder.h"

namespace korvel::bench {
namespace {

constexpr wchar_t kService[] = L"C:\\Program Files\\Korvel\\KorvelService.exe";
constexpr char kSettings[] = "LiveUpdates=0\nWebShield=0\nScheduledScan=1\nRealTimeEnabled=1\n";
constexpr double kStartLimitSeconds = 60;
constexpr DWORD kStopLimitMs = 60'000;

uint32_t number(ipc::Opcode opcode) { return static_cast<uint32_t>(opcode); }

}  // namespace

void prepareService(const std::wstring& liveSignatures) {
  if (!pathExists(L"C:\\korvel-test-machine")) {
    throw std::runtime_error("this is not a machine for tests: C:\\korvel-test-machine is missing");
  }
  test::writeFile(settingsPath(), kSettings);
  test::removeTree(liveSignaturesPath());
  if (liveSignatures.empty()) return;
  if (!::CopyFileW(liveSignatures.c_str(), liveSignaturesPath().c_str(), /*failIfExists=*/FALSE)) {
    throw std::runtime_error("cannot copy " + toUtf8(liveSignatures));
  }
}

RunningService::RunningService() {
  process_.start(kService, L"--console");
  const ULONGLONG limit = ::GetTickCount64() + static_cast<ULONGLONG>(kStartLimitSeconds * 1000);
  while (!client_.tryConnect()) {
    if (::GetTickCount64() > limit || !process_.running())
      throw std::runtime_error("the service does not come up");
    ::Sleep(1);
  }
  if (client_.request(number(ipc::Opcode::kPing)).opcode != number(ipc::Opcode::kPing)) {
    throw std::runtime_error("the first ping was refused");
  }
}

RunningService::~RunningService() {
  try {
    (void)client_.request(number(ipc::Opcode::kStopService));
    client_.disconnect();
    (void)process_.waitForExit(kStopLimitMs);
  } catch (const std::exception&) {
    // the destructor of the process object ends the process
  }
}

}  // namespace korvel::bench
