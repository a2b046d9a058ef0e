// Requests to a pretended service without a stream between.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "korvelmock/player.h"
#include "korvelmock/session.h"
#include "protocol/messages.h"
#include "protokit/message_json.h"

namespace korvel::test {

using kit::Json;

/// A stream whose input is known and whose output is kept.
class MemoryChannel : public mock::Channel {
 public:
  explicit MemoryChannel(std::string input) : input_(std::move(input)) {}

  bool read(void* to, size_t bytes) override {
    if (input_.size() - at_ < bytes) return false;
    input_.copy(static_cast<char*>(to), bytes, at_);
    at_ += bytes;
    return true;
  }
  bool write(std::string_view bytes) override {
    if (output.size() >= mostOutput) return false;
    output += bytes;
    pieces.push_back(bytes.size());
    return true;
  }

  std::string output;
  std::vector<size_t> pieces;
  size_t mostOutput = SIZE_MAX;  ///< the reader leaves after so much

 private:
  std::string input_;
  size_t at_ = 0;
};

inline std::string frameOf(uint32_t opcode, const std::string& payload = {}) {
  const auto header = ipc::encodeFrameHeader({opcode, static_cast<uint32_t>(payload.size())});
  return std::string(header.begin(), header.end()) + payload;
}

/// Asks by the names and values of docs/protocol.md.
class MockClient {
 public:
  explicit MockClient(const mock::Script& script) : player_(script) {}
  explicit MockClient(std::string_view script) : MockClient(mock::parseScript(script)) {}

  mock::Answer bytes(const std::string& operation, const Json& value = Json::object()) {
    const uint32_t opcode = kit::operationNumber(operation).value();
    return player_.answer({opcode, kit::messagePayload(kit::Side::kRequest, opcode, value)});
  }
  /// The value of the reply, {"error": text} for a refusal, null where the frame or the payload is none.
  Json ask(const std::string& operation, const Json& value = Json::object()) {
    const std::string answer = bytes(operation, value).bytes;
    ipc::FrameHeader header;
    if (answer.size() < ipc::kFrameHeaderBytes ||
        !ipc::decodeFrameHeader(ByteView(std::string_view(answer)), &header, nullptr) ||
        answer.size() != ipc::kFrameHeaderBytes + header.length)
      return nullptr;
    const auto decoded =
        kit::messageValue(kit::Side::kReply, header.opcode, answer.substr(ipc::kFrameHeaderBytes));
    return decoded ? *decoded : Json(nullptr);
  }
  /// Scans a folder to its end; the last progress.
  Json scan(const std::string& folder) {
    EXPECT_EQ(ask("StartScan", {{"scope", 3}, {"targets", {folder}}}), Json::object());
    for (int i = 0; i < 100; ++i) {
      Json progress = ask("GetProgress");
      if (progress["scanning"] == false) return progress;
    }
    ADD_FAILURE() << "the scan has no end";
    return nullptr;
  }

 private:
  mock::Player player_;
};

}  // namespace korvel::test
