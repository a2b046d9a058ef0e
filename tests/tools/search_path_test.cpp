#include "korvelctl/model/search_path.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

constexpr wchar_t kFolder[] = L"C:\\Program Files\\Korvel";

TEST(SearchPath, AFolderIsAddedAtTheEnd) {
  EXPECT_EQ(withSearchFolder(L"%SystemRoot%;D:\\tools", kFolder),
            L"%SystemRoot%;D:\\tools;C:\\Program Files\\Korvel");
  EXPECT_EQ(withSearchFolder(L"D:\\tools;", kFolder), L"D:\\tools;C:\\Program Files\\Korvel");
  EXPECT_EQ(withSearchFolder(L"", kFolder), kFolder);
}

TEST(SearchPath, AFolderThatIsThereIsNotAddedAgain) {
  for (const std::wstring path : {L"a;C:\\Program Files\\Korvel;b", L"c:\\PROGRAM files\\korvel\\",
                                  L"\"C:\\Program Files\\Korvel\";b"}) {
    EXPECT_EQ(withSearchFolder(path, kFolder), path);
  }
}

TEST(SearchPath, OnlyTheWholeFolderCounts) {
  const std::wstring path = L"C:\\Program Files\\Korvel2;D:\\C:\\Program Files\\Korvel\\bin";
  EXPECT_EQ(withSearchFolder(path, kFolder), path + L";" + kFolder);
  EXPECT_EQ(withoutSearchFolder(path, kFolder), path);
}

TEST(SearchPath, RemovingKeepsEverythingElseAsItIs) {
  EXPECT_EQ(withoutSearchFolder(L"a;;%X%\\bin;c:\\program files\\korvel\\;b;", kFolder), L"a;;%X%\\bin;b;");
  EXPECT_EQ(withoutSearchFolder(kFolder, kFolder), L"");
  EXPECT_EQ(withoutSearchFolder(L"", kFolder), L"");
  EXPECT_EQ(withoutSearchFolder(L"a;b", L""), L"a;b");
}

TEST(SearchPath, AddingAndRemovingGivesTheFirstTextAgain) {
  for (const std::wstring path : {L"a", L"%A%;b c;\"d;e\"", L"D:\\tools"})
    EXPECT_EQ(withoutSearchFolder(withSearchFolder(path, kFolder), kFolder), path);
}

TEST(SearchPath, ASemicolonInAFolderIsQuoted) {
  const std::wstring odd = L"C:\\a;b";
  EXPECT_EQ(withSearchFolder(L"x", odd), L"x;\"C:\\a;b\"");
  EXPECT_EQ(withSearchFolder(L"x;\"C:\\a;b\"", odd), L"x;\"C:\\a;b\"");
  EXPECT_EQ(withoutSearchFolder(L"x;\"C:\\a;b\";y", odd), L"x;y");
}

TEST(SearchPath, AnOpenQuotationMarkDoesNotTakeTheFolderIn) {
  const std::wstring path = L"a;\"C:\\b;c;";
  const std::wstring with = withSearchFolder(path, kFolder);
  EXPECT_EQ(with, path + L"\";" + kFolder);
  EXPECT_EQ(withSearchFolder(with, kFolder), with);
  EXPECT_EQ(withoutSearchFolder(with, kFolder), path + L"\"");
}

TEST(SearchPath, IsNeverCut) {
  const std::wstring longPath(40'000, L'p');
  EXPECT_EQ(withSearchFolder(longPath, kFolder).size(), longPath.size() + 1 + std::size(kFolder) - 1);
}

}  // namespace
}  // namespace korvel::ctl
