#include "e2e/sample_files.h"

#include <stdexcept>

#include "base/files.h"
#include "base/unique_resource.h"
#include "support/temp_folder.h"

namespace korvel::test {
namespace {

constexpr int kDirectories = 60;
constexpr int kEmptyFilesPerDirectory = 400;
constexpr LONGLONG kLargeProgramBytes = 500ll << 20;

std::wstring directoryOf(const TempFolder& folder, int number) {
  const std::wstring path = folder.at(L"d" + std::to_wstring(number));
  if (!createDirectories(path)) throw std::runtime_error("cannot create a directory");
  return path;
}

}  // namespace

std::string eicarText() {
  // In pieces, so that scanners do not take this source for it.
  return std::string("X5O!P%@AP[4\\PZX54(P^)7CC)7}") + "$EICAR-STANDARD" + "-ANTIVIRUS-TEST" + "-FILE!$H+H*";
}

std::string eicarSignatures() {
  return std::string("KORVELDB/1\nVERSION e2e-1\nGENERATED 1700000000\nSIZE 1\n") + kEicarSha256 +
         ":tag:EICAR:high:EICAR-Test-File:eicar.org\n";
}

const std::wstring& manyEmptyFiles() {
  static const TempFolder folder;
  static const bool filled = [] {
    for (int d = 0; d < kDirectories; ++d) {
      const std::wstring directory = directoryOf(folder, d);
      for (int f = 0; f < kEmptyFilesPerDirectory; ++f) {
        writeFile(directory + L"\\f" + std::to_wstring(f) + L".exe", "");
      }
    }
    return true;
  }();
  (void)filled;
  return folder.path();
}

const std::wstring& manyPrograms() {
  static const TempFolder folder;
  static const bool filled = [] {
    const std::wstring original = folder.write(L"original.bin", std::string(256 << 10, 'x'));
    for (int i = 0; i < kManyPrograms; ++i) {
      const std::wstring link = directoryOf(folder, i % kDirectories) + L"\\p" + std::to_wstring(i) + L".exe";
      if (!::CreateHardLinkW(link.c_str(), original.c_str(), /*security=*/nullptr)) {
        throw std::runtime_error("cannot link, win32=" + std::to_string(::GetLastError()));
      }
    }
    return true;
  }();
  (void)filled;
  return folder.path();
}

void writeLargeProgram(const std::wstring& path) {
  writeFile(path, "");
  const UniqueHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, /*share=*/0, /*security=*/nullptr,
                                        OPEN_EXISTING, /*flags=*/0, /*template=*/nullptr));
  LARGE_INTEGER size{};
  size.QuadPart = kLargeProgramBytes;
  if (!file || !::SetFilePointerEx(file.get(), size, nullptr, FILE_BEGIN) || !::SetEndOfFile(file.get())) {
    throw std::runtime_error("cannot make a large file, win32=" + std::to_string(::GetLastError()));
  }
}

bool isBeingRead(const std::wstring& path) {
  const UniqueHandle file(
      ::CreateFileW(path.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    /*security=*/nullptr, OPEN_EXISTING, /*flags=*/0, /*template=*/nullptr));
  return !file && ::GetLastError() == ERROR_SHARING_VIOLATION;
}

}  // namespace korvel::test
