// A ping of the running service against an echo of as many bytes by the simplest overlapped server. Each
// server is a process of its own; the same client asks both.
//
// Usage: pipe_bench [--tiny]; with --echo it is the echo server.
#include <stdexcept>
#include <string>

#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"
#include "measure.h"
#include "protocol/frame.h"
#include "protocol/messages.h"
#include "running_service.h"

namespace {

using korvel::UniqueHandle;
using korvel::bench::Arguments;
using korvel::bench::Figures;
using korvel::bench::Loop;

constexpr wchar_t kEchoPipe[] = L"\\\\.\\pipe\\korvel-bench-echo";
constexpr DWORD kBufferBytes = 65'536;
constexpr DWORD kRequestBytes = korvel::ipc::kFrameHeaderBytes;
constexpr DWORD kPingReplyBytes = korvel::ipc::kFrameHeaderBytes + 4;

/// Waits for an overlapped call that returned `done`; the bytes it moved, 0 on failure.
DWORD finished(HANDLE pipe, OVERLAPPED& overlapped, BOOL done) {
  if (!done && ::GetLastError() != ERROR_IO_PENDING) return 0;
  DWORD bytes = 0;
  return ::GetOverlappedResult(pipe, &overlapped, &bytes, /*wait=*/TRUE) ? bytes : 0;
}

/// Serves one client until it hangs up.
void serveEcho() {
  const UniqueHandle event(::CreateEventW(nullptr, /*manualReset=*/TRUE, /*initialState=*/FALSE, nullptr));
  const UniqueHandle pipe(::CreateNamedPipeW(kEchoPipe, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                             PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, kBufferBytes,
                                             kBufferBytes, 0, nullptr));
  if (!event || !pipe) throw std::runtime_error("cannot make the echo pipe");
  OVERLAPPED overlapped{};
  overlapped.hEvent = event.get();
  if (!::ConnectNamedPipe(pipe.get(), &overlapped) && ::GetLastError() == ERROR_IO_PENDING) {
    ::WaitForSingleObject(event.get(), INFINITE);
  }
  char buffer[kRequestBytes];
  const auto read = [&] {
    return finished(pipe.get(), overlapped,
                    ::ReadFile(pipe.get(), buffer, sizeof buffer, nullptr, &overlapped));
  };
  while (const DWORD got = read()) {
    if (finished(pipe.get(), overlapped, ::WriteFile(pipe.get(), buffer, got, nullptr, &overlapped)) != got)
      return;
  }
}

UniqueHandle connected(const wchar_t* name) {
  for (int tries = 0; tries < 2'000; ++tries) {
    UniqueHandle pipe(::CreateFileW(name, GENERIC_READ | GENERIC_WRITE, /*share=*/0, /*security=*/nullptr,
                                    OPEN_EXISTING, /*flags=*/0, /*template=*/nullptr));
    if (pipe) return pipe;
    ::Sleep(5);
  }
  throw std::runtime_error("cannot connect");
}

void roundTrip(HANDLE pipe, const std::string& request, DWORD replyBytes) {
  DWORD moved = 0;
  if (!::WriteFile(pipe, request.data(), static_cast<DWORD>(request.size()), &moved,
                   /*overlapped=*/nullptr)) {
    throw std::runtime_error("cannot write");
  }
  char reply[kPingReplyBytes];
  for (DWORD done = 0; done < replyBytes; done += moved) {
    if (!::ReadFile(pipe, reply + done, replyBytes - done, &moved, /*overlapped=*/nullptr) || moved == 0) {
      throw std::runtime_error("no reply");
    }
  }
}

void compare(const Arguments& arguments) {
  wchar_t self[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(/*module=*/nullptr, self, MAX_PATH);
  korvel::test::ChildProcess echo;
  echo.start(self, L"--echo");
  const UniqueHandle echoPipe = connected(kEchoPipe);

  korvel::bench::prepareService(L"");
  korvel::bench::RunningService service;
  service.client().disconnect();  // the service serves one client at a time
  const std::string ping = korvel::test::frame(static_cast<uint32_t>(korvel::ipc::Opcode::kPing));

  const int trips = arguments.tiny() ? 10 : 1'000;
  const auto trippingTo = [&](HANDLE pipe, DWORD replyBytes) {
    return korvel::bench::timed([&ping, trips, pipe, replyBytes] {
      for (int i = 0; i < trips; ++i) roundTrip(pipe, ping, replyBytes);
    });
  };
  {
    const UniqueHandle servicePipe = connected(korvel::ipc::kPipeName);
    const std::vector<double> best = korvel::bench::bestOf(
        arguments.rounds(15),
        {trippingTo(echoPipe.get(), kRequestBytes), trippingTo(servicePipe.get(), kPingReplyBytes)});
    const Figures figures("pipe");
    figures.atMost("ping, to an overlapped echo", best[1] / best[0], 1.6);
    figures.plain("ping", best[1] / trips * 1e6, "us");
  }
  service.client().connect();  // for the stop
}

void run(const Arguments& arguments) { arguments.has("--echo") ? serveEcho() : compare(arguments); }

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }
