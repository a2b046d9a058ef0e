#include "client/diagnostic_clients.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "client/service_pipe.h"
#include "protocol/frame.h"
#include "protocol/messages.h"
#include "protocol/wire.h"
#include "server/pipe_fixture.h"
#include "server/server_pipe.h"
#include "server/transfers.h"

namespace korvel::ipc {
namespace {

using test::frame;
using test::text;
using test::u32;
using Lines = std::vector<std::string>;

/// A service that answers the nth request with the nth raw reply and then hangs up.
class ScriptedService {
 public:
  explicit ScriptedService(std::vector<std::string> replies)
      : replies_(std::move(replies)),
        stop_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
        pipe_(createServerPipe(PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED)),
        thread_([this] { run(); }) {}
  ~ScriptedService() {
    ::SetEvent(stop_.get());
    thread_.join();
  }
  ScriptedService(const ScriptedService&) = delete;
  ScriptedService& operator=(const ScriptedService&) = delete;

  /// The opcodes asked for; call after the client has ended.
  std::vector<uint32_t> requests() const { return requests_; }

 private:
  void run() {
    const UniqueHandle connected(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED overlapped{};
    overlapped.hEvent = connected.get();
    ::ConnectNamedPipe(pipe_.get(), &overlapped);
    const HANDLE handles[] = {connected.get(), stop_.get()};
    // The event stays unset when the client connected before the call.
    if (::GetLastError() == ERROR_IO_PENDING) ::WaitForMultipleObjects(2, handles, FALSE, INFINITE);
    for (const std::string& reply : replies_) {
      uint32_t opcode = 0;
      std::string payload;
      if (!readFrame(pipe_.get(), stop_.get(), &opcode, &payload, nullptr)) break;
      requests_.push_back(opcode);
      EXPECT_EQ(payload, "");
      if (!writeExact(pipe_.get(), reply.data(), reply.size(), stop_.get(), nullptr)) break;
    }
    ::CancelIo(pipe_.get());
    pipe_.reset();  // what was written can still be read
  }

  std::vector<std::string> replies_;
  std::vector<uint32_t> requests_;
  UniqueHandle stop_;
  UniqueHandle pipe_;
  std::thread thread_;
};

class ControlClient : public testing::Test {
 protected:
  ControlClient() {
    sleeps.clear();
    waits.clear();
    calls_.sleep = [](DWORD milliseconds) { sleeps.push_back(milliseconds); };
    calls_.waitNamedPipe = [](const wchar_t* name, DWORD milliseconds) -> BOOL {
      EXPECT_STREQ(name, L"\\\\.\\pipe\\KorvelAV");
      waits.push_back(milliseconds);
      ::SetLastError(ERROR_SEM_TIMEOUT);
      return FALSE;
    };
  }

