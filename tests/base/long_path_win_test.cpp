// What the pure functions say against what the system says, and that the file API takes the form.
#include <gtest/gtest.h>

#include "base/files.h"
#include "base/long_path.h"
#include "base/utf.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

std::wstring fullPathName(const std::wstring& path) {
  wchar_t buffer[1'000] = {};
  const DWORD length =
      ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(std::size(buffer)), buffer, nullptr);
  return std::wstring(buffer, length);
}

/// Sets the current folder for one test.
class CurrentFolder {
 public:
  explicit CurrentFolder(const std::wstring& path) {
    ::GetCurrentDirectoryW(MAX_PATH, saved_);
    EXPECT_TRUE(::SetCurrentDirectoryW(path.c_str()));
  }
  ~CurrentFolder() { ::SetCurrentDirectoryW(saved_); }

 private:
  wchar_t saved_[MAX_PATH + 1] = {};
};

// No names with trailing dots or blanks and no devices: those the system changes.
TEST(ForFileApi, AgreesWithTheSystemOnOrdinaryNames) {
  for (const wchar_t* path :
       {L"C:\\",         L"C:\\a",        L"C:\\a\\",        L"C:/a/b",
        L"C:\\a\\..\\b", L"C:\\b\\.",     L"C:\\b\\.\\",     L"C:\\a\\..",
        L"C:\\a\\..\\",  L"C:\\a\\b\\..", L"C:\\..",         L"C:\\..\\..\\x",
        L"C:\\a\\\\b",   L"C:\\\\\\x",    L"C:\\a\\..b\\.c", L"C:\\Папка\\ещё\\..\\файл.exe",
        L"D:\\x\\..\\y", L"name",         L"sub\\..\\name",  L"..\\name",
        L"\\name",       L"/sub//name",   L"C:name",         L"C:..\\name"}) {
    EXPECT_EQ(forFileApi(path), L"\\\\?\\" + fullPathName(path)) << toUtf8(path);
  }
  for (const wchar_t* path : {L"\\\\s\\h", L"\\\\s\\h\\", L"\\\\s\\h\\a\\..\\b", L"\\\\s\\h\\..\\x",
                              L"\\\\s\\h\\..", L"//s/h/a/./b", L"\\\\s\\h\\a\\..\\..\\..\\y", L"\\\\s"}) {
    EXPECT_EQ(forFileApi(path), L"\\\\?\\UNC" + fullPathName(path).substr(1)) << toUtf8(path);
  }
}

TEST(ForFileApi, ARelativePathLiesBehindTheFolderThatItIsRelativeTo) {
  const test::TempFolder folder;
  const CurrentFolder current(folder.path());
  const std::wstring here = L"\\\\?\\" + folder.path() + L"\\";
  EXPECT_EQ(forFileApi(L"evil.\\nul"), here + L"evil.\\nul");
  EXPECT_EQ(forFileApi(L".\\a "), here + L"a ");
  EXPECT_EQ(forFileApi(L"C:con"), here + L"con");
  EXPECT_EQ(forFileApi(L"\\aux."), L"\\\\?\\C:\\aux.");
  EXPECT_EQ(forFileApi(L"C:"), L"\\\\?\\C:\\");
}

TEST(ForFileApi, APathEndsAtANulAsItDoesForTheSystem) {
  EXPECT_EQ(forFileApi(std::wstring(L"C:\\a\0\\..\\b", 9)), L"\\\\?\\C:\\a");
  EXPECT_EQ(forFileApi(std::wstring(L"\0\\..\\b", 6)), L"");
}

TEST(ForFileApi, FilesWithNamesThatThePlainApiRefusesAreOrdinaryFiles) {
  const test::TempFolder folder;
  for (const wchar_t* name : {L"evil.\\a.exe", L"blank \\b.exe ", L"nul.exe", L"con", L"dots..."}) {
    const std::wstring path = folder.write(name, "bytes");
    EXPECT_TRUE(pathExists(path)) << toUtf8(name);
    EXPECT_EQ(test::readFile(path), "bytes") << toUtf8(name);
  }
  EXPECT_FALSE(pathExists(folder.at(L"evil")));
  EXPECT_FALSE(pathExists(folder.at(L"dots")));
}

TEST(ForFileApi, UncleanSpellingsOfLongPathsAreOpened) {
  const test::TempFolder folder;
  for (const size_t units : {247u, 248u, 259u, 260u, 300u}) {
    const std::wstring parent = folder.at(std::wstring(100, L'p')) + L"\\";
    const std::wstring name(units - parent.size(), L'n');
    test::writeFile(parent + name, "bytes");
    EXPECT_EQ(test::readFile(folder.at(L"none\\..\\") + std::wstring(100, L'p') + L"/.//" + name), "bytes");
  }
}

}  // namespace
}  // namespace korvel
