// One connection of a client to korvelmock, over any stream of bytes. Pure; not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "korvelmock/player.h"

namespace korvel::mock {

/// A stream of bytes in both directions.
class Channel {
 public:
  virtual ~Channel() = default;

  /// All `bytes`, or false when the stream ends before.
  virtual bool read(void* to, size_t bytes) = 0;
  /// False when nobody reads any more.
  virtual bool write(std::string_view bytes) = 0;
};

struct Surroundings {
  std::function<void(uint32_t milliseconds)> sleep;
  std::function<void(std::string_view line)> tell;  ///< gets a line per exchange, without its end
};

enum class SessionEnd {
  kClientLeft,
  kHungUp,   ///< by the script, or because the request is no frame
  kStopped,  ///< the client stopped the service
};

/// Answers requests until the connection has to end. Closing the channel is the caller's.
SessionEnd serveClient(Channel& channel, Player& player, const Surroundings& around);

}  // namespace korvel::mock
