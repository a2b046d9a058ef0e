#include "server/pipe_end.h"

#include "base/error.h"
#include "base/unique_resource.h"

namespace korvel::ipc {
namespace {

Transfer failWith(std::string* error, const char* text) {
  fail(error, text);
  return Transfer::kFailed;
}

/// Appends the last-error value to the text. ERROR_BROKEN_PIPE means that the client has disconnected.
Transfer failWithCode(std::string* error, const char* text) {
  setWin32Error(error, text);
  return ::GetLastError() == ERROR_BROKEN_PIPE ? Transfer::kClosed : Transfer::kFailed;
}

}  // namespace

/// Cancels an operation that may still be pending and waits for its end: until then the system may write to
/// `overlapped` and to the caller's buffer. Keeps the last error.
void PipeEnd::cancelAndWait(OVERLAPPED* overlapped) const {
  const LastErrorKeeper keepLastError;
  DWORD transferred = 0;
  (void)::CancelIoEx(pipe_, overlapped);  // fails when the operation has just completed
  (void)calls_.getOverlappedResult(pipe_, overlapped, &transferred, /*wait=*/TRUE);
}

/// Waits until a chunk is complete and stores its byte count. False with the reason in GetLastError():
/// ERROR_OPERATION_ABORTED after a stop.
bool PipeEnd::awaitChunk(OVERLAPPED* overlapped, DWORD* transferred) const {
  const DWORD signalled = calls_.waitForEither(overlapped->hEvent, stopEvent_);
  if (signalled == WAIT_OBJECT_0)
    return calls_.getOverlappedResult(pipe_, overlapped, transferred, /*wait=*/FALSE) != FALSE;
  if (signalled == WAIT_OBJECT_0 + 1) {
    ::SetLastError(ERROR_OPERATION_ABORTED);
  } else if (signalled != WAIT_FAILED) {
    ::SetLastError(ERROR_GEN_FAILURE);
  }
  cancelAndWait(overlapped);
  return false;
}

/// The loop for both directions. `start(offset, bytes, overlapped)` starts the transfer of one chunk;
/// `failedText` is the error text when that fails.
template <typename Start>
Transfer PipeEnd::transferExact(size_t n, const char* failedText, std::string* error, Start start) const {
  for (size_t done = 0; done < n;) {
    OVERLAPPED overlapped{};
    const UniqueHandle chunkEvent(calls_.createEvent());
    if (!chunkEvent) return failWithCode(error, "CreateEvent failed");
    overlapped.hEvent = chunkEvent.get();

    if (!start(done, chunkOf(n - done), &overlapped) && ::GetLastError() != ERROR_IO_PENDING) {
      return failWithCode(error, failedText);
    }
    DWORD transferred = 0;
    if (!awaitChunk(&overlapped, &transferred)) {
      if (::GetLastError() != ERROR_OPERATION_ABORTED) return failWithCode(error, failedText);
      fail(error, "stopping");
      return Transfer::kStopped;
    }
    if (transferred == 0) {
      fail(error, "connection closed");
      return Transfer::kClosed;
    }
    done += transferred;
  }
  return Transfer::kDone;
}

Transfer PipeEnd::readExact(void* buffer, size_t n, std::string* error) const {
  return transferExact(n, "ReadFile failed", error, [&](size_t offset, DWORD bytes, OVERLAPPED* overlapped) {
    return calls_.readFile(pipe_, static_cast<char*>(buffer) + offset, bytes, overlapped);
  });
}

Transfer PipeEnd::writeExact(const void* buffer, size_t n, std::string* error) const {
  return transferExact(n, "WriteFile failed", error, [&](size_t offset, DWORD bytes, OVERLAPPED* overlapped) {
    return calls_.writeFile(pipe_, static_cast<const char*>(buffer) + offset, bytes, overlapped);
  });
}

Transfer PipeEnd::readFrame(Frame* frame, std::string* error) const {
  ::SetLastError(ERROR_SUCCESS);
  FrameHeaderBytes bytes;
  Transfer result = readExact(bytes.data(), bytes.size(), error);
  if (result != Transfer::kDone) return result;
  FrameHeader header;
  if (!decodeFrameHeader(ByteView(bytes), &header, error)) return Transfer::kFailed;

  const auto read = [&](char* to, size_t n) {
    result = readExact(to, n, error);
    return result == Transfer::kDone;
  };
  if (!readPayload(&frame->payload, header.length, read)) return result;
  frame->opcode = header.opcode;
  return Transfer::kDone;
}

Transfer PipeEnd::writeFrame(const Frame& frame, std::string* error) const {
  const std::string& payload = frame.payload;
  if (payload.size() > kMaxPayloadBytes) return failWith(error, "payload too large");
  const FrameHeaderBytes header = encodeFrameHeader({frame.opcode, static_cast<uint32_t>(payload.size())});
  if (payload.size() <= kIoChunkBytes - header.size()) {
    // Header and payload in one write: for small payloads a second write would cost more than the copy.
    const std::string whole = std::string(header.begin(), header.end()) + payload;
    return writeExact(whole.data(), whole.size(), error);
  }
  const Transfer result = writeExact(header.data(), header.size(), error);
  return result == Transfer::kDone ? writeExact(payload.data(), payload.size(), error) : result;
}

}  // namespace korvel::ipc
