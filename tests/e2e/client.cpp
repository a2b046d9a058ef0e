#include "e2e/client.h"

#include <algorithm>
#include <stdexcept>

#include "base/byte_view.h"
#include "base/files.h"
#include "support/eventually.h"

namespace korvel::test {
namespace {

constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\KorvelAV";
constexpr size_t kHeaderBytes = 24;

}  // namespace

std::string RawHeader::bytes() const {
  uint8_t raw[kHeaderBytes];
  storeLe32(raw, magic);
  storeLe32(raw + 4, version);
  storeLe32(raw + 8, opcode);
  storeLe32(raw + 12, length);
  storeLe64(raw + 16, reserved);
  return std::string(reinterpret_cast<const char*>(raw), sizeof raw);
}

std::string frame(uint32_t opcode, std::string_view payload) {
  RawHeader header;
  header.opcode = opcode;
  header.length = static_cast<uint32_t>(payload.size());
  return header.bytes().append(payload);
}

bool Client::tryConnect(DWORD* code) {
  pipe_.reset(::CreateFileW(kPipe, GENERIC_READ | GENERIC_WRITE, /*share=*/0, /*security=*/nullptr,
                            OPEN_EXISTING,
                            /*flags=*/0, /*template=*/nullptr));
  if (!pipe_ && code != nullptr) *code = ::GetLastError();
  return static_cast<bool>(pipe_);
}

void Client::connect(DWORD limitMs) {
  DWORD code = 0;
  if (!eventually(limitMs, [&] { return tryConnect(&code); })) {
    throw std::runtime_error("no connection, win32=" + std::to_string(code));
  }
}

bool Client::send(std::string_view bytes) { return writeAll(pipe_.get(), bytes); }

std::optional<Reply> Client::receive() {
  std::string header(kHeaderBytes, '\0');
  if (!readExactly(header.data(), header.size())) return std::nullopt;
  const ByteView view{std::string_view(header)};
  if (*view.u32(0) != 0x4B52564C || *view.u32(4) != 1 || *view.u64(16) != 0) {
    throw std::runtime_error("the reply's header is malformed");
  }
  Reply reply;
  reply.opcode = *view.u32(8);
  reply.payload.resize(*view.u32(12));
  if (!readExactly(reply.payload.data(), reply.payload.size())) return std::nullopt;
  return reply;
}

DWORD Client::waiting() const {
  DWORD bytes = 0;
  (void)::PeekNamedPipe(pipe_.get(), /*buffer=*/nullptr, 0, nullptr, &bytes, nullptr);  // 0 once hung up
  return bytes;
}

Reply Client::request(uint32_t opcode, std::string_view payload) {
  if (!send(frame(opcode, payload))) throw std::runtime_error("the request cannot be sent");
  std::optional<Reply> reply = receive();
  if (!reply) throw std::runtime_error("no reply");
  return std::move(*reply);
}

bool Client::readExactly(char* to, size_t count) {
  while (count > 0) {
    DWORD got = 0;
    const DWORD want = static_cast<DWORD>(std::min<size_t>(count, 1 << 20));
    if (!::ReadFile(pipe_.get(), to, want, &got, /*overlapped=*/nullptr) || got == 0) return false;
    to += got;
    count -= got;
  }
  return true;
}

}  // namespace korvel::test
