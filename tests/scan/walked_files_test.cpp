// Real files in batches: the verdicts are those of files scanned one by one, whatever happens to the files
// meanwhile.
#include "scan/walked_files.h"

#include <atomic>
#include <functional>
#include <string_view>

#include "base/unique_resource.h"
#include "scan/file_content.h"
#include "scan_fixture.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

/// What happens when the file with this name is about to be opened.
struct Openings {
  std::wstring name;
  std::function<void()> before;
  bool failsToRead = false;

  static Openings& now() {
    static Openings openings;
    return openings;
  }
};

HANDLE WINAPI openWithEvents(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                             DWORD disposition, DWORD flags, HANDLE like) {
  Openings& now = Openings::now();
  if (!now.name.empty() && std::wstring_view(path).ends_with(now.name)) {
    if (now.before) now.before();
    // A handle that may not read: its first ReadFile() fails.
    if (now.failsToRead) access = FILE_READ_ATTRIBUTES;
  }
  return ::CreateFileW(path, access, share, security, disposition, flags, like);
}

class WalkedFilesTest : public test::ScanFixture {
 protected:
  void SetUp() override {
    Openings::now() = {};
    calls_.createFile = openWithEvents;
    context_ = {databaseOf(std::string(test::kAbcSha256) + ":Test.Name:Family\n"), 4 * kMiB, 1 * kMiB,
                stop_.get_token(), &calls_};
  }

  std::wstring add(const std::wstring& name, const std::string& bytes) {
    const std::wstring path = folder_.write(name, bytes);
    files_.push_back({path, bytes.size(), FILE_ATTRIBUTE_ARCHIVE});
    return path;
  }
  void addSmallFiles(int count) {
    for (int i = 0; i < count; ++i) {
      add(std::to_wstring(i) + (i % 7 == 0 ? L".pdf.exe" : L".exe"),
          i % 5 == 0 ? "abc" : std::string(static_cast<size_t>(i) * 97, 'x'));
    }
  }
  std::vector<FileVerdict> scan(size_t atMost = SIZE_MAX) {
    ScanScratch scratch;
    WalkedFilesScan subject(context_, scratch, cancel_.get_token());
    std::vector<FileVerdict> verdicts;
    const size_t delivered = subject.scan(files_, [&](FileVerdict verdict) {
      verdicts.push_back(std::move(verdict));
      return verdicts.size() < atMost;
    });
    EXPECT_EQ(delivered, verdicts.size());
    return verdicts;
  }
  std::vector<FileVerdict> oneByOne() {
    ScanScratch scratch;
    std::vector<FileVerdict> verdicts;
    for (const WalkedFile& file : files_) {
      verdicts.push_back(scanFile(context_, file.path, scratch, file.attributes));
    }
    return verdicts;
  }

  FileCalls calls_ = FileCalls::windows();
  StopSource cancel_, stop_;
  ScanContext context_;
  std::vector<WalkedFile> files_;
};

