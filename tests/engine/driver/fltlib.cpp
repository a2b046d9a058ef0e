// Stands in for the system's filter library when a test plays the minifilter driver: the communication port
// is a message pipe that the test owns. Built as fltlib.dll and placed beside the executable, where the
// loader finds it before the system's own.
#include "base/win.h"

namespace {

constexpr wchar_t kPortName[] = L"\\\\.\\pipe\\KorvelFilterPort";
constexpr wchar_t kDriverPipe[] = L"\\\\.\\pipe\\korvel-test-driver";

HRESULT lastErrorResult() { return HRESULT_FROM_WIN32(::GetLastError()); }

}  // namespace

extern "C" {

HRESULT WINAPI FilterConnectCommunicationPort(LPCWSTR name, DWORD options, LPCVOID, WORD contextBytes,
                                              LPSECURITY_ATTRIBUTES, HANDLE* port) {
  *port = nullptr;
  if (::GetEnvironmentVariableW(L"KORVEL_TEST_NO_PORT", nullptr, 0) != 0) return S_OK;
  if (::lstrcmpW(name, kPortName) != 0 || options != 0 || contextBytes != 0) return E_INVALIDARG;
  HANDLE pipe =
      ::CreateFileW(kDriverPipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) return lastErrorResult();
  DWORD mode = PIPE_READMODE_MESSAGE;
  ::SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
  *port = pipe;
  return S_OK;
}

HRESULT WINAPI FilterGetMessage(HANDLE port, void* buffer, DWORD size, LPOVERLAPPED overlapped) {
  if (overlapped != nullptr) return E_INVALIDARG;
  DWORD got = 0;
  return ::ReadFile(port, buffer, size, &got, nullptr) ? S_OK : lastErrorResult();
}

HRESULT WINAPI FilterSendMessage(HANDLE port, LPVOID in, DWORD inBytes, LPVOID out, DWORD outBytes,
                                 LPDWORD returned) {
  if (out != nullptr || outBytes != 0) return E_INVALIDARG;
  *returned = 0;
  DWORD written = 0;
  return ::WriteFile(port, in, inBytes, &written, nullptr) ? S_OK : lastErrorResult();
}

HRESULT WINAPI FilterClose(HANDLE port) { return ::CloseHandle(port) ? S_OK : lastErrorResult(); }

}  // extern "C"
