// A library beside the program, in a real process: hardening_child.exe tries to load it.
#include "service/process_hardening.h"

#include <gtest/gtest.h>

#include "base/paths.h"
#include "base/unique_resource.h"
#include "e2e/child_process.h"

namespace korvel::svc {
namespace {

/// A system library under another name, beside the child.
class LibraryBesideTheProgram {
 public:
  LibraryBesideTheProgram() {
    wchar_t executable[MAX_PATH + 1] = {};
    ::GetModuleFileNameW(/*module=*/nullptr, executable, MAX_PATH);
    folder_ = parentDirectory(executable);
    wchar_t system[MAX_PATH + 1] = {};
    ::GetSystemDirectoryW(system, MAX_PATH);
    ::CopyFileW(joinPath(system, L"version.dll").c_str(), path().c_str(), /*failIfExists=*/FALSE);
  }
  ~LibraryBesideTheProgram() { ::DeleteFileW(path().c_str()); }

  std::wstring path() const { return joinPath(folder_, L"stray.dll"); }
  DWORD loadFromChild(const std::wstring& mode) const {
    return test::runToEnd(joinPath(folder_, L"hardening_child.exe"), L"stray.dll" + mode).exitCode;
  }

 private:
  std::wstring folder_;
};

TEST(ProcessHardening, ALibraryBesideTheProgramIsNotLoaded) {
  const LibraryBesideTheProgram library;
  EXPECT_EQ(library.loadFromChild(L""), DWORD{ERROR_SUCCESS}) << "without the hardening it would be";
  EXPECT_EQ(library.loadFromChild(L" hardened"), DWORD{ERROR_MOD_NOT_FOUND});
}

}  // namespace
}  // namespace korvel::svc
