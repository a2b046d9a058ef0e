#include "korvelctl/cli/service.h"

#include <algorithm>

#include "korvelctl/cli/words/connection_words.h"

namespace korvel::ctl {
namespace {

constexpr size_t kShownBytes = 24;

std::string hexHead(const std::string& payload) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : payload.substr(0, kShownBytes)) {
    text += kDigits[static_cast<uint8_t>(c) >> 4];
    text += kDigits[static_cast<uint8_t>(c) & 15];
  }
  return payload.size() > kShownBytes ? text + "..." : text;
}

}  // namespace

Failure notUnderstood(const Service& service, ipc::Opcode opcode, const std::string& payload) {
  return Failure(ErrorKind::kProtocol, filled(words::kUndecodableReply, service.language(),
                                              {std::to_string(static_cast<uint32_t>(opcode)),
                                               std::to_string(payload.size()), hexHead(payload)}));
}

}  // namespace korvel::ctl
