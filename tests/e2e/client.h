// A client of the control pipe that can also misbehave. Writes and reads its bytes itself, so that it
// checks the layout on the wire independently of the product's code.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/unique_resource.h"

namespace korvel::test {

struct Reply {
  uint32_t opcode = 0;
  std::string payload;
  bool operator==(const Reply&) const = default;
};

/// The 24 header bytes with every field free.
struct RawHeader {
  uint32_t magic = 0x4B52564C;
  uint32_t version = 1;
  uint32_t opcode = 2;
  uint32_t length = 0;
  uint64_t reserved = 0;
  std::string bytes() const;
};

/// A well-formed frame.
std::string frame(uint32_t opcode, std::string_view payload = {});

class Client {
 public:
  /// Tries once. False when the pipe is busy or missing; `code`, when given, then says which.
  bool tryConnect(DWORD* code = nullptr);
  /// Waits until the service serves this client; throws after `limitMs`.
  void connect(DWORD limitMs = 20'000);
  void disconnect() { pipe_.reset(); }

  /// False when the service has closed the connection.
  bool send(std::string_view bytes);
  /// Nothing when the service has closed the connection.
  std::optional<Reply> receive();
  /// How many bytes of replies wait to be received.
  DWORD waiting() const;
  /// Throws when no reply comes.
  Reply request(uint32_t opcode, std::string_view payload = {});

 private:
  bool readExactly(char* to, size_t count);

  UniqueHandle pipe_;
};

}  // namespace korvel::test
