// One exchange of a client with its parts side by side, as tests look at them.
#pragma once

#include <string>
#include <utility>

#include "client/service_pipe.h"

namespace korvel::ipc {

inline bool transact(HANDLE pipe, uint32_t opcode, const std::string& request, uint32_t* replyOpcode,
                     std::string* reply, std::string* error,
                     const ClientCalls& calls = ClientCalls::windows()) {
  Frame received;
  if (!transact(pipe, Frame{opcode, request}, &received, error, calls)) return false;
  *replyOpcode = received.opcode;
  *reply = std::move(received.payload);
  return true;
}

}  // namespace korvel::ipc
