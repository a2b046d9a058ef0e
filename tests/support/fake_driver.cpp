#include "support/fake_driver.h"

#include <algorithm>
#include <stdexcept>

#include "base/byte_view.h"

namespace korvel::test {
namespace {

constexpr size_t kMessageBytes = 1'076;

/// Waits for an overlapped operation; cancels it at the time-out and then returns false.
bool finish(HANDLE pipe, OVERLAPPED& overlapped, DWORD milliseconds, DWORD* transferred) {
  if (::WaitForSingleObject(overlapped.hEvent, milliseconds) != WAIT_OBJECT_0) ::CancelIo(pipe);
  return ::GetOverlappedResult(pipe, &overlapped, transferred, TRUE) != FALSE;
}

}  // namespace

FakeDriver::FakeDriver()
    : event_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      pipe_(::CreateNamedPipeW(L"\\\\.\\pipe\\korvel-test-driver", PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                               PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 65'536, 65'536, 0, nullptr)) {
  if (!event_ || !pipe_) throw std::runtime_error("cannot make the driver's pipe");
}

bool FakeDriver::waitForService(uint32_t milliseconds) {
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_.get();
  if (::ConnectNamedPipe(pipe_.get(), &overlapped)) return true;
  if (::GetLastError() == ERROR_PIPE_CONNECTED) return true;
  if (::GetLastError() != ERROR_IO_PENDING) return false;
  DWORD ignored = 0;
  return finish(pipe_.get(), overlapped, milliseconds, &ignored);
}

bool FakeDriver::send(const DriverMessage& message) {
  std::vector<uint8_t> bytes(kMessageBytes, 0);
  storeLe32(&bytes[0], message.length);
  storeLe64(&bytes[8], message.messageId);
  std::copy(message.magic.begin(), message.magic.end(), bytes.begin() + 16);
  storeLe32(&bytes[20], message.version);
  storeLe32(&bytes[24], message.type);
  storeLe32(&bytes[28], message.bodySize);
  for (size_t i = 0; i < std::min<size_t>(message.path.size(), 512); ++i) {
    bytes[44 + 2 * i] = static_cast<uint8_t>(message.path[i]);
    bytes[45 + 2 * i] = static_cast<uint8_t>(message.path[i] >> 8);
  }
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_.get();
  DWORD written = 0;
  if (!::WriteFile(pipe_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped) &&
      ::GetLastError() != ERROR_IO_PENDING) {
    return false;
  }
  return finish(pipe_.get(), overlapped, 10'000, &written) && written == bytes.size();
}

std::optional<std::vector<uint8_t>> FakeDriver::receive(uint32_t milliseconds) {
  std::vector<uint8_t> bytes(256);
  OVERLAPPED overlapped{};
  overlapped.hEvent = event_.get();
  DWORD got = 0;
  if (!::ReadFile(pipe_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped) &&
      ::GetLastError() != ERROR_IO_PENDING) {
    return std::nullopt;
  }
  if (!finish(pipe_.get(), overlapped, milliseconds, &got)) return std::nullopt;
  bytes.resize(got);
  return bytes;
}

std::optional<bool> FakeDriver::ask(const std::wstring& path, uint64_t messageId, uint32_t milliseconds) {
  DriverMessage message;
  message.path = path;
  message.messageId = messageId;
  if (!send(message)) return std::nullopt;
  const auto answer = receive(milliseconds);
  if (!answer || answer->size() != 40) return std::nullopt;
  const ByteView view(answer->data(), answer->size());
  if (view.u64(8) != messageId) return std::nullopt;
  return view.u32(32) == 0u;
}

}  // namespace korvel::test
