#include "server/server_calls.h"

#include <sddl.h>

namespace korvel::ipc {
namespace {

BOOL convertSddl(const wchar_t* sddl, PSECURITY_DESCRIPTOR* descriptor) {
  return ::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, descriptor,
                                                                /*size=*/nullptr);
}

HANDLE createNamedPipe(const wchar_t* name, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD outBytes,
                       DWORD inBytes, DWORD timeoutMs, SECURITY_ATTRIBUTES* security) {
  return ::CreateNamedPipeW(name, openMode, pipeMode, instances, outBytes, inBytes, timeoutMs, security);
}

HANDLE createEvent() {
  return ::CreateEventW(/*security=*/nullptr, /*manualReset=*/TRUE, /*initialState=*/FALSE, /*name=*/nullptr);
}

BOOL readFile(HANDLE pipe, void* buffer, DWORD bytes, OVERLAPPED* overlapped) {
  return ::ReadFile(pipe, buffer, bytes, /*transferred=*/nullptr, overlapped);
}

BOOL writeFile(HANDLE pipe, const void* buffer, DWORD bytes, OVERLAPPED* overlapped) {
  return ::WriteFile(pipe, buffer, bytes, /*transferred=*/nullptr, overlapped);
}

BOOL connectNamedPipe(HANDLE pipe, OVERLAPPED* overlapped) { return ::ConnectNamedPipe(pipe, overlapped); }

DWORD waitForEither(HANDLE first, HANDLE second) {
  const HANDLE handles[] = {first, second};
  return ::WaitForMultipleObjects(2, handles, /*waitAll=*/FALSE, INFINITE);
}

BOOL getOverlappedResult(HANDLE pipe, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait) {
  return ::GetOverlappedResult(pipe, overlapped, transferred, wait);
}

void sleep(DWORD milliseconds) { ::Sleep(milliseconds); }

HANDLE createThread(LPTHREAD_START_ROUTINE function, void* argument) {
  return ::CreateThread(/*security=*/nullptr, /*stackBytes=*/0, function, argument, /*flags=*/0,
                        /*id=*/nullptr);
}

constexpr ServerCalls kWindowsCalls{.convertSddl = convertSddl,
                                    .createNamedPipe = createNamedPipe,
                                    .createEvent = createEvent,
                                    .readFile = readFile,
                                    .writeFile = writeFile,
                                    .connectNamedPipe = connectNamedPipe,
                                    .waitForEither = waitForEither,
                                    .getOverlappedResult = getOverlappedResult,
                                    .sleep = sleep,
                                    .createThread = createThread};

}  // namespace

const ServerCalls& ServerCalls::windows() { return kWindowsCalls; }

}  // namespace korvel::ipc
