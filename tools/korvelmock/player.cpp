#include "korvelmock/player.h"

#include <algorithm>
#include <utility>

#include "protocol/messages.h"
#include "protokit/message_json.h"

namespace korvel::mock {
namespace {

bool appliesTo(const AnswerRule& rule, uint32_t opcode) {
  return rule.to.empty() || std::find(rule.to.begin(), rule.to.end(), opcode) != rule.to.end();
}

void putU32(std::string& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < sizeof value; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
}

/// The frame with the header fields that the rule names. A length that the payload does not have is the point
/// of such a rule, so the encoder gets the real one first.
std::string frameBytes(const ipc::Frame& frame, const AnswerRule& rule) {
  constexpr size_t kVersionAt = 4;
  constexpr size_t kLengthAt = 12;
  const auto header = ipc::encodeFrameHeader(
      {rule.opcode.value_or(frame.opcode), static_cast<uint32_t>(frame.payload.size())});
  std::string bytes(header.begin(), header.end());
  if (rule.version) putU32(bytes, kVersionAt, *rule.version);
  if (rule.length) putU32(bytes, kLengthAt, *rule.length);
  return bytes + frame.payload;
}

std::string toldOf(const ipc::Frame& frame) {
  const char* kind = frame.opcode == ipc::kErrorOpcode ? "refusal, " : "reply, ";
  return kind + std::to_string(frame.payload.size()) + " bytes";
}

}  // namespace

Player::Player(const Script& script)
    : rules_(script.answers), uses_(script.answers.size()), machine_(script.machine) {}

const AnswerRule* Player::ruleFor(uint32_t opcode) {
  for (size_t i = 0; i < rules_.size(); ++i) {
    if (!appliesTo(rules_[i], opcode)) continue;
    Uses& uses = uses_[i];
    if (uses.passed < rules_[i].skip) {
      ++uses.passed;
      continue;
    }
    if (uses.answered == rules_[i].times) continue;
    ++uses.answered;
    return &rules_[i];
  }
  return nullptr;
}

Answer Player::answer(const ipc::Frame& request) {
  static const AnswerRule kMachineAnswers;
  const AnswerRule* found = ruleFor(request.opcode);
  const AnswerRule& rule = found == nullptr ? kMachineAnswers : *found;

  Answer answer;
  answer.delayMs = rule.delayMs;
  answer.pieceBytes = rule.pieceBytes;
  answer.pieceMs = rule.pieceMs;
  answer.hangUp = rule.hangUp;
  if (rule.silent) {
    answer.told = "silence";
    return answer;
  }
  if (rule.bytes) {
    answer.bytes = *rule.bytes;
    answer.told = std::to_string(answer.bytes.size()) + " bytes in place of a frame";
  } else {
    ipc::Frame frame{request.opcode, {}};
    if (rule.refusal) {
      frame = {ipc::kErrorOpcode, *rule.refusal};
    } else if (rule.payload) {
      frame.payload = *rule.payload;
    } else if (const auto reply = rule.replies.find(request.opcode); reply != rule.replies.end()) {
      frame.payload = reply->second;
    } else {
      frame = machine_.answer(request);
      answer.ends = request.opcode == static_cast<uint32_t>(ipc::Opcode::kStopService) &&
                    frame.opcode == request.opcode;
    }
    frame.payload += rule.append;
    answer.bytes = frameBytes(frame, rule);
    answer.told = toldOf(frame);
  }
  if (rule.cut) {
    answer.bytes.resize(std::min<uint64_t>(*rule.cut, answer.bytes.size()));
    answer.hangUp = true;
    answer.told += ", cut after " + std::to_string(answer.bytes.size());
  }
  return answer;
}

}  // namespace korvel::mock
