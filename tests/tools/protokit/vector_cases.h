// The cases of docs/vectors: for every operation ordinary, empty, largest, non-ASCII and malformed messages,
// made by the codec.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "protokit/message_json.h"

namespace korvel::test {

using Json = nlohmann::ordered_json;

struct VectorCase {
  std::string name;
  kit::Side side = kit::Side::kRequest;
  uint32_t opcode = 0;  ///< of the frame
  std::string payload;
  Json pieces = nullptr;     ///< a short form of the payload, for the largest; null: plain digits
  Json value = nullptr;      ///< what it says; null: it cannot be decoded
  std::string refusal = {};  ///< the service's error text, for a request that cannot be decoded
  bool sameBytes = true;     ///< encoding the value gives the payload again
};

struct VectorFile {
  std::string name;  ///< "03-start-scan"
  uint32_t opcode = 0;
  std::vector<VectorCase> cases;
};

/// One per operation, in the order of their numbers.
std::vector<VectorFile> vectorFiles();

/// Whole frames: good ones, and those that end the connection.
struct FrameCase {
  std::string name;
  std::string bytes;
  Json pieces = nullptr;
  std::string error = {};  ///< empty for a frame that is accepted
};
std::vector<FrameCase> frameCases();

/// Every text with which the service refuses or fails a request.
struct Refusal {
  uint32_t opcode = 0;  ///< of the request
  std::string text;     ///< with an example where the text varies
  const char* when = "";
  bool inReply = false;  ///< in an ordinary reply of a firewall change, not in an error frame
};
std::vector<Refusal> refusals();

}  // namespace korvel::test
