#include "base/long_path.h"

#include <gtest/gtest.h>

#include <random>

#include "base/utf.h"

namespace korvel {
namespace {

struct Spelling {
  const wchar_t* given;
  const wchar_t* resolved;
};

void expectResolved(std::initializer_list<Spelling> spellings) {
  for (const auto& [given, resolved] : spellings) EXPECT_EQ(extendedPath(given), resolved) << toUtf8(given);
}

TEST(ExtendedPath, PathsOfDrivesAndSharesGetTheirPrefixWhateverTheirLength) {
  expectResolved({{L"C:\\a.txt", L"\\\\?\\C:\\a.txt"},
                  {L"d:\\Папка\\b", L"\\\\?\\d:\\Папка\\b"},
                  {L"\\\\server\\share\\a.txt", L"\\\\?\\UNC\\server\\share\\a.txt"},
                  {L"\\\\server\\share", L"\\\\?\\UNC\\server\\share"}});
  for (const size_t units : {247u, 248u, 259u, 260u, 5'000u}) {
    const std::wstring name(units, L'x');
    EXPECT_EQ(extendedPath(L"C:\\" + name), L"\\\\?\\C:\\" + name);
    EXPECT_EQ(extendedPath(L"\\\\s\\h\\" + name), L"\\\\?\\UNC\\s\\h\\" + name);
  }
}

TEST(ExtendedPath, ADriveAloneIsItsRoot) {
  expectResolved({{L"C:", L"\\\\?\\C:\\"}, {L"C:\\", L"\\\\?\\C:\\"}, {L"C:/", L"\\\\?\\C:\\"}});
}

TEST(ExtendedPath, SlashesAndRunsOfSeparatorsBecomeOneBackslash) {
  expectResolved({{L"C:/a/b", L"\\\\?\\C:\\a\\b"},
                  {L"C:\\\\a\\/b//c", L"\\\\?\\C:\\a\\b\\c"},
                  {L"//server/share/a", L"\\\\?\\UNC\\server\\share\\a"},
                  {L"\\/server\\\\share//a\\\\b", L"\\\\?\\UNC\\server\\share\\a\\b"},
                  {L"\\\\\\server\\share", L"\\\\?\\UNC\\server\\share"}});
}

TEST(ExtendedPath, DotsAreResolved) {
  expectResolved({{L"C:\\a\\.\\b", L"\\\\?\\C:\\a\\b"},
                  {L"C:\\a\\..\\b", L"\\\\?\\C:\\b"},
                  {L"C:\\a\\b\\..\\..\\c", L"\\\\?\\C:\\c"},
                  {L"C:\\b\\.", L"\\\\?\\C:\\b"},
                  {L"C:\\a\\b\\..", L"\\\\?\\C:\\a"},
                  {L"C:\\a\\..", L"\\\\?\\C:\\"},
                  {L"\\\\s\\h\\a\\..\\b", L"\\\\?\\UNC\\s\\h\\b"},
                  {L"\\\\s\\h\\a\\..", L"\\\\?\\UNC\\s\\h\\"}});
}

TEST(ExtendedPath, NothingLeavesTheRoot) {
  expectResolved({{L"C:\\..", L"\\\\?\\C:\\"},
                  {L"C:\\..\\..\\a\\..\\..\\b", L"\\\\?\\C:\\b"},
                  {L"\\\\s\\h\\..\\..\\b", L"\\\\?\\UNC\\s\\h\\b"},
                  {L"\\\\s\\h\\..", L"\\\\?\\UNC\\s\\h\\"}});
}

TEST(ExtendedPath, ASeparatorAtTheEndStays) {
  expectResolved({{L"C:\\a\\", L"\\\\?\\C:\\a\\"},
                  {L"C:\\a//", L"\\\\?\\C:\\a\\"},
                  {L"C:\\a\\.\\", L"\\\\?\\C:\\a\\"},
                  {L"C:\\a\\b\\..\\", L"\\\\?\\C:\\a\\"},
                  {L"\\\\s\\h\\", L"\\\\?\\UNC\\s\\h\\"}});
}

TEST(ExtendedPath, TrailingDotsAndBlanksAndDeviceNamesAreOrdinary) {
  expectResolved({{L"C:\\evil.\\a. ", L"\\\\?\\C:\\evil.\\a. "},
                  {L"C:\\...\\..a\\a..", L"\\\\?\\C:\\...\\..a\\a.."},
                  {L"C:\\a\\nul", L"\\\\?\\C:\\a\\nul"},
                  {L"C:\\con.exe\\lpt1", L"\\\\?\\C:\\con.exe\\lpt1"},
                  {L"\\\\s\\h\\evil.\\aux.com", L"\\\\?\\UNC\\s\\h\\evil.\\aux.com"}});
}

TEST(ExtendedPath, DevicePathsAndTheEmptyPathStayAsTheyAre) {
  for (const wchar_t* path : {L"", L"\\\\?\\C:\\a\\..\\b/c", L"\\\\?\\UNC\\s\\h", L"\\\\.\\pipe\\x",
                              L"\\\\.\\C:\\a.", L"//./pipe/x", L"\\\\.", L"\\\\?"}) {
    EXPECT_EQ(extendedPath(path), path);
  }
  expectResolved({{L"\\\\.server\\share", L"\\\\?\\UNC\\.server\\share"}});
}

TEST(ExtendedPath, PathsInTheSpellingOfDriversStayAsTheyAre) {
  for (const wchar_t* path : {L"\\??\\C:\\a\\b.exe", L"\\??\\UNC\\s\\h\\a", L"\\??\\"}) {
    EXPECT_EQ(extendedPath(path), path);
    EXPECT_EQ(splitRelative(path), std::nullopt);
  }
  using Split = std::optional<RelativePath>;
  EXPECT_EQ(splitRelative(L"\\??x"), (Split{{L"\\", L"??x"}}));
}

TEST(SplitRelative, TellsWhichFolderAPathIsRelativeTo) {
  using Split = std::optional<RelativePath>;
  EXPECT_EQ(splitRelative(L"name"), (Split{{L".", L"name"}}));
  EXPECT_EQ(splitRelative(L"..\\a/b"), (Split{{L".", L"..\\a/b"}}));
  EXPECT_EQ(splitRelative(L"nul"), (Split{{L".", L"nul"}}));
  EXPECT_EQ(splitRelative(L"\\name"), (Split{{L"\\", L"name"}}));
  EXPECT_EQ(splitRelative(L"/"), (Split{{L"\\", L""}}));
  EXPECT_EQ(splitRelative(L"C:name\\x"), (Split{{L"C:", L"name\\x"}}));
  EXPECT_EQ(splitRelative(L"C:."), (Split{{L"C:", L"."}}));
}

TEST(SplitRelative, PathsFromARootAreNotRelative) {
  for (const wchar_t* path :
       {L"", L"C:", L"C:\\", L"C:/a", L"\\\\s\\h\\a", L"//s/h", L"\\\\?\\C:\\a", L"\\\\.\\pipe"}) {
    EXPECT_EQ(splitRelative(path), std::nullopt) << toUtf8(path);
  }
}

/// Random paths from the pieces that matter.
class RandomPaths {
 public:
  std::wstring next() {
    static constexpr const wchar_t* kStarts[] = {L"C:", L"C:\\", L"d:/", L"\\\\s\\h", L"//s/h/", L"\\\\s"};
    static constexpr const wchar_t* kPieces[] = {L"\\", L"/",   L".",   L"..", L"\\..",
                                                 L"a",  L"b c", L"nul", L"x.", L" "};
    std::wstring path = kStarts[random_() % std::size(kStarts)];
    if (path == L"C:") path += L"\\";
    for (size_t left = random_() % 12; left > 0; --left) path += kPieces[random_() % std::size(kPieces)];
    return path;
  }

 private:
  std::mt19937 random_{1};
};

TEST(ExtendedPath, OfAnyPathIsCleanAndResolvedOnce) {
  RandomPaths paths;
  for (int round = 0; round < 20'000; ++round) {
    const std::wstring given = paths.next();
    const std::wstring extended = extendedPath(given);
    const bool network = extended.starts_with(L"\\\\?\\UNC\\");
    const std::wstring plain = network ? L"\\\\" + extended.substr(8) : extended.substr(4);
    EXPECT_EQ(extendedPath(extended), extended);
    EXPECT_EQ(extendedPath(plain), extended) << toUtf8(given);
    EXPECT_EQ(plain.find(L'/'), std::wstring::npos);
    EXPECT_EQ(plain.find(L"\\\\", 2), std::wstring::npos) << toUtf8(given);
    // The server and the share may have any name, also ".." and ".".
    const std::wstring names = network ? std::wstring() : plain + L"\\";
    EXPECT_EQ(names.find(L"\\..\\"), std::wstring::npos) << toUtf8(given);
    EXPECT_EQ(names.find(L"\\.\\"), std::wstring::npos) << toUtf8(given);
  }
}

}  // namespace
}  // namespace korvel
