#include "server/pipe_server.h"

#include <cstdio>

#include "base/unique_resource.h"
#include "runtime/log.h"
#include "runtime/stop_signal.h"
#include "server/request_dispatcher.h"
#include "server/server_pipe.h"

namespace korvel::ipc {
namespace {

constexpr DWORD kOpenMode = PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED;
constexpr DWORD kCreateRetryMs = 1000;
constexpr DWORD kHangUpPollMs = 10;

void logFailure(const char* call, DWORD code) {
  char text[64];  // and no string: the server must outlive a want of memory
  std::snprintf(text, sizeof text, "%s failed, win32=%lu", call, code);
  Log::instance().write(kLogError, text);
}

enum class Accepted {
  kConnected,
  kFailed,  ///< this pipe instance is unusable
  kStopped,
};

/// Waits for a client on one instance of the pipe or for the stop.
Accepted acceptClient(HANDLE pipe, HANDLE connectEvent, HANDLE stopEvent, const ServerCalls& calls) {
  OVERLAPPED overlapped{};
  overlapped.hEvent = connectEvent;
  if (calls.connectNamedPipe(pipe, &overlapped)) return Accepted::kConnected;
  const DWORD code = ::GetLastError();
  if (code == ERROR_PIPE_CONNECTED) return Accepted::kConnected;  // it connected before the call
  if (code != ERROR_IO_PENDING) {
    logFailure("ConnectNamedPipe", code);
    return Accepted::kFailed;
  }
  DWORD transferred = 0;
  if (calls.waitForEither(connectEvent, stopEvent) == WAIT_OBJECT_0) {
    return calls.getOverlappedResult(pipe, &overlapped, &transferred, /*wait=*/FALSE) ? Accepted::kConnected
                                                                                      : Accepted::kFailed;
  }
  ::CancelIo(pipe);
  (void)calls.getOverlappedResult(pipe, &overlapped, &transferred, /*wait=*/TRUE);
  return Accepted::kStopped;
}

DWORD WINAPI flushPipe(void* pipe) {
  (void)::FlushFileBuffers(pipe);
  return 0;
}

bool clientGone(HANDLE pipe) {
  return !::PeekNamedPipe(pipe, /*buffer=*/nullptr, 0, nullptr, nullptr, nullptr);
}

void awaitHangUp(HANDLE pipe, const ServerCalls& calls) {
  for (DWORD waitedMs = 0; waitedMs < kLastReplyGraceMs && !clientGone(pipe); waitedMs += kHangUpPollMs)
    calls.sleep(kHangUpPollMs);
}

/// Disconnects the client. If its replies were written whole, first waits until the client has read them or
/// has disconnected, but for kLastReplyGraceMs at most. FlushFileBuffers() waits for the reader without a
/// time limit, so it runs on a helper thread, which DisconnectNamedPipe() releases. Where no thread can be
/// made, only the client's own disconnection can be seen.
void disconnectClient(HANDLE pipe, bool repliesAreWhole, const ServerCalls& calls) {
  UniqueHandle flusher;
  if (repliesAreWhole && !clientGone(pipe)) {
    flusher.reset(calls.createThread(flushPipe, pipe));
    if (flusher) {
      ::WaitForSingleObject(flusher.get(), kLastReplyGraceMs);
    } else {
      awaitHangUp(pipe, calls);
    }
  }
  ::DisconnectNamedPipe(pipe);
  if (flusher) ::WaitForSingleObject(flusher.get(), INFINITE);
}

/// Serves one connection from its first frame to the disconnection.
void serveClient(HANDLE pipe, EngineOperations& engine, const ServerCalls& calls) {
  serviceLog("client connected");
  const bool repliesAreWhole = handleClient(pipe, engine);
  disconnectClient(pipe, repliesAreWhole, calls);
  serviceLog("client disconnected");
}

}  // namespace

void runPipeServer(EngineOperations& engine, const ServerCalls& calls) {
  const StopSignal& stop = StopSignal::process();
  UniqueHandle pipe;
  while (!stop.requested()) {
    if (!pipe) pipe.reset(createServerPipe(kOpenMode, calls));
    if (!pipe) {
      logFailure("CreateNamedPipe", ::GetLastError());
      calls.sleep(kCreateRetryMs);
      continue;
    }
    const UniqueHandle connectEvent(calls.createEvent());
    if (!connectEvent) return;
    switch (acceptClient(pipe.get(), connectEvent.get(), stop.event(), calls)) {
      case Accepted::kStopped:
        return;
      case Accepted::kFailed:
        pipe.reset();
        break;
      case Accepted::kConnected:
        serveClient(pipe.get(), engine, calls);
        // The next instance is created before this one is closed, so that the pipe always exists.
        if (!stop.requested()) pipe.reset(createServerPipe(kOpenMode, calls));
        break;
    }
  }
}

}  // namespace korvel::ipc
