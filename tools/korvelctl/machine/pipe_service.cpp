#include "korvelctl/machine/pipe_service.h"

#include "base/utf.h"
#include "korvelctl/cli/words/connection_words.h"
#include "korvelctl/machine/service_state.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/printable.h"

namespace korvel::ctl {
namespace {

using ipc::ExchangeResult;
using ipc::Opcode;

constexpr DWORD kConnectPauseMs = 200;
constexpr ULONGLONG kTellAfterMs = 1'500;
constexpr ULONGLONG kLongestHoldMs = 5'000;
constexpr DWORD kFreeMs = 300;
constexpr DWORD kExchangeMs = 30'000;
constexpr DWORD kFirewallExchangeMs = 60'000;

std::wstring fullPipeName(const std::string& name) {
  constexpr std::wstring_view kFolder = L"\\\\.\\pipe\\";
  if (name.empty()) return ipc::kPipeName;
  const std::wstring wide = toWide(name);
  return wide.starts_with(kFolder) ? wide : std::wstring(kFolder) + wide;
}

DWORD limitOf(Opcode opcode) {
  const bool firewall = opcode >= Opcode::kFirewallStatus && opcode <= Opcode::kFirewallRemoveRules;
  return firewall ? kFirewallExchangeMs : kExchangeMs;
}

/// How a trace names the end of an exchange.
const char* nameOf(ExchangeResult result) {
  switch (result) {
    case ExchangeResult::kOk:
      return "ok";
    case ExchangeResult::kTooLarge:
      return "too_large";
    case ExchangeResult::kTimeout:
      return "timeout";
    case ExchangeResult::kMalformed:
      return "malformed";
    default:
      return "closed";
  }
}

struct KnownRefusal {
  std::string_view part;
  Text advice;
};
constexpr KnownRefusal kKnownRefusals[] = {
    {"protection is disabled", words::kProtectionOffAdvice},
    {"a scan is already running", words::kScanRunsAdvice},
    {"обновление уже выполняется", words::kUpdateRunsAdvice},
};

std::string adviceFor(const std::string& refusal, Language language) {
  for (const KnownRefusal& known : kKnownRefusals) {
    if (refusal.find(known.part) != refusal.npos) return known.advice.in(language);
  }
  return {};
}

}  // namespace

PipeService::PipeService(const GlobalOptions& global, Output& err)
    : global_(global), pipeName_(fullPipeName(global.pipe)), err_(err) {}

void PipeService::connect() {
  const ULONGLONG start = ::GetTickCount64();
  bool told = false;
  for (;;) {
    DWORD code = 0;
    const ExchangeResult result = connection_.tryOpen(pipeName_, &code);
    const ULONGLONG waitedMs = ::GetTickCount64() - start;
    const bool mayCome = result == ExchangeResult::kNotFound || result == ExchangeResult::kBusy;
    const bool givesUp = !mayCome || waitedMs >= global_.timeoutSeconds * 1000;
    if (told && (result == ExchangeResult::kOk || givesUp)) err_.write("\n");
    if (result == ExchangeResult::kOk) break;
    if (givesUp) cannotConnect(result, code);
    if (!told && waitedMs >= kTellAfterMs && err_.isTerminal() && !global_.quiet && !global_.documents()) {
      err_.write(words::kWaitingForService.in(global_.language));
      told = true;
    }
    ::Sleep(kConnectPauseMs);
  }
  heldSinceMs_ = ::GetTickCount64();
}

void PipeService::cannotConnect(ExchangeResult result, DWORD code) const {
  const Language language = global_.language;
  const auto failed = [&](ErrorKind kind, const Text& text, const Text& advice) -> Failure {
    return Failure(kind, text.in(language), advice.in(language), code);
  };
  if (result == ExchangeResult::kBusy) {
    throw Failure(ErrorKind::kBusy,
                  filled(words::kPipeBusy, language, {std::to_string(global_.timeoutSeconds)}),
                  words::kPipeBusyAdvice.in(language), code);
  }
  if (result == ExchangeResult::kDenied)
    throw failed(ErrorKind::kDenied, words::kPipeDenied, words::kPipeDeniedAdvice);
  if (result != ExchangeResult::kNotFound)
    throw failed(ErrorKind::kUnreachable, words::kServiceUnreachable, words::kServiceUnreachableAdvice);
  switch (serviceState()) {
    case ServiceState::kNotInstalled:
      throw failed(ErrorKind::kNotInstalled, words::kNotInstalled, words::kNotInstalledAdvice);
    case ServiceState::kStopped:
      throw failed(ErrorKind::kStopped, words::kServiceStopped, words::kServiceStoppedAdvice);
    case ServiceState::kStopping:
      throw failed(ErrorKind::kStopped, words::kServiceStopping, words::kServiceUnreachableAdvice);
    case ServiceState::kStarting:
    case ServiceState::kRunning:
      throw failed(ErrorKind::kStarting, words::kServiceStarting, words::kServiceStartingAdvice);
    case ServiceState::kUnknown:
      break;
  }
  throw failed(ErrorKind::kUnreachable, words::kServiceUnreachable, words::kServiceUnreachableAdvice);
}

/// Before the first request, so that no request is sent whose trace cannot be written.
void PipeService::openTrace() {
  if (traceOpened_ || global_.trace.empty()) return;
  traceOpened_ = true;
  if (trace_.open(wholePath(global_.trace, global_.language))) return;
  throw Failure(ErrorKind::kIo, filled(words::kTraceUnwritable, global_.language, {printable(global_.trace)}),
                {}, ::GetLastError());
}

ipc::Frame PipeService::exchange(const ipc::Frame& request) {
  openTrace();
  if (!connection_.isOpen()) connect();
  const Opcode opcode = static_cast<Opcode>(request.opcode);
  const std::string name = std::to_string(request.opcode);
  const Language language = global_.language;
  ipc::Frame reply;
  ipc::ServiceConnection::Error error;
  const ULONGLONG asked = ::GetTickCount64();
  const ExchangeResult result = connection_.exchange(request, &reply, limitOf(opcode), &error);
  trace_.add(request, result == ExchangeResult::kOk ? &reply : nullptr, nameOf(result),
             ::GetTickCount64() - asked);
  switch (result) {
    case ExchangeResult::kOk:
      return reply;
    case ExchangeResult::kTooLarge:
      throw Failure(ErrorKind::kUsage, words::kRequestTooLarge.in(language));
    case ExchangeResult::kTimeout:
      throw Failure(ErrorKind::kTimeout,
                    filled(words::kNoReply, language, {name, std::to_string(limitOf(opcode) / 1000)}));
    case ExchangeResult::kMalformed:
      throw Failure(ErrorKind::kProtocol, filled(words::kMalformedReply, language, {name, error.text}));
    default:
      throw Failure(ErrorKind::kLost,
                    opcode == Opcode::kGetResults ? std::string(words::kResultsTooLarge.in(language))
                                                  : filled(words::kConnectionLost, language, {name}),
                    {}, error.code);
  }
}

std::string PipeService::ask(Opcode opcode, const std::string& request) {
  const uint32_t number = static_cast<uint32_t>(opcode);
  const std::string name = std::to_string(number);
  const Language language = global_.language;
  ipc::Frame reply = exchange({number, request});
  if (reply.opcode == ipc::kErrorOpcode) {
    const auto text = ipc::decodeText(reply.payload);
    if (!text && !reply.payload.empty())
      throw Failure(ErrorKind::kProtocol, filled(words::kMalformedReply, language, {name, "error"}));
    throw Failure(ErrorKind::kRefused, text.value_or(""), adviceFor(text.value_or(""), language));
  }
  if (reply.opcode != number) {
    connection_.close();
    throw Failure(ErrorKind::kProtocol,
                  filled(words::kOtherReply, language, {name, std::to_string(reply.opcode)}));
  }
  return std::move(reply.payload);
}

void PipeService::letGo() { connection_.close(); }

void PipeService::breathe() {
  if (!connection_.isOpen() || ::GetTickCount64() - heldSinceMs_ < kLongestHoldMs) return;
  connection_.close();
  ::Sleep(kFreeMs);
}

}  // namespace korvel::ctl
