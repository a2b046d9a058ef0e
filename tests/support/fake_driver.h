// Plays the minifilter driver over the pipe that the stand-in filter library opens (tests/engine/driver).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/unique_resource.h"

namespace korvel::test {

/// One message from the driver; the defaults make a well-formed query.
struct DriverMessage {
  uint32_t length = 1'060;
  uint64_t messageId = 1;
  std::array<char, 4> magic = {'K', 'R', 'V', 'L'};
  uint32_t version = 1;
  uint32_t type = 1;
  uint32_t bodySize = 1'060;
  std::wstring path = {};  ///< beyond 512 units: cut; without room for a NUL: none
};

class FakeDriver {
 public:
  /// Owns the port from now on.
  FakeDriver();

  /// Waits for the service to connect; false after `milliseconds`.
  bool waitForService(uint32_t milliseconds);
  bool send(const DriverMessage& message);
  /// The next 40-byte answer, or nothing within `milliseconds`.
  std::optional<std::vector<uint8_t>> receive(uint32_t milliseconds);
  /// Sends a query and returns whether it was allowed; nothing without an answer.
  std::optional<bool> ask(const std::wstring& path, uint64_t messageId, uint32_t milliseconds = 10'000);
  /// The driver goes away.
  void unload() { pipe_.reset(); }

 private:
  UniqueHandle event_;
  UniqueHandle pipe_;
};

}  // namespace korvel::test
