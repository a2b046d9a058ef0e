#include "protokit/exchange_vector.h"

#include "protokit/byte_pieces.h"
#include "protokit/message_json.h"

namespace korvel::kit {
namespace {

Json caseOf(Side side, const ipc::Frame& frame) {
  const auto value = messageValue(side, frame.opcode, frame.payload);
  return {{"kind", side == Side::kRequest ? "request" : "reply"},
          {"payload", hexOf(frame.payload)},
          {"value", value ? *value : Json(nullptr)}};
}

}  // namespace

Json exchangeVector(const ipc::Frame& request, const ipc::Frame* reply) {
  Json vector = {{"opcode", request.opcode}, {"name", operationName(request.opcode)}};
  vector["cases"] = Json::array({caseOf(Side::kRequest, request)});
  if (reply == nullptr) return vector;
  Json answer = caseOf(Side::kReply, *reply);
  if (reply->opcode != request.opcode) answer["opcode"] = reply->opcode;
  vector["cases"].push_back(std::move(answer));
  return vector;
}

}  // namespace korvel::kit
