#include "korvelctl/connection.h"

#include "base/unique_resource.h"
#include "ipc/control_client.h"
#include "ipc/pipe_io.h"

namespace korvel::ctl {
namespace {

/// How long another client's exchange may keep the pipe busy.
constexpr DWORD kConnectBudgetMs = 5000;

}  // namespace

std::string ask(ipc::Opcode opcode, const std::string& request) {
  std::string error;
  const UniqueHandle pipe(ipc::connectServicePipe(&error, kConnectBudgetMs));
  if (!pipe) throw Failure(kExitUnreachable, error);

  uint32_t replyOpcode = 0;
  std::string reply;
  if (!ipc::transact(pipe.get(), static_cast<uint32_t>(opcode), request, &replyOpcode, &reply, &error)) {
    throw Failure(kExitProtocol, error);
  }
  if (replyOpcode == ipc::kErrorOpcode) throw Failure(kExitRefused, understood(ipc::decodeText(reply)));
  if (replyOpcode != static_cast<uint32_t>(opcode)) {
    throw Failure(kExitProtocol, "the service replied with code " + std::to_string(replyOpcode) +
                                     " to request " + std::to_string(static_cast<uint32_t>(opcode)));
  }
  return reply;
}

}  // namespace korvel::ctl