TEST_F(WalkedFilesTest, EmptySmallMiddleLargeAndTooLargeFilesAreJudgedAsOneByOne) {
  addSmallFiles(60);
  add(L"Downloads\\empty.exe", "");
  add(L"at-limit.exe", std::string(kBatchFileLimitBytes, 'a'));
  add(L"above-limit.exe", std::string(kBatchFileLimitBytes + 1, 'b'));
  add(L"too-large.exe", std::string(4 * kMiB + 1, 'c'));
  test::PeBuilder builder;
  builder.section({"UPX0", test::kPeRwx, {}, 0x4000})
      .section({".text", test::kPeCode, test::noiseBytes(5'000)});
  const test::Bytes image = builder.build();
  for (int i = 0; i < 20; ++i) {
    add(L"image" + std::to_wstring(i) + L".exe", {reinterpret_cast<const char*>(image.data()), image.size()});
  }
  const std::vector<FileVerdict> verdicts = scan();
  ASSERT_EQ(verdicts.size(), files_.size());
  EXPECT_TRUE(verdicts == oneByOne());
  EXPECT_TRUE(verdicts[0].signatureMatched);
  EXPECT_TRUE(verdicts.back().isPe);
  EXPECT_FALSE(verdicts.back().findings.empty());
}

TEST_F(WalkedFilesTest, AFileThatVanishesAfterTheWalkHasNoVerdictButItsName) {
  addSmallFiles(30);
  ::DeleteFileW(files_[4].path.c_str());
  Openings::now() = {L"\\9.exe", [this] { ::DeleteFileW(files_[9].path.c_str()); }};
  const std::vector<FileVerdict> verdicts = scan();
  ASSERT_EQ(verdicts.size(), 30u);
  for (const size_t gone : {4u, 9u}) {
    FileVerdict expected;
    expected.path = files_[gone].path;
    expected.fileName = std::to_wstring(gone) + L".exe";
    EXPECT_EQ(verdicts[gone], expected);
  }
  EXPECT_TRUE(verdicts == oneByOne());
}

TEST_F(WalkedFilesTest, AFileWhoseReadFailsIsJudgedByThePartBefore) {
  addSmallFiles(30);
  Openings::now() = {.name = L"\\8.exe", .before = {}, .failsToRead = true};
  const std::vector<FileVerdict> verdicts = scan();
  ASSERT_EQ(verdicts.size(), 30u);
  // The digest of no bytes (FIPS 180-4).
  EXPECT_EQ(verdicts[8].sha256, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_TRUE(verdicts == oneByOne());
}

TEST_F(WalkedFilesTest, AFileThatAnotherProgramHoldsSaysSoAndTheOthersAreRead) {
  addSmallFiles(30);
  const UniqueHandle holder(
      ::CreateFileW(files_[14].path.c_str(), GENERIC_READ, /*share=*/0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(holder);
  const std::vector<FileVerdict> verdicts = scan();
  ASSERT_EQ(verdicts.size(), 30u);
  EXPECT_TRUE(verdicts[14].held);
  EXPECT_EQ(verdicts[14].sha256, "");
  EXPECT_FALSE(verdicts[14].findings.empty()) << "its name is judged";
  EXPECT_TRUE(verdicts == oneByOne());
}

TEST_F(WalkedFilesTest, AFileThatGrowsIsReadAsFarAsItsAttributesSaid) {
  addSmallFiles(30);
  Openings::now() = {L"\\6.exe", [this] { folder_.write(L"6.exe", std::string(3 * kMiB, 'y')); }};
  const FileVerdict before = oneByOne()[6];  // the stand-in acts here for the first time
  folder_.write(L"6.exe", std::string(582, 'y'));
  const std::vector<FileVerdict> verdicts = scan();
  ASSERT_EQ(verdicts.size(), 30u);
  EXPECT_EQ(verdicts[6].size, 582u);
  EXPECT_EQ(verdicts[6].sha256, before.sha256);
}

TEST_F(WalkedFilesTest, AStopEndsTheReadingAtOnceAndDeliversNothingOfIt) {
  addSmallFiles(40);
  std::atomic<int> opened{0};
  Openings::now() = {L".exe", [this, &opened] {
                       if (++opened == 10) stop_.request_stop();
                     }};
  const size_t delivered = scan().size();
  EXPECT_EQ(opened, 10);
  EXPECT_LT(delivered, 10u);
}

TEST_F(WalkedFilesTest, AfterACancelNoFurtherFileIsOpenedAndWhatWasReadIsDelivered) {
  addSmallFiles(40);
  std::atomic<int> opened{0};
  Openings::now() = {L".exe", [this, &opened] {
                       if (++opened == 10) cancel_.request_stop();
                     }};
  const std::vector<FileVerdict> verdicts = scan();
  EXPECT_EQ(opened, 10);
  Openings::now() = {};
  const std::vector<FileVerdict> expected = oneByOne();
  // The first one is empty in its size and is not opened at all.
  ASSERT_GE(verdicts.size(), 10u);
  ASSERT_LE(verdicts.size(), 11u);
  EXPECT_TRUE(std::equal(verdicts.begin(), verdicts.end(), expected.begin()));
}

TEST_F(WalkedFilesTest, FilesAndALargeImageTogetherStayBelow72MiB) {
  addSmallFiles(100);
  const std::string middle(static_cast<size_t>(kBatchFileLimitBytes), 'm');
  for (int i = 0; i < 12; ++i) add(L"middle" + std::to_wstring(i) + L".exe", middle);
  test::Bytes image = test::PeBuilder().section({".text", test::kPeCode, test::noiseBytes(5'000)}).build();
  image.resize(70 * kMiB, 0x5A);
  add(L"image.exe", {reinterpret_cast<const char*>(image.data()), image.size()});
  add(L"whole.exe", std::string(kWholeReadLimitBytes, 'w'));
  addSmallFiles(20);
  context_.maxFileSize = 512 * kMiB;
  image = {};

  ScanScratch scratch;
  WalkedFilesScan subject(context_, scratch, {});
  EXPECT_EQ(subject.scan(files_, [](const FileVerdict&) { return true; }), files_.size());
  EXPECT_LE(scratch.bytes(), 72 * kMiB);
}

}  // namespace
}  // namespace korvel
