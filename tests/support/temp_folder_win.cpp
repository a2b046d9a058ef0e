#include "support/temp_folder.h"

#include <atomic>
#include <random>
#include <stdexcept>

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "base/utf.h"

namespace korvel::test {

TempFolder::TempFolder() {
  static std::atomic<unsigned> counter{0};
  wchar_t base[MAX_PATH + 1] = {};
  ::GetTempPathW(MAX_PATH, base);
  path_ = joinPath(
      base, L"korvel-test-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++counter));
  if (!createDirectories(path_)) throw std::runtime_error("cannot create " + toUtf8(path_));
}

TempFolder::TempFolder(const std::wstring& parent)
    : path_(joinPath(parent, L"korvel-test-" + std::to_wstring(std::random_device()()))) {
  if (!::CreateDirectoryW(path_.c_str(), /*security=*/nullptr)) {
    throw std::runtime_error("cannot create " + toUtf8(path_));
  }
}

TempFolder::~TempFolder() { removeTree(path_); }

std::wstring TempFolder::write(const std::wstring& name, std::string_view bytes) const {
  const std::wstring path = at(name);
  writeFile(path, bytes);
  return path;
}

void writeFile(const std::wstring& path, std::string_view bytes) {
  createDirectories(parentDirectory(path));
  const UniqueHandle file(::CreateFileW(forFileApi(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file || !writeAll(file.get(), bytes)) throw std::runtime_error("cannot write " + toUtf8(path));
}

std::string readFile(const std::wstring& path) {
  std::string bytes;
  if (!readWholeFile(path, bytes)) throw std::runtime_error("cannot read " + toUtf8(path));
  return bytes;
}

void removeTree(const std::wstring& tree) {
  const std::wstring path = forFileApi(tree);
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return;
  ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    ::DeleteFileW(path.c_str());
    return;
  }
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    WIN32_FIND_DATAW entry{};
    UniqueFindHandle find(::FindFirstFileW((path + L"\\*").c_str(), &entry));
    if (find) {
      do {
        const std::wstring name = entry.cFileName;
        if (name != L"." && name != L"..") removeTree(path + L"\\" + name);
      } while (::FindNextFileW(find.get(), &entry));
    }
  }
  ::RemoveDirectoryW(path.c_str());
}

}  // namespace korvel::test
