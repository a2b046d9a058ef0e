// korvelmock but for what the system does: files, streams, pipes and the time. Pure; not thread-safe.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korvelmock/command_line.h"
#include "korvelmock/script.h"
#include "korvelmock/session.h"

namespace korvel::mock {

/// Where clients connect, one after the other.
class Listener {
 public:
  virtual ~Listener() = default;

  /// Keeps everybody out for a time, as another client that is served would.
  virtual void keepBusy(uint32_t milliseconds) = 0;
  /// Waits for the next client; null when there can be none.
  virtual Channel* accept() = 0;
  /// Ends the connection of the client once it has read everything, or has left.
  virtual void disconnect() = 0;
};

class System {
 public:
  virtual ~System() = default;

  virtual std::optional<std::string> readFile(const std::string& path) = 0;
  virtual void out(std::string_view text) = 0;
  virtual void err(std::string_view text) = 0;
  virtual void sleep(uint32_t milliseconds) = 0;
  /// Standard input and output, which are one connection.
  virtual Channel& standardStreams() = 0;
  /// The pipe of that name; null with a text in `error`. A name without a folder lies in \\.\pipe.
  virtual std::unique_ptr<Listener> listen(const std::string& pipe, std::string* error) = 0;
};

/// The whole program. `arguments` are UTF-8, without the program's name. Returns the exit code.
int runKorvelmock(std::vector<std::string> arguments, System& system);

}  // namespace korvel::mock
