#include "client/service_pipe.h"

#include "base/error.h"
#include "base/files.h"
#include "base/unique_resource.h"

namespace korvel::ipc {
namespace {

constexpr DWORD kBusyWaitMs = 200;

bool writeWhole(HANDLE pipe, const void* buffer, size_t n, std::string* error, const ClientCalls& calls) {
  for (size_t done = 0; done < n;) {
    DWORD written = 0;
    const BOOL ok =
        calls.writeFile(pipe, static_cast<const char*>(buffer) + done, chunkOf(n - done), &written);
    if (!ok || written == 0) return setWin32Error(error, "WriteFile failed");
    done += written;
  }
  return true;
}

bool readWhole(HANDLE pipe, void* buffer, size_t n, std::string* error, const ClientCalls& calls) {
  for (size_t done = 0; done < n;) {
    DWORD transferred = 0;
    const BOOL ok = calls.readFile(pipe, static_cast<char*>(buffer) + done, chunkOf(n - done), &transferred);
    // Unlike on the server, this text includes the error code: here a closed pipe is a failed call.
    if (transferred == 0) return setWin32Error(error, "connection closed");
    if (!ok) return setWin32Error(error, "ReadFile failed");
    done += transferred;
  }
  return true;
}

}  // namespace

HANDLE connectServicePipe(std::string* error, DWORD timeoutMs, const ClientCalls& calls) {
  for (DWORD waitedMs = 0;; waitedMs += kBusyWaitMs) {
    // The service does not ask who its client is, and another process may have made the pipe.
    UniqueHandle pipe(::CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, /*share=*/0,
                                    /*security=*/nullptr, OPEN_EXISTING, kOpenAnonymously,
                                    /*template=*/nullptr));
    if (pipe) return pipe.release();
    const DWORD code = ::GetLastError();
    const bool mayCome = code == ERROR_PIPE_BUSY || code == ERROR_FILE_NOT_FOUND;
    if (mayCome) {
      (void)calls.waitNamedPipe(kPipeName, kBusyWaitMs);  // the next attempt to open decides
      ::SetLastError(code);
    }
    if (!mayCome || waitedMs >= timeoutMs) {
      setWin32Error(error, "cannot connect to service pipe");
      return nullptr;
    }
  }
}

bool transact(HANDLE pipe, const Frame& request, Frame* reply, std::string* error, const ClientCalls& calls) {
  if (request.payload.size() > kMaxPayloadBytes) return fail(error, "payload too large");
  const FrameHeaderBytes header =
      encodeFrameHeader({request.opcode, static_cast<uint32_t>(request.payload.size())});
  if (!writeWhole(pipe, header.data(), header.size(), error, calls)) return false;
  if (!writeWhole(pipe, request.payload.data(), request.payload.size(), error, calls)) return false;

  FrameHeaderBytes bytes;
  if (!readWhole(pipe, bytes.data(), bytes.size(), error, calls)) return false;
  FrameHeader replyHeader;
  if (!decodeFrameHeader(ByteView(bytes), &replyHeader, error)) return false;
  const auto read = [&](char* to, size_t n) { return readWhole(pipe, to, n, error, calls); };
  if (!readPayload(&reply->payload, replyHeader.length, read)) return false;
  reply->opcode = replyHeader.opcode;
  return true;
}

}  // namespace korvel::ipc
