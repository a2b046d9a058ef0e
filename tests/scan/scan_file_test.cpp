#include "scan/scan_file.h"

#include <atomic>
#include <optional>
#include <string_view>

#include "base/unique_resource.h"
#include "hash/file_digest.h"
#include "scan_fixture.h"
#include "support/open_watch.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

using test::kAbcMd5;
using test::kAbcSha1;
using test::kAbcSha256;

constexpr uint64_t kMiB = 1'048'576;

class ScanFileTest : public test::ScanFixture {
 protected:
  FileVerdict scan(const std::wstring& path, const std::string& signatures = "",
                   uint64_t maxFileSize = 512 * kMiB) {
    ScanScratch scratch;
    return scanFile({databaseOf(signatures), maxFileSize, kMiB, {}}, path, scratch);
  }

  void expectDigestsOfFile(const std::wstring& path) {
    const FileVerdict verdict = scan(path);
    EXPECT_EQ(verdict.md5, hash::md5File(path, kMiB));
    EXPECT_EQ(verdict.sha1, hash::sha1File(path, kMiB));
    EXPECT_EQ(verdict.sha256, hash::sha256File(path, kMiB));
    EXPECT_EQ(verdict.sha256.size(), 64u);
  }
};

TEST_F(ScanFileTest, MissingFileYieldsOnlyPathAndName) {
  FileVerdict expected;
  expected.path = folder_.at(L"svchost.exe");
  expected.fileName = L"svchost.exe";
  EXPECT_EQ(scan(expected.path), expected);
}

TEST_F(ScanFileTest, EmptyFileGetsNoDigestAndNoRuleAtAll) {
  const FileVerdict verdict = scan(folder_.write(L"Downloads\\invoice.pdf.exe", ""));
  EXPECT_TRUE(verdict.findings.empty());
  EXPECT_TRUE(verdict.reasons.empty());
  EXPECT_EQ(verdict.sha256, "");
  EXPECT_EQ(verdict.severity, 0);
}

