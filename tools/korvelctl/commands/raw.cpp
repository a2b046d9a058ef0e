// raw: one request as bytes, for those who write clients.
#include <charconv>
#include <stdexcept>

#include "base/files.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/raw_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/printable.h"
#include "protokit/byte_pieces.h"
#include "protokit/exchange_vector.h"
#include "protokit/message_json.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

struct RawOptions {
  std::string opcode;
  std::string payload;
};

uint32_t opcodeOf(const Context& context, const std::string& word) {
  if (const auto number = kit::operationNumber(word)) return *number;
  uint32_t number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, problem] = std::from_chars(word.data(), end, number);
  if (word.empty() || problem != std::errc() || stop != end)
    throw Failure(ErrorKind::kUsage, context.say(words::kRawNotAnOpcode, {printable(word)}));
  return number;
}

std::string payloadOf(const Context& context, const std::string& word) {
  if (word.starts_with('@')) {
    const std::wstring path = wholePath(word.substr(1), context.language());
    std::string bytes;
    // One byte above the limit is enough: the exchange refuses it.
    if (!readWholeFile(path, bytes, ipc::kMaxPayloadBytes + 1ull))
      throw Failure(ErrorKind::kIo, context.say(words::kRawUnreadable, {printable(path)}), {},
                    ::GetLastError());
    return bytes;
  }
  try {
    return kit::bytesOfHex(word);
  } catch (const std::invalid_argument&) {
    throw Failure(ErrorKind::kUsage, context.say(words::kRawNotHex));
  }
}

/// Whether a request only looks, or starts what can be cancelled.
bool isHarmless(uint32_t opcode) {
  switch (static_cast<Opcode>(opcode)) {
    case Opcode::kThreatDecision:
    case Opcode::kDeleteQuarantined:
    case Opcode::kRestoreQuarantined:
    case Opcode::kSetConfig:
    case Opcode::kFirewallSetProfile:
    case Opcode::kFirewallBlockInbound:
    case Opcode::kFirewallAddRule:
    case Opcode::kFirewallRemoveRules:
    case Opcode::kStopService:
      return false;
    default:
      return true;
  }
}

int raw(Context& context, const RawOptions& options) {
  const ipc::Frame request{opcodeOf(context, options.opcode), payloadOf(context, options.payload)};
  const std::string number = std::to_string(request.opcode);
  if (!isHarmless(request.opcode)) context.confirm(context.say(words::kRawQuestion, {number}));
  if (context.global().dryRun) {
    context.print(context.say(words::kRawWouldSend, {number, std::to_string(request.payload.size())}) + "\n");
    context.document("raw", {{"exchange", kit::exchangeVector(request, nullptr)}, {"done", false}});
    return kExitDone;
  }
  const ipc::Frame reply = context.service().exchange(request);
  context.print(
      context.say(words::kRawReply, {std::to_string(reply.opcode), std::to_string(reply.payload.size())}) +
      "\n");
  if (!reply.payload.empty()) context.print(kit::hexOf(reply.payload) + "\n");
  context.document("raw", {{"exchange", kit::exchangeVector(request, &reply)}, {"done", true}});
  return reply.opcode == ipc::kErrorOpcode ? kExitRefused : kExitDone;
}

}  // namespace

void addRawCommand(Command& root) {
  const auto options = std::make_shared<RawOptions>();
  root.add("raw", words::kRawHelp, [options](Context& context) { return raw(context, *options); })
      .argument("OP", options->opcode, words::kRawOpcode)
      .argument("HEX|@FILE", options->payload, words::kRawPayload, /*required=*/false)
      .example("korvelctl raw GetStatus", words::kRawExample)
      .example("korvelctl raw 9 7b1867fba1010000", words::kRawChangeExample)
      .note(words::kRawNote);
}

}  // namespace korvel::ctl
