#include "server/server_pipe.h"

#include "base/sizes.h"
#include "base/unique_resource.h"
#include "protocol/frame.h"

namespace korvel::ipc {
namespace {

// Full access for LocalSystem and the built-in Users group, none for anyone else.
constexpr wchar_t kPipeSddl[] = L"D:(A;;GA;;;SY)(A;;GA;;;BU)";
constexpr DWORD kPipeBufferBytes = 64 * kKiB;
constexpr DWORD kPipeDefaultTimeoutMs = 30'000;

}  // namespace

HANDLE createServerPipe(DWORD openMode, const ServerCalls& calls) {
  UniqueLocalMemory descriptor;
  if (!calls.convertSddl(kPipeSddl, descriptor.receive())) {
    ::SetLastError(ERROR_INVALID_SID);
    return INVALID_HANDLE_VALUE;
  }
  SECURITY_ATTRIBUTES security{sizeof security, descriptor.get(), /*inherit=*/FALSE};
  return calls.createNamedPipe(kPipeName, openMode, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
                               PIPE_UNLIMITED_INSTANCES, kPipeBufferBytes, kPipeBufferBytes,
                               kPipeDefaultTimeoutMs, &security);
}

}  // namespace korvel::ipc
