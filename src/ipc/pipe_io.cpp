#include "ipc/pipe_io.h"

#include <algorithm>

#include "base/error.h"
#include "base/unique_resource.h"
#include "ipc/frame.h"

namespace korvel::ipc {
namespace {

// Everything for LocalSystem and the built-in Users group; nobody else.
constexpr wchar_t kPipeSddl[] = L"D:(A;;GA;;;SY)(A;;GA;;;BU)";
constexpr DWORD kPipeBufferBytes = 65'536;
constexpr DWORD kPipeDefaultTimeoutMs = 30'000;

DWORD chunkOf(size_t remaining) { return static_cast<DWORD>(std::min<size_t>(remaining, kIoChunkBytes)); }

/// Ends an operation that may still be pending; the system writes to `overlapped` and to the caller's buffer
/// until then. Keeps the last error.
void cancelAndWait(HANDLE pipe, OVERLAPPED* overlapped, const PipeSystem& system) {
  const LastErrorKeeper keepLastError;
  DWORD transferred = 0;
  (void)::CancelIoEx(pipe, overlapped);  // fails when the operation has just completed
  (void)system.getOverlappedResult(pipe, overlapped, &transferred, /*wait=*/TRUE);
}

/// Waits until a chunk is complete and stores its byte count. False with the cause in GetLastError(), which
/// is ERROR_OPERATION_ABORTED after a stop.
bool waitForChunk(HANDLE pipe, OVERLAPPED* overlapped, HANDLE stopEvent, DWORD* transferred,
                  const PipeSystem& system) {
  const DWORD signalled = system.waitForEither(overlapped->hEvent, stopEvent);
  if (signalled == WAIT_OBJECT_0)
    return system.getOverlappedResult(pipe, overlapped, transferred, /*wait=*/FALSE);
  if (signalled == WAIT_OBJECT_0 + 1) {
    ::SetLastError(ERROR_OPERATION_ABORTED);
  } else if (signalled != WAIT_FAILED) {
    ::SetLastError(ERROR_GEN_FAILURE);
  }
  cancelAndWait(pipe, overlapped, system);
  return false;
}

/// One loop for both directions. `start(offset, bytes, overlapped)` starts the transfer of one chunk;
/// `failedText` is the text of its failure.
template <typename Start>
bool transferExact(HANDLE pipe, size_t n, HANDLE stopEvent, const char* failedText, std::string* error,
                   const PipeSystem& system, Start start) {
  for (size_t done = 0; done < n;) {
    OVERLAPPED overlapped{};
    const UniqueHandle chunkEvent(system.createEvent());
    if (!chunkEvent) return setWin32Error(error, "CreateEvent failed");
    overlapped.hEvent = chunkEvent.get();

    if (!start(done, chunkOf(n - done), &overlapped) && ::GetLastError() != ERROR_IO_PENDING) {
      return setWin32Error(error, failedText);
    }
    DWORD transferred = 0;
    if (!waitForChunk(pipe, &overlapped, stopEvent, &transferred, system)) {
      if (::GetLastError() == ERROR_OPERATION_ABORTED) return fail(error, "stopping");
      return setWin32Error(error, failedText);
    }
    if (transferred == 0) return fail(error, "connection closed");
    done += transferred;
  }
  return true;
}

/// Reads `length` bytes with `read(buffer, bytes)`, doubling the payload as they arrive: a peer that declares
/// the largest payload and sends nothing costs one chunk.
template <typename Read>
bool readGrowing(std::string* payload, size_t length, Read read) {
  payload->clear();
  while (payload->size() < length) {
    const size_t done = payload->size();
    payload->resize(std::min(length, std::max<size_t>(2 * done, kIoChunkBytes)));
    if (!read(payload->data() + done, payload->size() - done)) return false;
  }
  return true;
}

bool writeWhole(HANDLE pipe, const void* buffer, size_t n, std::string* error, const PipeSystem& system) {
  for (size_t done = 0; done < n;) {
    DWORD written = 0;
    const BOOL ok =
        system.writeFile(pipe, static_cast<const char*>(buffer) + done, chunkOf(n - done), &written,
                         /*overlapped=*/nullptr);
    if (!ok || written == 0) return setWin32Error(error, "WriteFile failed");
    done += written;
  }
  return true;
}

bool readWhole(HANDLE pipe, void* buffer, size_t n, std::string* error, const PipeSystem& system) {
  for (size_t done = 0; done < n;) {
    DWORD transferred = 0;
    const BOOL ok = system.readFile(pipe, static_cast<char*>(buffer) + done, chunkOf(n - done), &transferred,
                                    /*overlapped=*/nullptr);
    // Unlike on the server this text carries the code: a closed pipe is a failed call here.
    if (transferred == 0) return setWin32Error(error, "connection closed");
    if (!ok) return setWin32Error(error, "ReadFile failed");
    done += transferred;
  }
  return true;
}

}  // namespace

HANDLE createServerPipe(DWORD openMode, const PipeSystem& system) {
  UniqueLocalMemory descriptor;
  if (!system.convertSddl(kPipeSddl, descriptor.receive())) {
    ::SetLastError(ERROR_INVALID_SID);
    return INVALID_HANDLE_VALUE;
  }
  SECURITY_ATTRIBUTES security{sizeof security, descriptor.get(), /*inherit=*/FALSE};
  return system.createNamedPipe(kPipeName, openMode, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
                                PIPE_UNLIMITED_INSTANCES, kPipeBufferBytes, kPipeBufferBytes,
                                kPipeDefaultTimeoutMs, &security);
}

bool readExact(HANDLE pipe, void* buffer, size_t n, HANDLE stopEvent, std::string* error,
               const PipeSystem& system) {
  return transferExact(pipe, n, stopEvent, "ReadFile failed", error, system,
                       [&](size_t offset, DWORD bytes, OVERLAPPED* overlapped) {
                         return system.readFile(pipe, static_cast<char*>(buffer) + offset, bytes,
                                                /*transferred=*/nullptr, overlapped);
                       });
}

bool writeExact(HANDLE pipe, const void* buffer, size_t n, HANDLE stopEvent, std::string* error,
                const PipeSystem& system) {
  return transferExact(pipe, n, stopEvent, "WriteFile failed", error, system,
                       [&](size_t offset, DWORD bytes, OVERLAPPED* overlapped) {
                         return system.writeFile(pipe, static_cast<const char*>(buffer) + offset, bytes,
                                                 /*transferred=*/nullptr, overlapped);
                       });
}

bool readFrame(HANDLE pipe, HANDLE stopEvent, uint32_t* opcode, std::string* payload, std::string* error,
               const PipeSystem& system) {
  // A code left over from an earlier call, a broken pipe above all, must not pass for this frame's.
  ::SetLastError(ERROR_SUCCESS);
  uint8_t bytes[kFrameHeaderBytes];
  if (!readExact(pipe, bytes, sizeof bytes, stopEvent, error, system)) return false;
  FrameHeader header;
  if (!decodeFrameHeader(ByteView(bytes, sizeof bytes), &header, error)) return false;

  const auto read = [&](char* to, size_t n) { return readExact(pipe, to, n, stopEvent, error, system); };
  if (!readGrowing(payload, header.length, read)) return false;
  *opcode = header.opcode;
  return true;
}

bool writeFrame(HANDLE pipe, HANDLE stopEvent, uint32_t opcode, const std::string& payload,
                std::string* error, const PipeSystem& system) {
  if (payload.size() > kMaxPayloadBytes) return fail(error, "payload too large");
  const auto header = encodeFrameHeader({opcode, static_cast<uint32_t>(payload.size())});
  if (payload.size() <= kIoChunkBytes - header.size()) {
    // In one write, which costs more than what it carries.
    const std::string frame = std::string(header.begin(), header.end()) + payload;
    return writeExact(pipe, frame.data(), frame.size(), stopEvent, error, system);
  }
  return writeExact(pipe, header.data(), header.size(), stopEvent, error, system) &&
         writeExact(pipe, payload.data(), payload.size(), stopEvent, error, system);
}

bool transact(HANDLE pipe, uint32_t opcode, const std::string& request, uint32_t* replyOpcode,
              std::string* reply, std::string* error, const PipeSystem& system) {
  if (request.size() > kMaxPayloadBytes) return fail(error, "payload too large");
  const auto header = encodeFrameHeader({opcode, static_cast<uint32_t>(request.size())});
  if (!writeWhole(pipe, header.data(), header.size(), error, system)) return false;
  if (!writeWhole(pipe, request.data(), request.size(), error, system)) return false;

  uint8_t bytes[kFrameHeaderBytes];
  if (!readWhole(pipe, bytes, sizeof bytes, error, system)) return false;
  FrameHeader replyHeader;
  if (!decodeFrameHeader(ByteView(bytes, sizeof bytes), &replyHeader, error)) return false;
  const auto read = [&](char* to, size_t n) { return readWhole(pipe, to, n, error, system); };
  if (!readGrowing(reply, replyHeader.length, read)) return false;
  *replyOpcode = replyHeader.opcode;
  return true;
}

}  // namespace korvel::ipc
