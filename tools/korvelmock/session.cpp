#include "korvelmock/session.h"

#include <algorithm>
#include <optional>
#include <string>

#include "protocol/frame.h"
#include "protokit/message_json.h"

namespace korvel::mock {
namespace {

struct Request {
  ipc::Frame frame;
  std::string error;  ///< why the bytes are no frame
};

/// Nothing when the client has left.
std::optional<Request> readRequest(Channel& channel) {
  Request request;
  ipc::FrameHeaderBytes bytes{};
  if (!channel.read(bytes.data(), bytes.size())) return std::nullopt;
  ipc::FrameHeader header;
  if (!ipc::decodeFrameHeader(ByteView(bytes), &header, &request.error)) return request;
  request.frame.opcode = header.opcode;
  const auto read = [&channel](char* to, size_t count) { return channel.read(to, count); };
  if (!ipc::readPayload(&request.frame.payload, header.length, read)) return std::nullopt;
  return request;
}

std::string nameOf(const ipc::Frame& request) {
  const std::string name = kit::operationName(request.opcode);
  return (name.empty() ? "opcode " + std::to_string(request.opcode) : name) + ", " +
         std::to_string(request.payload.size()) + " bytes";
}

bool play(Channel& channel, const Answer& answer, const Surroundings& around) {
  if (answer.delayMs != 0) around.sleep(answer.delayMs);
  std::string_view rest = answer.bytes;
  while (!rest.empty()) {
    const size_t piece =
        answer.pieceBytes == 0 ? rest.size() : std::min<size_t>(answer.pieceBytes, rest.size());
    if (!channel.write(rest.substr(0, piece))) return false;
    rest.remove_prefix(piece);
    if (!rest.empty() && answer.pieceMs != 0) around.sleep(answer.pieceMs);
  }
  return true;
}

}  // namespace

SessionEnd serveClient(Channel& channel, Player& player, const Surroundings& around) {
  for (;;) {
    const auto request = readRequest(channel);
    if (!request) return SessionEnd::kClientLeft;
    if (!request->error.empty()) {
      around.tell("no frame: " + request->error);
      return SessionEnd::kHungUp;
    }
    const Answer answer = player.answer(request->frame);
    around.tell(nameOf(request->frame) + ": " + answer.told);
    if (!play(channel, answer, around)) return SessionEnd::kClientLeft;
    if (answer.ends) return SessionEnd::kStopped;
    if (answer.hangUp) return SessionEnd::kHungUp;
  }
}

}  // namespace korvel::mock
