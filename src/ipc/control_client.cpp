#include "ipc/control_client.h"

#include <optional>

#include "base/error.h"
#include "base/text.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "ipc/frame.h"
#include "ipc/messages.h"
#include "ipc/pipe_io.h"
#include "service/runtime/console_line.h"

namespace korvel::ipc {
namespace {

constexpr DWORD kBusyWaitMs = 200;
constexpr DWORD kConnectBudgetMs = 3000;
constexpr int kPingAttempts = 3;
constexpr DWORD kPingPauseMs = 1000;
constexpr int kUpdatePolls = 120;
constexpr DWORD kUpdatePollMs = 1000;

constexpr wchar_t kNotUnderstood[] = L"непонятный ответ службы";

struct Reply {
  uint32_t opcode = 0;
  std::string payload;
};

/// One of our requests, none of which carries a payload.
bool ask(HANDLE pipe, Opcode opcode, Reply* reply, std::string* error, const PipeSystem& system) {
  return transact(pipe, static_cast<uint32_t>(opcode), /*request=*/{}, &reply->opcode, &reply->payload, error,
                  system);
}

std::optional<svc::EngineStatus> statusOf(const Reply& reply) {
  if (reply.opcode != static_cast<uint32_t>(Opcode::kGetStatus)) return std::nullopt;
  return decodeStatus(reply.payload);
}

void print(const std::wstring& line) { writeConsoleLine(line); }
void print(const std::wstring& line, const std::string& text) { writeConsoleLine(line + toWide(text)); }

void printStatus(const svc::EngineStatus& status) {
  const auto onOff = [](bool on) { return on ? L"вкл" : L"выкл"; };
  print(L"служба отвечает");
  print(L"  версия:      ", status.serviceVersion);
  print(L"  сигнатуры:   " + std::to_wstring(status.signatureCount) + L" (" +
        toWide(status.signatureVersion) + L")");
  print(std::wstring(L"  защита:      ") + onOff(status.protectionEnabled));
  print(std::wstring(L"  real-time:   ") + onOff(status.realTimeActive));
  print(std::wstring(L"  minifilter:  ") + (status.minifilterConnected ? L"подключён" : L"нет"));
}

/// The outcome of a check that has ended, as its exit code. Nothing newer is what is left when there is
/// neither an error nor an installer.
int printUpdateOutcome(const svc::EngineStatus& status) {
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

HANDLE connectServicePipe(std::string* error, DWORD timeoutMs, const PipeSystem& system) {
  for (DWORD waitedMs = 0;; waitedMs += kBusyWaitMs) {
    UniqueHandle pipe(::CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, /*share=*/0,
                                    /*security=*/nullptr, OPEN_EXISTING, /*flags=*/0, /*template=*/nullptr));
    if (pipe) return pipe.release();
    const DWORD code = ::GetLastError();
    const bool mayCome = code == ERROR_PIPE_BUSY || code == ERROR_FILE_NOT_FOUND;
    if (mayCome) {
      (void)system.waitNamedPipe(kPipeName, kBusyWaitMs);  // the next try to open decides
      ::SetLastError(code);
    }
    if (!mayCome || waitedMs >= timeoutMs) {
      setWin32Error(error, "cannot connect to service pipe");
      return nullptr;
    }
  }
}

int runPingClient(const PipeSystem& system) {
  UniqueHandle pipe;
  for (int attempt = 1; attempt <= kPingAttempts; ++attempt) {
    std::string error;
    pipe.reset(connectServicePipe(&error, kConnectBudgetMs, system));
    if (pipe) break;
    print(L"попытка " + std::to_wstring(attempt) + L": ", error);
    system.sleep(kPingPauseMs);
  }
  if (!pipe) {
    print(L"служба не запущена или канал не создан");
    return 1;
  }
  Reply reply;
  std::string error;
  if (!ask(pipe.get(), Opcode::kGetStatus, &reply, &error, system)) {
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

int runUpdateCheckClient(const PipeSystem& system) {
  std::string error;
  const UniqueHandle pipe(connectServicePipe(&error, kConnectBudgetMs, system));
  if (!pipe) {
    print(L"канал не открыт: ", error);
    return 1;
  }
  Reply reply;
  // The answer itself is not looked at: a check that runs already is as good, and the status tells the rest.
  if (!ask(pipe.get(), Opcode::kStartUpdateCheck, &reply, &error, system)) {
    print(L"запуск проверки не удался: ", error);
    return 2;
  }
  for (int poll = 0; poll < kUpdatePolls; ++poll) {
    system.sleep(kUpdatePollMs);
    if (!ask(pipe.get(), Opcode::kGetStatus, &reply, &error, system)) {
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

int runFirewallClient(const PipeSystem& system) {
  std::string error;
  const UniqueHandle pipe(connectServicePipe(&error, kConnectBudgetMs, system));
  if (!pipe) {
    print(L"канал не открыт: ", error);
    return 1;
  }
  Reply reply;
  if (!ask(pipe.get(), Opcode::kFirewallStatus, &reply, &error, system)) {
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
