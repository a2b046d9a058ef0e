// Scans a folder, follows the scan and takes what is dangerous into the quarantine.
//
//   scan_and_quarantine FOLDER [PIPE]
//
// Exit code: 0 nothing dangerous, 1 everything dangerous is stored, 2 something was not carried out.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/utf.h"
#include "client/service_connection.h"
#include "protocol/messages.h"

namespace {

using korvel::ipc::ExchangeResult;
using korvel::ipc::Opcode;

/// The service's answer to a request that it does not carry out.
struct Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The service, with the manners that docs/protocol.md asks for. Throws Refused and std::runtime_error.
class Service {
 public:
  explicit Service(std::wstring pipe) : pipe_(std::move(pipe)) {}

  std::string ask(Opcode opcode, const std::string& payload = {}) {
    if (!connection_.isOpen()) connect();
    constexpr DWORD kReplyWithinMs = 30'000;
    const auto number = static_cast<uint32_t>(opcode);
    korvel::ipc::Frame reply;
    korvel::ipc::ServiceConnection::Error error;
    if (connection_.exchange({number, payload}, &reply, kReplyWithinMs, &error) != ExchangeResult::kOk)
      throw std::runtime_error("request " + std::to_string(number) + ": " + error.text);
    if (reply.opcode == korvel::ipc::kErrorOpcode)
      throw Refused(korvel::ipc::decodeText(reply.payload).value_or(""));
    if (reply.opcode != number) throw std::runtime_error("the reply is to another request");
    return reply.payload;
  }

  /// The reply as `decode`, a function of protocol/messages.h, reads it.
  template <typename Decode>
  auto askFor(Opcode opcode, const Decode& decode) {
    auto value = decode(ask(opcode));
    if (!value) throw std::runtime_error("a reply is not understood");
    return *value;
  }

  /// Waits before the next question, and lets other clients have their turn.
  void pause() {
    constexpr DWORD kAskEveryMs = 300;
    constexpr ULONGLONG kLongestHoldMs = 5'000;
    if (::GetTickCount64() - since_ >= kLongestHoldMs) connection_.close();
    ::Sleep(kAskEveryMs);
  }

 private:
  void connect() {
    constexpr ULONGLONG kPatienceMs = 10'000;
    constexpr DWORD kAgainMs = 200;
    const ULONGLONG began = ::GetTickCount64();
    DWORD code = 0;
    for (;;) {
      const ExchangeResult result = connection_.tryOpen(pipe_, &code);
      if (result == ExchangeResult::kOk) break;
      const bool mayCome = result == ExchangeResult::kNotFound || result == ExchangeResult::kBusy;
      if (!mayCome || ::GetTickCount64() - began >= kPatienceMs)
        throw std::runtime_error("no connection (win32=" + std::to_string(code) + ")");
      ::Sleep(kAgainMs);
    }
    since_ = ::GetTickCount64();
  }

  std::wstring pipe_;
  korvel::ipc::ServiceConnection connection_;
  ULONGLONG since_ = 0;
};

/// The last report of the scan that runs.
korvel::ScanReport follow(Service& service) {
  for (;;) {
    const auto report = service.askFor(Opcode::kGetProgress, korvel::ipc::decodeProgress);
    std::printf("%s: %llu of %llu files\n", korvel::toUtf8(report.progress.phase).c_str(),
                static_cast<unsigned long long>(report.progress.filesDone),
                static_cast<unsigned long long>(report.progress.filesTotal));
    for (const korvel::ThreatEvent& event : report.events)
      std::printf("meanwhile: %s in %s\n", event.name.c_str(), korvel::toUtf8(event.path).c_str());
    if (!report.scanning) return report;
    service.pause();
  }
}

bool completed(const korvel::ScanReport& report) {
  const korvel::ScanProgressInfo& progress = report.progress;
  return progress.phase != korvel::scan_phase::kFailed && progress.phase != korvel::scan_phase::kIdle &&
         report.lastSummary.filesScanned != 0 && progress.filesDone >= progress.filesTotal;
}

int run(const std::wstring& folder, const std::wstring& pipe) {
  Service service(pipe);
  service.ask(Opcode::kStartScan, korvel::ipc::encodeStartScan({korvel::ScanScope::kCustom, {folder}}));
  bool good = completed(follow(service));
  std::printf("the scan is %s\n", good ? "completed" : "not completed");
  bool found = false;
  for (const korvel::ThreatRecord& threat : service.askFor(Opcode::kGetResults, korvel::ipc::decodeResults)) {
    if (threat.severity < korvel::kSeverityHigh) continue;
    found = true;
    const std::string path = korvel::toUtf8(threat.path);
    try {
      service.ask(Opcode::kThreatDecision,
                  korvel::ipc::encodeThreatDecision({korvel::ipc::kActionQuarantine, threat}));
      std::printf("stored: %s (%s)\n", path.c_str(), threat.name.c_str());
    } catch (const Refused& refusal) {
      good = false;
      std::printf("not stored: %s: %s\n", path.c_str(), refusal.what());
    }
  }
  const auto stored = service.askFor(Opcode::kListQuarantine, korvel::ipc::decodeQuarantineList);
  std::printf("%zu files are in the quarantine\n", stored.size());
  if (!good) return 2;
  return found ? 1 : 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 2) {
    std::fputs("scan_and_quarantine FOLDER [PIPE]\n", stderr);
    return 2;
  }
  ::SetConsoleOutputCP(CP_UTF8);
  try {
    return run(argv[1], argc > 2 ? argv[2] : korvel::ipc::kPipeName);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return 2;
  }
}
