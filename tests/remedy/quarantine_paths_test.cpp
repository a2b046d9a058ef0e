// Files and quarantine directories with names and spellings that the plain file API would change or refuse.
#include <gtest/gtest.h>

#include "base/files.h"
#include "base/utf.h"
#include "remedy/quarantine_store.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

using test::readFile;

class QuarantinePathsTest : public testing::Test {
 protected:
  /// Into quarantine and back, under the spellings given.
  void expectThereAndBack(const std::wstring& dir, const std::wstring& path) {
    SCOPED_TRACE(toUtf8(dir) + " <- " + toUtf8(path));
    QuarantineRecord record;
    std::string error;
    ASSERT_TRUE(store_.addFile(dir, path, "3fa9c1d2e4b5a6f7", "t", "c", kSeverityHigh, &record, &error))
        << error;
    EXPECT_EQ(record.originalPath, path);
    EXPECT_TRUE(record.storedPath.starts_with(dir + L"\\"));
    EXPECT_EQ(record.size, 5u);
    EXPECT_FALSE(pathExists(path));
    EXPECT_EQ(readFile(record.storedPath), "bytes");
    EXPECT_EQ(store_.listRecords(dir), std::vector<QuarantineRecord>{record});

    EXPECT_TRUE(store_.restoreRecord(dir, record.id, &error)) << error;
    EXPECT_EQ(readFile(path), "bytes");
    EXPECT_FALSE(pathExists(record.storedPath));
  }

  const test::TempFolder folder_;
  const std::wstring dir_ = folder_.at(L"quarantine");
  QuarantineStore store_;
};

TEST_F(QuarantinePathsTest, AFileWithAnyNameGoesAndComesBack) {
  for (const wchar_t* name :
       {L"nul.exe", L"aux", L"con.com", L"lpt1.exe", L"evil.\\a.exe", L"evil. \\b.exe ", L"c..."}) {
    expectThereAndBack(dir_, folder_.write(name, "bytes"));
  }
}

TEST_F(QuarantinePathsTest, AFileGoesAndComesBackInEverySpelling) {
  folder_.write(L"in\\a.exe", "bytes");
  std::wstring slashes = folder_.at(L"in\\a.exe");
  for (wchar_t& unit : slashes) unit = unit == L'\\' ? L'/' : unit;
  for (const std::wstring& path :
       {folder_.at(L"none\\..\\in\\a.exe"), folder_.at(L"in\\.\\\\a.exe"), slashes,
        L"\\\\?\\" + folder_.at(L"in\\a.exe"), folder_.at(L"in\\a.exe").substr(2)}) {
    expectThereAndBack(dir_, path);
  }
}

TEST_F(QuarantinePathsTest, EverySpellingOfTheDirectoryTakesFilesOfAnyLength) {
  for (const wchar_t* spelling : {L"q\\", L"x\\..\\q", L"q\\.", L".//q", L"evil.", L"nul"}) {
    const std::wstring dir = folder_.at(spelling);
    for (const size_t units : {247u, 248u, 253u, 259u, 260u, 280u}) {
      // The stored name is a number of ten digits, 16 of the hash, two underscores and the file's name.
      const std::wstring name(units - dir.size() - 1 - 28, L'n');
      expectThereAndBack(dir, folder_.write(name, "bytes"));
    }
  }
  EXPECT_TRUE(pathExists(folder_.at(L"evil.\\quarantine.db")));
  EXPECT_FALSE(pathExists(folder_.at(L"evil")));
}

TEST_F(QuarantinePathsTest, AFolderThatIsGoneIsMadeAgainUnderItsOwnName) {
  const std::wstring path = folder_.write(L"evil.\\nul\\a.exe", "bytes");
  QuarantineRecord record;
  std::string error;
  ASSERT_TRUE(store_.addFile(dir_, path, "aa", "t", "c", kSeverityHigh, &record, &error)) << error;
  test::removeTree(folder_.at(L"evil."));
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, &error)) << error;
  EXPECT_EQ(readFile(path), "bytes");
  EXPECT_FALSE(pathExists(folder_.at(L"evil")));
}

TEST_F(QuarantinePathsTest, AStoredFileWithAnOddNameIsDeleted) {
  const std::wstring path = folder_.write(L"c...", "bytes");
  QuarantineRecord record;
  std::string error;
  ASSERT_TRUE(store_.addFile(dir_, path, "aa", "t", "c", kSeverityHigh, &record, &error)) << error;
  EXPECT_TRUE(store_.deleteRecord(dir_, record.id, &error)) << error;
  EXPECT_FALSE(pathExists(record.storedPath));
}

}  // namespace
}  // namespace korvel
