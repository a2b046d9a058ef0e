#include "client/diagnostic_clients.h"

#include <optional>

#include "base/text.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "client/service_pipe.h"
#include "protocol/messages.h"
#include "records/engine_status.h"
#include "runtime/console_line.h"

namespace korvel::ipc {
namespace {

constexpr DWORD kConnectBudgetMs = 3000;
constexpr int kPingAttempts = 3;
constexpr DWORD kPingPauseMs = 1000;
constexpr int kUpdatePolls = 120;
constexpr DWORD kUpdatePollMs = 1000;

constexpr wchar_t kNotUnderstood[] = L"непонятный ответ службы";

void print(const std::wstring& line) { writeConsoleLine(line); }
void print(const std::wstring& line, const std::string& text) { writeConsoleLine(line + toWide(text)); }

/// Null when the service cannot be reached; the reason has been printed.
UniqueHandle openPipe(const ClientCalls& calls) {
  std::string error;
  UniqueHandle pipe(connectServicePipe(&error, kConnectBudgetMs, calls));
  if (!pipe) print(L"канал не открыт: ", error);
  return pipe;
}

/// Sends a request without a payload and reads its reply.
bool ask(HANDLE pipe, Opcode opcode, Frame* reply, std::string* error, const ClientCalls& calls) {
  return transact(pipe, {static_cast<uint32_t>(opcode), {}}, reply, error, calls);
}

std::optional<EngineStatus> statusOf(const Frame& reply) {
  if (reply.opcode != static_cast<uint32_t>(Opcode::kGetStatus)) return std::nullopt;
  return decodeStatus(reply.payload);
}

void printStatus(const EngineStatus& status) {
  const auto onOff = [](bool on) { return on ? L"вкл" : L"выкл"; };
  print(L"служба отвечает");
  print(L"  версия:      ", status.serviceVersion);
  print(L"  сигнатуры:   " + std::to_wstring(status.signatureCount) + L" (" +
        toWide(status.signatureVersion) + L")");
  print(std::wstring(L"  защита:      ") + onOff(status.protectionEnabled));
  print(std::wstring(L"  real-time:   ") + onOff(status.realTimeActive));
  print(std::wstring(L"  minifilter:  ") + (status.minifilterConnected ? L"подключён" : L"нет"));
}

/// Prints the outcome of a finished check and returns the exit code. When there is neither an error nor an
/// installer, the check has found nothing newer.
int printUpdateOutcome(const EngineStatus& status) {
  if (!status.updateCheckError.empty()) {
    print(L"обновление не удалось: ", status.updateCheckError);
    return 3;
  }
  if (!status.updateCheckInstaller.empty()) {
    print(L"установщик скачан: ", status.updateCheckInstaller);
  } else {
    print(L"обновлений нет — версия актуальна");
  }
  return 0;
}

}  // namespace

int runPingClient(const ClientCalls& calls) {
  UniqueHandle pipe;
  for (int attempt = 1; attempt <= kPingAttempts; ++attempt) {
    std::string error;
    pipe.reset(connectServicePipe(&error, kConnectBudgetMs, calls));
    if (pipe) break;
    print(L"попытка " + std::to_wstring(attempt) + L": ", error);
    calls.sleep(kPingPauseMs);
  }
  if (!pipe) {
    print(L"служба не запущена или канал не создан");
    return 1;
  }
  Frame reply;
  std::string error;
  if (!ask(pipe.get(), Opcode::kGetStatus, &reply, &error, calls)) {
    print(L"обмен не удался: ", error);
    return 2;
  }
  const auto status = statusOf(reply);
  if (!status) {
    print(kNotUnderstood);
    return 3;
  }
  printStatus(*status);
  return 0;
}

int runUpdateCheckClient(const ClientCalls& calls) {
  const UniqueHandle pipe = openPipe(calls);
  if (!pipe) return 1;
  std::string error;
  Frame reply;
  // The reply is ignored: a check that is already running serves as well, and the status shows its outcome.
  if (!ask(pipe.get(), Opcode::kStartUpdateCheck, &reply, &error, calls)) {
    print(L"запуск проверки не удался: ", error);
    return 2;
  }
  for (int poll = 0; poll < kUpdatePolls; ++poll) {
    calls.sleep(kUpdatePollMs);
    if (!ask(pipe.get(), Opcode::kGetStatus, &reply, &error, calls)) {
      print(L"опрос состояния не удался: ", error);
      return 2;
    }
    const auto status = statusOf(reply);
    if (!status) {
      print(std::wstring(L"опрос состояния не удался: ") + kNotUnderstood);
      return 2;
    }
    if (!status->updateCheckRunning) return printUpdateOutcome(*status);
  }
  print(L"проверка не завершилась за 120 с");
  return 4;
}

int runFirewallClient(const ClientCalls& calls) {
  const UniqueHandle pipe = openPipe(calls);
  if (!pipe) return 1;
  std::string error;
  Frame reply;
  if (!ask(pipe.get(), Opcode::kFirewallStatus, &reply, &error, calls)) {
    print(L"обмен не удался: ", error);
    return 2;
  }
  if (reply.opcode == kErrorOpcode) {
    print(L"служба ответила ошибкой: ", decodeText(reply.payload).value_or(std::string()));
    return 3;
  }
  if (reply.opcode != static_cast<uint32_t>(Opcode::kFirewallStatus)) {
    print(kNotUnderstood);
    return 3;
  }
  LineReader lines(reply.payload);
  for (std::string_view line; lines.next(line);) print(toWide(line));
  return 0;
}

}  // namespace korvel::ipc
