#include "client/service_connection.h"

namespace korvel::ipc {
namespace {

std::string hexOf(const FrameHeaderBytes& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

ExchangeResult resultOfOpening(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
      return ExchangeResult::kNotFound;
    case ERROR_PIPE_BUSY:
      return ExchangeResult::kBusy;
    case ERROR_ACCESS_DENIED:
      return ExchangeResult::kDenied;
    default:
      return ExchangeResult::kNoPipe;
  }
}

}  // namespace

ExchangeResult ServiceConnection::tryOpen(const std::wstring& pipeName, DWORD* code) {
  if (!done_) done_.reset(::CreateEventW(/*security=*/nullptr, /*manual=*/TRUE, FALSE, /*name=*/nullptr));
  pipe_.reset(::CreateFileW(pipeName.c_str(), GENERIC_READ | GENERIC_WRITE, /*share=*/0, /*security=*/nullptr,
                            OPEN_EXISTING, FILE_FLAG_OVERLAPPED, /*template=*/nullptr));
  if (pipe_ && done_) return ExchangeResult::kOk;
  const DWORD failed = ::GetLastError();
  if (code != nullptr) *code = failed;
  pipe_.reset();
  return resultOfOpening(failed);
}

/// Moves all of `bytes`, or closes nothing and returns false with the reason in timedOut_ and code_.
bool ServiceConnection::transfer(bool write, void* buffer, size_t bytes) {
  for (size_t moved = 0; moved < bytes;) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = done_.get();
    char* const at = static_cast<char*>(buffer) + moved;
    const DWORD want = chunkOf(bytes - moved);
    const BOOL started = write ? ::WriteFile(pipe_.get(), at, want, /*transferred=*/nullptr, &overlapped)
                               : ::ReadFile(pipe_.get(), at, want, /*transferred=*/nullptr, &overlapped);
    if (!started && ::GetLastError() != ERROR_IO_PENDING) {
      code_ = ::GetLastError();
      return false;
    }
    const ULONGLONG now = ::GetTickCount64();
    const DWORD left = now < deadlineMs_ ? static_cast<DWORD>(deadlineMs_ - now) : 0;
    if (::WaitForSingleObject(done_.get(), left) == WAIT_TIMEOUT) {
      timedOut_ = true;
      (void)::CancelIoEx(pipe_.get(), &overlapped);  // fails only when the transfer has ended by now
    }
    DWORD transferred = 0;
    // Waits for the end of a cancelled transfer too: the system may use the buffer until then.
    const BOOL ok = ::GetOverlappedResult(pipe_.get(), &overlapped, &transferred, /*wait=*/TRUE);
    if (ok && transferred > 0) timedOut_ = false;
    if (!ok || transferred == 0) {
      code_ = ok ? ERROR_BROKEN_PIPE : ::GetLastError();
      return false;
    }
    moved += transferred;
  }
  return true;
}

ExchangeResult ServiceConnection::ended(ExchangeResult result, const std::string& text, DWORD code,
                                        Error* error) {
  close();
  if (error != nullptr) *error = {text, code};
  return result;
}

ExchangeResult ServiceConnection::exchange(const Frame& request, Frame* reply, DWORD timeoutMs,
                                           Error* error) {
  if (request.payload.size() > kMaxPayloadBytes) {
    if (error != nullptr) *error = {"payload too large", 0};
    return ExchangeResult::kTooLarge;
  }
  deadlineMs_ = ::GetTickCount64() + timeoutMs;
  timedOut_ = false;
  const auto broke = [&](const char* text) {
    return timedOut_ ? ended(ExchangeResult::kTimeout, "no reply in time", 0, error)
                     : ended(ExchangeResult::kClosed, text, code_, error);
  };
  FrameHeaderBytes header =
      encodeFrameHeader({request.opcode, static_cast<uint32_t>(request.payload.size())});
  // A write only reads from the buffer.
  if (!transfer(/*write=*/true, header.data(), header.size()) ||
      !transfer(/*write=*/true, const_cast<char*>(request.payload.data()), request.payload.size()))
    return broke("WriteFile failed");

  FrameHeaderBytes bytes{};
  if (!transfer(/*write=*/false, bytes.data(), bytes.size())) return broke("connection closed");
  FrameHeader replyHeader;
  std::string problem;
  if (!decodeFrameHeader(ByteView(bytes), &replyHeader, &problem))
    return ended(ExchangeResult::kMalformed, problem + ": " + hexOf(bytes), 0, error);
  const auto read = [this](char* to, size_t n) { return transfer(/*write=*/false, to, n); };
  if (!readPayload(&reply->payload, replyHeader.length, read)) return broke("connection closed");
  reply->opcode = replyHeader.opcode;
  return ExchangeResult::kOk;
}

}  // namespace korvel::ipc
