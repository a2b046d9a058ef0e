#include "korvelctl/connection.h"

#include "base/unique_resource.h"
#include "client/service_pipe.h"

namespace korvel::ctl {
namespace {

/// How long to wait while another client's exchange keeps the pipe busy.
constexpr DWORD kConnectBudgetMs = 5000;

}  // namespace

std::string ask(ipc::Opcode opcode, const std::string& request) {
  std::string error;
  const UniqueHandle pipe(ipc::connectServicePipe(&error, kConnectBudgetMs));
  if (!pipe) throw Failure(kExitUnreachable, error);

  ipc::Frame reply;
  if (!ipc::transact(pipe.get(), {static_cast<uint32_t>(opcode), request}, &reply, &error)) {
    throw Failure(kExitProtocol, error);
  }
  if (reply.opcode == ipc::kErrorOpcode) {
    throw Failure(kExitRefused, understood(ipc::decodeText(reply.payload)));
  }
  if (reply.opcode != static_cast<uint32_t>(opcode)) {
    throw Failure(kExitProtocol, "the service replied with code " + std::to_string(reply.opcode) +
                                     " to request " + std::to_string(static_cast<uint32_t>(opcode)));
  }
  return std::move(reply.payload);
}

}  // namespace korvel::ctl