TEST_F(ScanFileTest, CarriesSizeTimeAndDigestsOfTheContent) {
  const FileVerdict verdict = scan(folder_.write(L"a.bin", "abc"));
  EXPECT_EQ(verdict.size, 3u);
  EXPECT_GT(verdict.lastWriteTime, 130'000'000'000'000'000u);  // after the year 2012
  EXPECT_EQ(verdict.md5, kAbcMd5);
  EXPECT_EQ(verdict.sha1, kAbcSha1);
  EXPECT_EQ(verdict.sha256, kAbcSha256);
}

TEST_F(ScanFileTest, ListedDigestOfAnyKindIsFound) {
  for (const char* digest : {kAbcMd5, kAbcSha1, kAbcSha256}) {
    const FileVerdict verdict =
        scan(folder_.write(L"a.bin", "abc"), std::string(digest) + ":Test.Name:Family\n");
    EXPECT_TRUE(verdict.signatureMatched);
    EXPECT_EQ(verdict.threatName, "Test.Name");
    EXPECT_EQ(verdict.family, "Family");
    EXPECT_EQ(verdict.matchedHash, digest);
    EXPECT_EQ(verdict.severity, 3);
  }
}

TEST_F(ScanFileTest, FileOfTheSizeLimitIsScannedAndOneByteMoreIsSkipped) {
  const FileVerdict atLimit = scan(folder_.write(L"a.bin", std::string(1000, 'x')), "", 1000);
  EXPECT_EQ(atLimit.sha256.size(), 64u);
  EXPECT_TRUE(atLimit.reasons.empty());

  const FileVerdict above = scan(folder_.write(L"Downloads\\a.exe", std::string(1001, 'x')), "", 1000);
  EXPECT_EQ(above.reasons, std::vector<std::string>{"Файл пропущен: превышен лимит размера"});
  EXPECT_EQ(above.sha256, "");
  EXPECT_TRUE(above.findings.empty());
  EXPECT_EQ(above.severity, 0);
  EXPECT_EQ(above.size, 1001u);
}

TEST_F(ScanFileTest, FileHeldAgainstReadingKeepsItsNameRules) {
  const std::wstring path = folder_.write(L"invoice.pdf.exe", "abc");
  const UniqueHandle holder(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, /*share=*/0, nullptr,
                                          OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(holder);
  const FileVerdict verdict = scan(path, std::string(kAbcSha256) + "\n");
  EXPECT_EQ(verdict.sha256, "");
  EXPECT_FALSE(verdict.signatureMatched);
  ASSERT_EQ(verdict.findings.size(), 1u);
  EXPECT_EQ(verdict.findings[0].code, "FS.DOUBLE_EXT");
}

TEST_F(ScanFileTest, FileIsOpenedAnonymously) {
  const std::wstring path = folder_.write(L"opened.exe", "x");
  const test::OpenWatch watch;
  (void)scan(path);
  EXPECT_TRUE(watch.allAnonymous(L"opened.exe"));
}

TEST_F(ScanFileTest, FileOpenForWritingElsewhereIsNotRead) {
  const std::wstring path = folder_.write(L"a.bin", "abc");
  const UniqueHandle writer(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(writer);
  EXPECT_EQ(scan(path).sha256, "");
}

TEST_F(ScanFileTest, DigestsAgreeOnBothSidesOfTheWholeReadLimit) {
  for (const uint64_t size : {8 * kMiB - 1, 8 * kMiB, 8 * kMiB + 1, 9 * kMiB + 12'345}) {
    std::string bytes(static_cast<size_t>(size), '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i % 251);
    expectDigestsOfFile(folder_.write(L"big.bin", bytes));
  }
}

TEST_F(ScanFileTest, ImagesOfAnySizeAreDigestedWholeAndJudged) {
  test::Bytes image = test::PeBuilder().section({"UPX0", test::kPeRwx, {}, 0x4000}).build();
  // In one read, in pieces, and past what the analysis looks at; odd sizes leave a partial piece.
  for (const uint64_t size : {kMiB + 1, 8 * kMiB + 12'345, 64 * kMiB, 64 * kMiB + 1, 64 * kMiB + 262'143}) {
    image.resize(static_cast<size_t>(size), 0x5A);
    const std::wstring path =
        folder_.write(L"packed.exe", {reinterpret_cast<char*>(image.data()), image.size()});
    expectDigestsOfFile(path);
    const FileVerdict verdict = scan(path);
    EXPECT_TRUE(verdict.isPe);
    ASSERT_FALSE(verdict.findings.empty());
    EXPECT_EQ(verdict.findings.front().code, "PE.PACKED");
    EXPECT_EQ(verdict.findings.back().code, "PE.LARGE_OVERLAY");
  }
}

TEST_F(ScanFileTest, OneScratchServesFilesOfAnySizeInAnyOrder) {
  ScanScratch scratch;
  const ScanContext context{databaseOf(""), 512 * kMiB, kMiB, {}};
  const std::wstring big = folder_.write(L"big.bin", std::string(9 * kMiB, 'b'));
  const std::wstring small = folder_.write(L"small.bin", "abc");
  const std::string bigDigest = hash::sha256File(big, kMiB);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(scanFile(context, small, scratch).sha256, kAbcSha256);
    EXPECT_EQ(scanFile(context, big, scratch).sha256, bigDigest);
  }
}

TEST_F(ScanFileTest, ALargeFileIsNotReadToItsEndOnceAbandoned) {
  const std::wstring big = folder_.write(L"big.bin", std::string(9 * kMiB, 'b'));
  StopSource abandon;
  const ScanContext context{databaseOf(""), 512 * kMiB, kMiB, abandon.get_token()};
  ScanScratch scratch;
  EXPECT_EQ(scanFile(context, big, scratch).sha256, hash::sha256File(big, kMiB));
  abandon.request_stop();
  EXPECT_NE(scanFile(context, big, scratch).sha256, hash::sha256File(big, kMiB));
}

TEST_F(ScanFileTest, AFileThatAnotherProgramHoldsSaysSo) {
  const std::wstring path = folder_.write(L"a.bin", "abc");
  EXPECT_FALSE(scan(path).held);
  {
    const UniqueHandle writer(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(scan(path).held);
  }
  EXPECT_FALSE(scan(path).held);
  EXPECT_FALSE(scan(folder_.at(L"missing.bin")).held);
  folder_.write(L"folder\\a.bin", "abc");
  EXPECT_FALSE(scan(folder_.at(L"folder")).held);
}

TEST_F(ScanFileTest, DirectoryYieldsAnEmptyVerdict) {
  folder_.write(L"svchost.exe\\inner.txt", "x");
  EXPECT_TRUE(scan(folder_.at(L"svchost.exe")).findings.empty());
}

/// Files whose content is kept elsewhere, as a cloud or a tape shows them. The test platform has none.
struct Cloud {
  DWORD ofFile = 0;    // what the attributes of the file "cloud.pdf.exe" say in addition
  DWORD inFolder = 0;  // what its folder says of it in addition
  std::atomic<int> opened{0};

  static Cloud& now() {
    static Cloud cloud;
    return cloud;
  }
  static bool holds(std::wstring_view path) { return path.ends_with(L"cloud.pdf.exe"); }
};

void addCloud(WIN32_FIND_DATAW& entry) {
  if (Cloud::holds(entry.cFileName)) entry.dwFileAttributes |= Cloud::now().inFolder;
}

HANDLE WINAPI findFirstInCloud(const wchar_t* path, FINDEX_INFO_LEVELS level, void* entry,
                               FINDEX_SEARCH_OPS operation, void* filter, DWORD flags) {
  const HANDLE find = ::FindFirstFileExW(path, level, entry, operation, filter, flags);
  if (find != INVALID_HANDLE_VALUE) addCloud(*static_cast<WIN32_FIND_DATAW*>(entry));
  return find;
}

BOOL WINAPI findNextInCloud(HANDLE find, WIN32_FIND_DATAW* entry) {
  const BOOL found = ::FindNextFileW(find, entry);
  if (found) addCloud(*entry);
  return found;
}

BOOL WINAPI attributesInCloud(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* attributes) {
  const BOOL got = ::GetFileAttributesExW(path, level, attributes);
  if (got && Cloud::holds(path)) {
    static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(attributes)->dwFileAttributes |= Cloud::now().ofFile;
  }
  return got;
}

HANDLE WINAPI openInCloud(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD disposition, DWORD flags, HANDLE like) {
  if (Cloud::holds(path)) ++Cloud::now().opened;
  return ::CreateFileW(path, access, share, security, disposition, flags, like);
}

class CloudFileTest : public ScanFileTest {
 protected:
  void SetUp() override {
    set(0, 0);
    calls_ = {findFirstInCloud, findNextInCloud, attributesInCloud, openInCloud};
    path_ = folder_.write(L"cloud.pdf.exe", "abc");
  }
  static void set(DWORD ofFile, DWORD inFolder) {
    Cloud::now().ofFile = ofFile;
    Cloud::now().inFolder = inFolder;
    Cloud::now().opened = 0;
  }
  FileVerdict scanInCloud(std::optional<uint32_t> listedAttributes = std::nullopt) {
    ScanScratch scratch;
    return scanFile({databaseOf(kListed), 512 * kMiB, kMiB, {}, &calls_}, path_, scratch, listedAttributes);
  }
  static void expectOnlyTheNameJudged(const FileVerdict& verdict) {
    EXPECT_EQ(Cloud::now().opened, 0);
    EXPECT_EQ(verdict.size, 3u);
    EXPECT_EQ(verdict.md5 + verdict.sha1 + verdict.sha256, "");
    EXPECT_FALSE(verdict.signatureMatched);
    EXPECT_FALSE(verdict.held);
    ASSERT_EQ(verdict.findings.size(), 1u);
    EXPECT_EQ(verdict.findings[0].code, "FS.DOUBLE_EXT");
  }

  static inline const std::string kListed = std::string(kAbcSha256) + "\n";
  FileCalls calls_;
  std::wstring path_;
};

// Offline, recall on open, recall on data access.
constexpr DWORD kElsewhere[] = {0x1000, 0x4'0000, 0x40'0000};

TEST_F(CloudFileTest, WithItsContentHereItIsReadAsUsual) {
  const FileVerdict verdict = scanInCloud();
  EXPECT_EQ(Cloud::now().opened, 1);
  EXPECT_TRUE(verdict.signatureMatched);
}

TEST_F(CloudFileTest, ThatSaysSoItselfIsNotOpened) {
  for (const DWORD attribute : kElsewhere) {
    set(attribute, 0);
    expectOnlyTheNameJudged(scanInCloud());
    expectOnlyTheNameJudged(scanInCloud(/*listedAttributes=*/FILE_ATTRIBUTE_ARCHIVE));
  }
}

TEST_F(CloudFileTest, WhoseFolderAloneSaysSoIsNotOpened) {
  for (const DWORD attribute : kElsewhere) {
    set(0, attribute);
    expectOnlyTheNameJudged(scanInCloud());
    FileScanner scanner(databaseOf(kListed), ScanOptions{}, /*stop=*/{}, calls_);
    expectOnlyTheNameJudged(scanner.scanSingleFile(path_));
  }
}

TEST_F(CloudFileTest, OfAScanIsNotOpenedAndTheOthersAre) {
  const std::wstring here = folder_.write(L"here.exe", "abc");
  for (const DWORD attribute : kElsewhere) {
    for (const size_t workers : {0u, 2u}) {
      set(0, attribute);
      ScanOptions options;
      options.workers = workers;
      FileScanner scanner(databaseOf(kListed), options, /*stop=*/{}, calls_);
      std::vector<FileVerdict> verdicts;
      scanner.scan({{folder_.path(), true}}, nullptr,
                   [&verdicts](const FileVerdict& verdict) { verdicts.push_back(verdict); });
      ASSERT_EQ(verdicts.size(), 2u);
      const bool first = verdicts[0].path == path_;
      expectOnlyTheNameJudged(verdicts[first ? 0 : 1]);
      EXPECT_EQ(verdicts[first ? 1 : 0].path, here);
      EXPECT_TRUE(verdicts[first ? 1 : 0].signatureMatched);
    }
  }
}

/// The listing that the walk has read already must do: a call more for each file would slow every scan down.
TEST_F(CloudFileTest, OfAScanIsKnownWithoutAskingItsFolderAgain) {
  static std::atomic<int> asked{0};
  asked = 0;
  calls_.findFirstFile = [](const wchar_t* path, FINDEX_INFO_LEVELS level, void* entry,
                            FINDEX_SEARCH_OPS operation, void* filter, DWORD flags) -> HANDLE {
    ++asked;
    return findFirstInCloud(path, level, entry, operation, filter, flags);
  };
  for (int i = 0; i < 10; ++i) folder_.write(std::to_wstring(i) + L".exe", "abc");
  FileScanner scanner(databaseOf(""), ScanOptions{}, /*stop=*/{}, calls_);
  EXPECT_EQ(scanner.scan({{folder_.path(), true}}, nullptr, nullptr).filesScanned, 11u);
  EXPECT_EQ(asked, 1);
}

class ExplainFileTest : public ScanFileTest {
 protected:
  VerdictTrace explain(const std::wstring& path, uint64_t maxFileSize = 512 * kMiB) {
    ScanScratch scratch;
    VerdictTrace trace;
    verdict_ = explainFile({databaseOf(""), maxFileSize, kMiB, {}}, path, scratch, trace);
    EXPECT_EQ(verdict_, scan(path, "", maxFileSize));
    return trace;
  }
  FileVerdict verdict_;
};

TEST_F(ExplainFileTest, TellsWhatAVerdictRestsOn) {
  const VerdictTrace whole = explain(folder_.write(L"a.bin", "abc"));
  EXPECT_EQ(whole.reading, FileReading::kWhole);
  EXPECT_EQ(whole.rules.size(), 4u);

  EXPECT_EQ(explain(folder_.write(L"empty.exe", "")).reading, FileReading::kEmpty);
  EXPECT_TRUE(explain(folder_.at(L"empty.exe")).rules.empty());
  EXPECT_EQ(explain(folder_.write(L"large.exe", "abcd"), 3).reading, FileReading::kTooLarge);

  const VerdictTrace missing = explain(folder_.at(L"none.exe"));
  EXPECT_EQ(missing.reading, FileReading::kMissing);
  EXPECT_EQ(missing.win32, static_cast<uint32_t>(ERROR_FILE_NOT_FOUND));
}

TEST_F(ExplainFileTest, TellsThatAFileIsHeldByAnotherProgram) {
  const std::wstring path = folder_.write(L"held.exe", "abc");
  const UniqueHandle holder(::CreateFileW(path.c_str(), GENERIC_READ, /*share=*/0, /*security=*/nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr));
  ASSERT_TRUE(holder);
  const VerdictTrace trace = explain(path);
  EXPECT_EQ(trace.reading, FileReading::kNotOpened);
  EXPECT_EQ(trace.win32, static_cast<uint32_t>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(verdict_.sha256, "");
}

TEST_F(ExplainFileTest, HoldsTheRulesOfAnImage) {
  const test::Bytes image = test::PeBuilder().import("kernel32.dll", {"WriteProcessMemory"}).build();
  const VerdictTrace trace =
      explain(folder_.write(L"a.exe", {reinterpret_cast<const char*>(image.data()), image.size()}));
  ASSERT_EQ(trace.rules.size(), 11u);
  EXPECT_EQ(trace.rules[5].code, "PE.INJECTION_APIS");
  EXPECT_TRUE(trace.rules[5].hit);
}

}  // namespace
}  // namespace korvel
