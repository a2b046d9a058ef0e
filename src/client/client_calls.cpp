#include "client/client_calls.h"

namespace korvel::ipc {
namespace {

BOOL readFile(HANDLE pipe, void* buffer, DWORD bytes, DWORD* transferred) {
  return ::ReadFile(pipe, buffer, bytes, transferred, /*overlapped=*/nullptr);
}

BOOL writeFile(HANDLE pipe, const void* buffer, DWORD bytes, DWORD* transferred) {
  return ::WriteFile(pipe, buffer, bytes, transferred, /*overlapped=*/nullptr);
}

BOOL waitNamedPipe(const wchar_t* name, DWORD milliseconds) { return ::WaitNamedPipeW(name, milliseconds); }

void sleep(DWORD milliseconds) { ::Sleep(milliseconds); }

constexpr ClientCalls kWindowsCalls{
    .readFile = readFile, .writeFile = writeFile, .waitNamedPipe = waitNamedPipe, .sleep = sleep};

}  // namespace

const ClientCalls& ClientCalls::windows() { return kWindowsCalls; }

}  // namespace korvel::ipc
