// The stand-in library slows the disk down too: while C:\\korvel-slow-flush holds a number, each flush of a
// file by the executable takes that many milliseconds longer.
#include <cstdlib>

#include "base/win.h"
#include "support/import_patch.h"

namespace {

using korvel::test::ImportPatch;

ImportPatch* patch = nullptr;
DWORD pauseMs = 0;

BOOL WINAPI flushSlowly(HANDLE file) {
  if (::GetFileType(file) == FILE_TYPE_DISK) ::Sleep(pauseMs);
  return patch->original<decltype(flushSlowly)>()(file);
}

DWORD chosenPauseMs() {
  const HANDLE file = ::CreateFileW(L"C:\\korvel-slow-flush", GENERIC_READ, FILE_SHARE_READ,
                                    /*security=*/nullptr, OPEN_EXISTING, /*flags=*/0, /*template=*/nullptr);
  if (file == INVALID_HANDLE_VALUE) return 0;
  char digits[16] = {};
  DWORD got = 0;
  (void)::ReadFile(file, digits, sizeof digits - 1, &got, /*overlapped=*/nullptr);  // none is no pause
  ::CloseHandle(file);
  return static_cast<DWORD>(std::atoi(digits));
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason != DLL_PROCESS_ATTACH) return TRUE;
  pauseMs = chosenPauseMs();
  if (pauseMs != 0) patch = new ImportPatch("FlushFileBuffers", flushSlowly);
  return TRUE;
}
