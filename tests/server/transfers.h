// Single transfers over the service's end, as tests ask for them: true when the transfer was done whole.
#pragma once

#include <string>

#include "server/pipe_end.h"

namespace korvel::ipc {

inline bool readExact(HANDLE pipe, void* buffer, size_t n, HANDLE stopEvent, std::string* error,
                      const ServerCalls& calls = ServerCalls::windows()) {
  return PipeEnd(pipe, stopEvent, calls).readExact(buffer, n, error) == Transfer::kDone;
}

inline bool writeExact(HANDLE pipe, const void* buffer, size_t n, HANDLE stopEvent, std::string* error,
                       const ServerCalls& calls = ServerCalls::windows()) {
  return PipeEnd(pipe, stopEvent, calls).writeExact(buffer, n, error) == Transfer::kDone;
}

inline bool readFrame(HANDLE pipe, HANDLE stopEvent, uint32_t* opcode, std::string* payload,
                      std::string* error, const ServerCalls& calls = ServerCalls::windows()) {
  Frame frame;
  if (PipeEnd(pipe, stopEvent, calls).readFrame(&frame, error) != Transfer::kDone) return false;
  *opcode = frame.opcode;
  *payload = std::move(frame.payload);
  return true;
}

inline bool writeFrame(HANDLE pipe, HANDLE stopEvent, uint32_t opcode, const std::string& payload,
                       std::string* error, const ServerCalls& calls = ServerCalls::windows()) {
  return PipeEnd(pipe, stopEvent, calls).writeFrame({opcode, payload}, error) == Transfer::kDone;
}

}  // namespace korvel::ipc
