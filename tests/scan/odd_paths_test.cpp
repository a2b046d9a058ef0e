// Names and spellings that the plain file API would change or refuse, through whole scans and scans of one
// file.
#include <algorithm>
#include <map>

#include "base/utf.h"
#include "hash/file_digest.h"
#include "scan_fixture.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

using test::kAbcSha256;

// What a plain call strips, and what it takes for a device.
const std::vector<std::wstring> kOddNames = {
    L"evil.\\a.exe", L"evil. .\\b.exe", L"blank \\c.exe", L"nul.exe",    L"aux.com",
    L"con.exe",      L"lpt1.exe",       L"com1.dll",      L"nul\\d.exe", L"prn.\\conin$.exe",
};

class OddPathsTest : public test::ScanFixture {
 protected:
  struct Scanned {
    uint64_t size = 0;
    std::string sha256;
    bool operator==(const Scanned&) const = default;
  };
  using Files = std::map<std::wstring, Scanned>;

  /// What a scan says of each file of the target, and that counting it found the same files and bytes.
  Files scan(const std::wstring& target) {
    FileScanner scanner(databaseOf(""), ScanOptions{});
    const ScanProgressInfo counted = scanner.measure({{target, true}});
    Files files;
    uint64_t bytes = 0;
    scanner.scan({{target, true}}, nullptr, [&](const FileVerdict& verdict) {
      files[verdict.path] = {verdict.size, verdict.sha256};
      bytes += verdict.size;
    });
    EXPECT_EQ(counted.filesTotal, files.size());
    EXPECT_EQ(counted.bytesTotal, bytes);
    return files;
  }

  /// The file "abc" under each of the names, as the spelling of the target shows it.
  static Files abcFiles(const std::wstring& shownFolder, const std::vector<std::wstring>& names) {
    Files files;
    for (const std::wstring& name : names) files[shownFolder + name] = {3, kAbcSha256};
    return files;
  }

  Scanned scanOne(const std::wstring& path) {
    ScanScratch scratch;
    const FileVerdict verdict = scanFile({databaseOf(""), 1'000'000, 1'000'000, {}}, path, scratch);
    EXPECT_EQ(verdict.path, path);
    return {verdict.size, verdict.sha256};
  }

  const Scanned abc_ = {3, kAbcSha256};
};

TEST_F(OddPathsTest, FoldersAndFilesWithOddNamesAreScannedLikeAnyOther) {
  std::vector<std::wstring> names = kOddNames;
  names.push_back(L"zz\\last.exe");
  for (const std::wstring& name : names) folder_.write(name, "abc");
  EXPECT_EQ(scan(folder_.path()), abcFiles(folder_.path() + L"\\", names));
}

TEST_F(OddPathsTest, ATargetWithAnOddNameIsWalked) {
  folder_.write(L"evil.\\a.exe", "abc");
  folder_.write(L"nul\\b.exe", "abc");
  EXPECT_EQ(scan(folder_.at(L"evil.")), abcFiles(folder_.at(L"evil.\\"), {L"a.exe"}));
  EXPECT_EQ(scan(folder_.at(L"nul")), abcFiles(folder_.at(L"nul\\"), {L"b.exe"}));
  EXPECT_TRUE(scan(folder_.at(L"evil")).empty());
}

TEST_F(OddPathsTest, EverySpellingOfATargetIsWalkedAndShownAsItWasGiven) {
  folder_.write(L"in\\sub\\a.exe", "abc");
  folder_.write(L"in\\nul.exe", "abc");
  std::wstring slashes = folder_.at(L"in");
  std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
  for (const std::wstring& target :
       {folder_.at(L"in"), folder_.at(L"none\\..\\in"), folder_.at(L"in\\."), folder_.at(L".\\\\in"), slashes,
        folder_.at(L"in\\sub\\.."), L"\\\\?\\" + folder_.at(L"in"), folder_.path().substr(2) + L"\\in"}) {
    EXPECT_EQ(scan(target), abcFiles(target + L"\\", {L"sub\\a.exe", L"nul.exe"}));
  }
  EXPECT_EQ(scan(folder_.at(L"in\\\\")), abcFiles(folder_.at(L"in\\\\"), {L"sub\\a.exe", L"nul.exe"}));
}

TEST_F(OddPathsTest, FilesOfAnyLengthAreReadInEverySpellingOfTheTarget) {
  std::vector<std::wstring> names;
  for (const size_t units : {247u, 248u, 253u, 259u, 260u, 300u}) {
    const std::wstring sub(60, static_cast<wchar_t>(L'a' + names.size()));
    const std::wstring start = folder_.at(L"in\\" + sub + L"\\");
    names.push_back(sub + L"\\" + std::wstring(units - start.size() - 4, L'n') + L".exe");
    ASSERT_EQ(folder_.at(L"in\\" + names.back()).size(), units);
    folder_.write(L"in\\" + names.back(), "abc");
  }
  for (const wchar_t* target : {L"in", L"x\\..\\in", L"in\\.", L".//in"}) {
    EXPECT_EQ(scan(folder_.at(target)), abcFiles(folder_.at(target) + L"\\", names));
  }
}

TEST_F(OddPathsTest, ExclusionLooksAtTheSpellingThatIsShown) {
  const std::wstring system = L"C:\\Windows\\servicing";
  if (!test::isTestMachine()) GTEST_SKIP() << "writes into the machine's own folders";
  test::writeFile(system + L"\\korvel test\\a.exe", "abc");
  const std::wstring unclean = L"C:\\Windows\\.\\servicing\\";
  EXPECT_EQ(scan(unclean), abcFiles(unclean, {L"korvel test\\a.exe"}));
  EXPECT_TRUE(scan(system).empty());  // the target itself is listed, but its folder is not entered
  test::removeTree(system + L"\\korvel test");
}

TEST_F(OddPathsTest, OneFileIsScannedUnderEveryNameAndSpelling) {
  for (const std::wstring& name : kOddNames) EXPECT_EQ(scanOne(folder_.write(name, "abc")), abc_);
  for (const wchar_t* spelling : {L"x\\..\\nul.exe", L".\\nul.exe", L"\\/nul.exe", L"evil.\\..\\nul.exe"}) {
    EXPECT_EQ(scanOne(folder_.at(spelling)), abc_);
  }
  EXPECT_EQ(scanOne(folder_.at(L"nul.exe.")), Scanned{});
  EXPECT_EQ(scanOne(folder_.at(L"evil\\a.exe")), Scanned{});
}

TEST_F(OddPathsTest, DigestsOfWholeFilesKnowOddNamesToo) {
  for (const std::wstring& name : kOddNames) {
    EXPECT_EQ(hash::sha256File(folder_.write(name, "abc"), 1'000), kAbcSha256);
  }
}

TEST_F(OddPathsTest, SignaturesAreLoadedFromAnyPathAndNamedAsItWasGiven) {
  for (const wchar_t* name : {L"x\\..\\signatures.txt", L"evil.\\signatures.txt", L"nul"}) {
    const std::wstring path = folder_.write(name, std::string(kAbcSha256) + "\n");
    SignatureDatabase database;
    std::string error;
    EXPECT_TRUE(database.loadFile(path, &error)) << error;
    EXPECT_EQ(database.info().entryCount, 1u);
    EXPECT_EQ(database.info().source, toUtf8(path));
  }
}

}  // namespace
}  // namespace korvel