  static std::vector<DWORD> sleeps;  // what the client would have slept
  static std::vector<DWORD> waits;   // and how long it would have waited for a free instance
  ClientCalls calls_ = ClientCalls::windows();
  test::ConsoleCapture console_;
};
std::vector<DWORD> ControlClient::sleeps;
std::vector<DWORD> ControlClient::waits;

EngineStatus sampleStatus() {
  EngineStatus status;
  status.serviceVersion = "1.2.0";
  status.signatureCount = 12'345;
  status.signatureVersion = "2025.11.21";
  return status;
}

std::string statusFrame(const EngineStatus& status) { return frame(1, encodeStatus(status)); }

/// The text of an exchange that broke off; its code depends on the system.
void expectTextWithCode(const std::string& line, const std::string& text) {
  EXPECT_EQ(line.substr(0, text.size() + 8), text + " (win32=");
  EXPECT_TRUE(line.ends_with(")")) << line;
}

TEST_F(ControlClient, ConnectingWithoutAServiceIsError2AtOnceInSpiteOfTheBudget) {
  std::string error;
  EXPECT_EQ(connectServicePipe(&error, 3000), nullptr);
  EXPECT_EQ(error, "cannot connect to service pipe (win32=2)");
  EXPECT_EQ(connectServicePipe(nullptr, 0), nullptr);
}

TEST_F(ControlClient, ConnectingToABusyServiceGivesUpAfterItsBudget) {
  const test::ConnectedPipe busy;
  const struct {
    DWORD budgetMs;
    size_t waits;
  } cases[] = {{0, 1}, {1, 2}, {200, 2}, {201, 3}, {3000, 16}};
  for (const auto& c : cases) {
    waits.clear();
    std::string error;
    EXPECT_EQ(connectServicePipe(&error, c.budgetMs, calls_), nullptr);
    EXPECT_EQ(error, "cannot connect to service pipe (win32=231)");
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_PIPE_BUSY});
    EXPECT_EQ(waits, std::vector<DWORD>(c.waits, 200)) << c.budgetMs;
  }
}

TEST_F(ControlClient, EveryClientWaitsSixteenTimesAtEachAttempt) {
  const test::ConnectedPipe busy;
  EXPECT_EQ(runPingClient(calls_), 1);
  EXPECT_EQ(waits.size(), 3 * 16u);
  EXPECT_EQ(runUpdateCheckClient(calls_), 1);
  EXPECT_EQ(waits.size(), 4 * 16u);
  EXPECT_EQ(runFirewallClient(calls_), 1);
  EXPECT_EQ(waits.size(), 5 * 16u);
  EXPECT_EQ(console_.lines().back(), "канал не открыт: cannot connect to service pipe (win32=231)");
}

TEST_F(ControlClient, ConnectingWaitsForAnInstanceToBecomeFree) {
  const test::ConnectedPipe busy;
  UniqueHandle next;
  std::thread server([&] {
    ::Sleep(100);
    next.reset(createServerPipe(PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED));
  });
  std::string error;
  const UniqueHandle pipe(connectServicePipe(&error, 60'000));
  server.join();
  EXPECT_TRUE(pipe) << error;
}

TEST_F(ControlClient, ConnectingGivesUpAtOnceOnAnyOtherError) {
  // A pipe that only writes to its clients refuses a client that wants to write.
  const UniqueHandle outbound(
      ::CreateNamedPipeW(kPipeName, PIPE_ACCESS_OUTBOUND, 0, PIPE_UNLIMITED_INSTANCES, 0, 0, 0, nullptr));
  ASSERT_TRUE(outbound);
  std::string error;
  // A time limit longer than any test.
  EXPECT_EQ(connectServicePipe(&error, MAXDWORD, calls_), nullptr);
  EXPECT_EQ(error, "cannot connect to service pipe (win32=5)");
  EXPECT_TRUE(waits.empty());
}

TEST_F(ControlClient, PingPrintsTheStatusInSixLines) {
  EngineStatus status = sampleStatus();
  status.protectionEnabled = true;
  status.minifilterConnected = true;
  ScriptedService service({statusFrame(status)});
  EXPECT_EQ(runPingClient(calls_), 0);
  EXPECT_EQ(console_.lines(),
            (Lines{"служба отвечает", "  версия:      1.2.0", "  сигнатуры:   12345 (2025.11.21)",
                   "  защита:      вкл", "  real-time:   выкл", "  minifilter:  подключён"}));
  EXPECT_TRUE(sleeps.empty());
}

TEST_F(ControlClient, PingPrintsTheOtherWordOfEachSwitch) {
  EngineStatus status;
  status.realTimeActive = true;
  ScriptedService service({statusFrame(status)});
  EXPECT_EQ(runPingClient(calls_), 0);
  EXPECT_EQ(console_.lines(), (Lines{"служба отвечает", "  версия:      ", "  сигнатуры:   0 ()",
                                     "  защита:      выкл", "  real-time:   вкл", "  minifilter:  нет"}));
}

TEST_F(ControlClient, PingWithoutAServiceTriesThreeTimes) {
  EXPECT_EQ(runPingClient(calls_), 1);
  EXPECT_EQ(console_.lines(), (Lines{"попытка 1: cannot connect to service pipe (win32=2)",
                                     "попытка 2: cannot connect to service pipe (win32=2)",
                                     "попытка 3: cannot connect to service pipe (win32=2)",
                                     "служба не запущена или канал не создан"}));
  EXPECT_EQ(sleeps, (std::vector<DWORD>{1000, 1000, 1000}));
}

TEST_F(ControlClient, PingConnectsAtALaterAttempt) {
  static std::atomic<ScriptedService*> late{nullptr};
  calls_.sleep = [](DWORD) { late = new ScriptedService({statusFrame(sampleStatus())}); };
  EXPECT_EQ(runPingClient(calls_), 0);
  delete late;
  const Lines lines = console_.lines();
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_EQ(lines[0], "попытка 1: cannot connect to service pipe (win32=2)");
  EXPECT_EQ(lines[1], "служба отвечает");
}

TEST_F(ControlClient, PingReportsAFailedExchange) {
  const std::pair<std::string, const char*> cases[] = {
      {std::string(24, 'x'), "обмен не удался: bad magic"},
      {frame(1, "four").substr(0, 26), "обмен не удался: connection closed"},
      {std::string(), "обмен не удался: connection closed"},
  };
  size_t line = 0;
  for (const auto& [reply, expected] : cases) {
    ScriptedService service({reply});
    EXPECT_EQ(runPingClient(calls_), 2);
    ASSERT_EQ(console_.lines().size(), line + 1);
    if (reply.size() == 24) {
      EXPECT_EQ(console_.lines()[line], expected);
    } else {
      expectTextWithCode(console_.lines()[line], expected);
    }
    ++line;
  }
}

TEST_F(ControlClient, PingDoesNotUnderstandAnErrorAnotherOpcodeOrAShortRecord) {
  const std::string record = encodeStatus(sampleStatus());
  for (const std::string& reply : {frame(0xFFFFFFFF, text("отказ")), frame(2, record),
                                   frame(1, record.substr(0, record.size() - 1)), frame(1)}) {
    ScriptedService service({reply});
    EXPECT_EQ(runPingClient(calls_), 3);
    EXPECT_EQ(console_.lines().back(), "непонятный ответ службы");
  }
  EXPECT_EQ(console_.lines().size(), 4u);
}

TEST_F(ControlClient, UpdateCheckPollsUntilTheCheckHasEnded) {
  EngineStatus running = sampleStatus();
  running.updateCheckRunning = true;
  running.updateCheckError = "ещё не конец";
  ScriptedService service(
      {frame(15, u32(1)), statusFrame(running), statusFrame(running), statusFrame(sampleStatus())});
  EXPECT_EQ(runUpdateCheckClient(calls_), 0);
  EXPECT_EQ(console_.lines(), Lines{"обновлений нет — версия актуальна"});
  EXPECT_EQ(sleeps, (std::vector<DWORD>{1000, 1000, 1000}));
  EXPECT_EQ(service.requests(), (std::vector<uint32_t>{15, 1, 1, 1}));
}

TEST_F(ControlClient, UpdateCheckNamesTheInstaller) {
  EngineStatus status = sampleStatus();
  status.updateCheckInstaller = "C:\\Обновления\\setup-1.3.0.exe";
  ScriptedService service({frame(15, u32(1)), statusFrame(status)});
  EXPECT_EQ(runUpdateCheckClient(calls_), 0);
  EXPECT_EQ(console_.lines(), Lines{"установщик скачан: C:\\Обновления\\setup-1.3.0.exe"});
}

TEST_F(ControlClient, UpdateCheckNamesTheErrorBeforeAnyInstaller) {
  EngineStatus status = sampleStatus();
  status.updateCheckError = "сервер не отвечает";
  status.updateCheckInstaller = "C:\\setup.exe";
  ScriptedService service({frame(15, u32(1)), statusFrame(status)});
  EXPECT_EQ(runUpdateCheckClient(calls_), 3);
  EXPECT_EQ(console_.lines(), Lines{"обновление не удалось: сервер не отвечает"});
}

TEST_F(ControlClient, UpdateCheckDoesNotLookAtTheAnswerToItsStart) {
  ScriptedService service(
      {frame(0xFFFFFFFF, text("обновление уже выполняется")), statusFrame(sampleStatus())});
  EXPECT_EQ(runUpdateCheckClient(calls_), 0);
  EXPECT_EQ(console_.lines(), Lines{"обновлений нет — версия актуальна"});
}

TEST_F(ControlClient, UpdateCheckWithoutAService) {
  EXPECT_EQ(runUpdateCheckClient(calls_), 1);
  EXPECT_EQ(console_.lines(), Lines{"канал не открыт: cannot connect to service pipe (win32=2)"});
}

TEST_F(ControlClient, UpdateCheckThatCannotBeStarted) {
  ScriptedService service({std::string(24, 'x')});
  EXPECT_EQ(runUpdateCheckClient(calls_), 2);
  EXPECT_EQ(console_.lines(), Lines{"запуск проверки не удался: bad magic"});
}

TEST_F(ControlClient, UpdateCheckWhoseServiceHangsUpInMidFrame) {
  ScriptedService service({frame(15, u32(1)), statusFrame(sampleStatus()).substr(0, 30)});
  EXPECT_EQ(runUpdateCheckClient(calls_), 2);
  ASSERT_EQ(console_.lines().size(), 1u);
  expectTextWithCode(console_.lines()[0], "опрос состояния не удался: connection closed");
}

TEST_F(ControlClient, UpdateCheckThatDoesNotUnderstandAStatus) {
  for (const std::string& status : {frame(1, "short"), frame(0xFFFFFFFF, text("отказ"))}) {
    ScriptedService service({frame(15, u32(1)), status});
    EXPECT_EQ(runUpdateCheckClient(calls_), 2);
    EXPECT_EQ(console_.lines().back(), "опрос состояния не удался: непонятный ответ службы");
  }
}

TEST_F(ControlClient, UpdateCheckGivesUpAfterOneHundredAndTwentyPolls) {
  EngineStatus running;
  running.updateCheckRunning = true;
  std::vector<std::string> replies(121, statusFrame(running));
  replies[0] = frame(15, u32(1));
  ScriptedService service(replies);
  EXPECT_EQ(runUpdateCheckClient(calls_), 4);
  EXPECT_EQ(console_.lines(), Lines{"проверка не завершилась за 120 с"});
  EXPECT_EQ(sleeps, std::vector<DWORD>(120, 1000));
}

TEST_F(ControlClient, UpdateCheckTakesAnEndAtTheLastPoll) {
  EngineStatus running;
  running.updateCheckRunning = true;
  std::vector<std::string> replies(121, statusFrame(running));
  replies[0] = frame(15, u32(1));
  replies[120] = statusFrame(sampleStatus());
  ScriptedService service(replies);
  EXPECT_EQ(runUpdateCheckClient(calls_), 0);
}

TEST_F(ControlClient, FirewallListingIsPrintedLineByLine) {
  ScriptedService service(
      {frame(16, "prof,domain,on\nrule,on,block,in,KORVEL: Тест (in),C:\\Тест.exe\n\nblockin,off\n")});
  EXPECT_EQ(runFirewallClient(calls_), 0);
  EXPECT_EQ(console_.lines(),
            (Lines{"prof,domain,on", "rule,on,block,in,KORVEL: Тест (in),C:\\Тест.exe", "", "blockin,off"}));
  EXPECT_EQ(service.requests(), std::vector<uint32_t>{16});
}

TEST_F(ControlClient, FirewallListingWithoutItsLastLineFeedIsPrintedWhole) {
  ScriptedService service({frame(16, "error,брандмауэр недоступен")});
  EXPECT_EQ(runFirewallClient(calls_), 0);
  EXPECT_EQ(console_.lines(), Lines{"error,брандмауэр недоступен"});
}

TEST_F(ControlClient, FirewallListingMayBeEmpty) {
  ScriptedService service({frame(16)});
  EXPECT_EQ(runFirewallClient(calls_), 0);
  EXPECT_EQ(console_.lines(), Lines{});
}

TEST_F(ControlClient, FirewallErrorIsPrintedAsTheServiceWroteIt) {
  ScriptedService service({frame(0xFFFFFFFF, text("отказ"))});
  EXPECT_EQ(runFirewallClient(calls_), 3);
  EXPECT_EQ(console_.lines(), Lines{"служба ответила ошибкой: отказ"});
}

TEST_F(ControlClient, FirewallErrorThatCannotBeDecodedIsPrintedEmpty) {
  ScriptedService service({frame(0xFFFFFFFF, "raw")});
  EXPECT_EQ(runFirewallClient(calls_), 3);
  EXPECT_EQ(console_.lines(), Lines{"служба ответила ошибкой: "});
}

TEST_F(ControlClient, FirewallReplyOfAnotherOpcodeIsNotUnderstood) {
  ScriptedService service({frame(1, "prof,domain,on\n")});
  EXPECT_EQ(runFirewallClient(calls_), 3);
  EXPECT_EQ(console_.lines(), Lines{"непонятный ответ службы"});
}

TEST_F(ControlClient, FirewallExchangeThatBreaksOff) {
  ScriptedService service({frame(16, "prof,domain,on\n").substr(0, 30)});
  EXPECT_EQ(runFirewallClient(calls_), 2);
  ASSERT_EQ(console_.lines().size(), 1u);
  expectTextWithCode(console_.lines()[0], "обмен не удался: connection closed");
}

}  // namespace
}  // namespace korvel::ipc
