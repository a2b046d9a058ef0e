// Which bytes answer a request: the first rule of the script that applies, else the machine. Pure; not
// thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "korvelmock/machine.h"
#include "korvelmock/script.h"
#include "protocol/frame.h"

namespace korvel::mock {

/// One answer as it is played.
struct Answer {
  std::string bytes;
  uint32_t delayMs = 0;     ///< before the first byte
  uint32_t pieceBytes = 0;  ///< 0: at once
  uint32_t pieceMs = 0;     ///< between two pieces
  bool hangUp = false;      ///< the connection ends behind it
  bool ends = false;        ///< the service ends behind it
  std::string told;         ///< what it is, for people: "refusal, 25 bytes"
};

class Player {
 public:
  explicit Player(const Script& script);

  Answer answer(const ipc::Frame& request);

 private:
  struct Uses {
    uint64_t passed = 0;
    uint64_t answered = 0;
  };

  /// Null where the machine answers.
  const AnswerRule* ruleFor(uint32_t opcode);

  std::vector<AnswerRule> rules_;
  std::vector<Uses> uses_;
  Machine machine_;
};

}  // namespace korvel::mock
