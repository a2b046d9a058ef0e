#include "base/files.h"

#include <gtest/gtest.h>
#include <sddl.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "base/stop.h"
#include "support/brief_hold.h"
#include "support/held_moves.h"
#include "support/open_watch.h"
#include "support/sparse_file.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

using test::readFile;
using test::TempFolder;
using test::writeFile;

/// Keeps a file open, so that no other file can be moved over it.
UniqueHandle hold(const std::wstring& path, DWORD share) {
  return UniqueHandle(::CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool isDirectory(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// The access list as text.
std::string accessListOf(const std::wstring& path) {
  DWORD bytes = 0;
  (void)::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &bytes);
  std::vector<unsigned char> descriptor(bytes);
  EXPECT_TRUE(::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), bytes, &bytes));
  char* text = nullptr;
  EXPECT_TRUE(::ConvertSecurityDescriptorToStringSecurityDescriptorA(
      descriptor.data(), SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
  const UniqueLocalMemory owner(text);
  return text == nullptr ? std::string() : text;
}

/// Wine shows the rights that others have on the machine below as those of everyone.
bool letsEveryoneIn(const std::wstring& path) { return accessListOf(path).find(";WD)") != std::string::npos; }

// --- status ---

TEST(PathStatus, FindsFilesAndDirectories) {
  const TempFolder folder;
  EXPECT_EQ(pathStatus(folder.path()), PathStatus::kExists);
  EXPECT_EQ(pathStatus(folder.write(L"файл.txt", "x")), PathStatus::kExists);
  EXPECT_TRUE(pathExists(folder.at(L"файл.txt")));
}

TEST(PathStatus, AFileOpenWithoutSharingIsThere) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"f", "x");
  const UniqueHandle held = hold(path, /*share=*/0);
  ASSERT_TRUE(held);
  EXPECT_EQ(pathStatus(path), PathStatus::kExists);
}

TEST(PathStatus, NamesThatCannotBeThereAreMissing) {
  const TempFolder folder;
  const std::wstring file = folder.write(L"f", "x");
  EXPECT_EQ(pathStatus(folder.at(L"none")), PathStatus::kMissing);
  EXPECT_EQ(pathStatus(folder.at(L"none\\below")), PathStatus::kMissing);
  EXPECT_EQ(pathStatus(folder.at(L"a<b>")), PathStatus::kMissing);
  EXPECT_EQ(pathStatus(file + L"\\below"), PathStatus::kMissing);
  EXPECT_EQ(pathStatus(L""), PathStatus::kMissing);
  EXPECT_FALSE(pathExists(folder.at(L"none")));
}

TEST(PathStatus, OnlyTheCodesOfAbsenceMeanMissing) {
  constexpr DWORD kAbsent[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_BAD_NETPATH,
                               ERROR_BAD_NET_NAME,   ERROR_INVALID_NAME,   ERROR_BAD_PATHNAME,
                               ERROR_DIRECTORY};
  constexpr DWORD kOther[] = {ERROR_ACCESS_DENIED, ERROR_NOT_READY, ERROR_CRC, ERROR_GEN_FAILURE};
  for (const DWORD code : kAbsent) EXPECT_EQ(pathStatusFromError(code), PathStatus::kMissing) << code;
  for (const DWORD code : kOther) EXPECT_EQ(pathStatusFromError(code), PathStatus::kUnreadable) << code;
  EXPECT_EQ(pathStatusFromError(ERROR_SHARING_VIOLATION), PathStatus::kExists);
}

// --- directories ---

TEST(CreateDirectories, MakesEveryMissingParentWithEitherSeparator) {
  const TempFolder folder;
  EXPECT_TRUE(createDirectories(folder.at(L"a\\b/c\\\\d")));
  EXPECT_TRUE(isDirectory(folder.at(L"a\\b\\c\\d")));
  EXPECT_TRUE(createDirectories(folder.at(L"e/f\\")));
  EXPECT_TRUE(isDirectory(folder.at(L"e\\f")));
}

TEST(CreateDirectories, IsContentWithWhatIsThere) {
  const TempFolder folder;
  EXPECT_TRUE(createDirectories(folder.path()));
  EXPECT_TRUE(createDirectories(folder.path() + L"\\"));
  EXPECT_TRUE(createDirectories(L"C:\\"));
}

TEST(CreateDirectories, FailsOnAFileInTheWay) {
  const TempFolder folder;
  const std::wstring file = folder.write(L"f", "x");
  EXPECT_FALSE(createDirectories(file));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_FALSE(createDirectories(file + L"\\below"));
  EXPECT_NE(::GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(readFile(file), "x");
}

TEST(CreateDirectories, FailsOnAnEmptyPath) { EXPECT_FALSE(createDirectories(std::wstring())); }

TEST(CreateDirectories, ManyThreadsMayMakeTheSameTree) {
  const TempFolder folder;
  std::atomic<int> made{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] { made += createDirectories(folder.at(L"a\\b\\c\\d\\e\\f")) ? 1 : 0; });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made, 4);
}

// --- reading ---

TEST(ReadWholeFile, ReturnsEveryByte) {
  const TempFolder folder;
  std::string big;
  for (size_t i = 0; i < (1u << 20) + 251; ++i) big.push_back(static_cast<char>(i % 251));
  for (const size_t size : {size_t{0}, size_t{1}, size_t{1u << 20} - 1, size_t{1u << 20}, big.size()}) {
    const std::string bytes = big.substr(0, size);
    std::string read = "before";
    ASSERT_TRUE(readWholeFile(folder.write(L"f", bytes), read));
    EXPECT_TRUE(read == bytes) << size;
  }
}

TEST(ReadWholeFile, ReadsAFileThatOthersHaveOpen) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"f", "text");
  const UniqueHandle writer(::CreateFileW(path.c_str(), GENERIC_WRITE | DELETE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(writer);
  EXPECT_EQ(readFile(path), "text");
}

TEST(ReadWholeFile, FailsWithTheReason) {
  const TempFolder folder;
  std::string bytes = "before";
  EXPECT_FALSE(readWholeFile(folder.at(L"none"), bytes));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(bytes.empty());

  const UniqueHandle held = hold(folder.write(L"f", "x"), /*share=*/0);
  EXPECT_FALSE(readWholeFile(folder.at(L"f"), bytes));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}

TEST(ReadToEnd, FailsOnAHandleThatCannotBeRead) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"f", "x");
  const UniqueHandle writeOnly(
      ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  std::string bytes = "before";
  EXPECT_FALSE(readToEnd(writeOnly.get(), bytes));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(bytes.empty());
}

TEST(WriteAll, FailsWithTheReason) {
  const TempFolder folder;
  const UniqueHandle readOnly = hold(folder.write(L"f", "x"), FILE_SHARE_READ);
  EXPECT_FALSE(writeAll(readOnly.get(), "y"));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(writeAll(readOnly.get(), ""));
}

TEST(ReadWholeFile, TakesAFileOfExactlyTheLimitAndRefusesOneByteMore) {
  const TempFolder folder;
  std::string bytes;
  EXPECT_TRUE(readWholeFile(folder.write(L"fits", "12345"), bytes, /*maxBytes=*/5));
  EXPECT_EQ(bytes, "12345");
  EXPECT_FALSE(readWholeFile(folder.write(L"larger", "123456"), bytes, /*maxBytes=*/5));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_TOO_LARGE));
  EXPECT_TRUE(bytes.empty());
}

TEST(ReadWholeFile, RefusesAHugeFileWithoutMakingRoomForIt) {
  const TempFolder folder;
  std::string bytes;
  EXPECT_FALSE(readWholeFile(test::sparseFile(folder.at(L"huge"), 8LL << 40), bytes, /*maxBytes=*/1000));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_TOO_LARGE));
}

TEST(ReadToEnd, StopsAtTheLimitWhenTheFileIsLarger) {
  const TempFolder folder;
  const UniqueHandle file = openForReading(folder.write(L"f", "123456"));
  std::string bytes;
  EXPECT_FALSE(readToEnd(file.get(), bytes, /*maxBytes=*/5));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_TOO_LARGE));
}

// The server end is open and silent: a read would wait for ever.
TEST(OpenForReading, RefusesAPipe) {
  const std::wstring path = L"\\\\.\\pipe\\korvel-files-" + std::to_wstring(::GetCurrentProcessId());
  const UniqueHandle server(::CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                               /*instances=*/1, 0, 0, 0, nullptr));
  ASSERT_TRUE(server);
  EXPECT_FALSE(openForReading(path));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_BAD_FILE_TYPE));
}

TEST(OpenForReading, RefusesADevice) { EXPECT_FALSE(openForReading(L"\\\\.\\NUL")); }

TEST(CreateProtectedDirectory, IsForTheSystemAndTheAdministratorsOnly) {
  const TempFolder folder;
  const std::wstring path = folder.at(L"a\\b\\");
  ASSERT_TRUE(createProtectedDirectory(path));
  writeFile(folder.at(L"a\\b\\inside"), "x");
  EXPECT_FALSE(letsEveryoneIn(folder.at(L"a\\b")));
  EXPECT_TRUE(letsEveryoneIn(folder.at(L"a")));  // its parents are ordinary folders
}

TEST(CreateProtectedDirectory, LeavesADirectoryThatIsThereAsItIs) {
  const TempFolder folder;
  ASSERT_TRUE(createDirectories(folder.at(L"a")));
  EXPECT_TRUE(createProtectedDirectory(folder.at(L"a")));
  EXPECT_TRUE(letsEveryoneIn(folder.at(L"a")));
  EXPECT_FALSE(createProtectedDirectory(folder.write(L"file", "x")));
}

// --- opening without a name ---

TEST(OwnFiles, AreOpenedAnonymously) {
  const TempFolder folder;
  const std::wstring path = folder.at(L"own.txt");
  {
    const test::OpenWatch watch;
    EXPECT_TRUE(rewriteTextFile(path, "first"));
    EXPECT_TRUE(rewriteTextFile(path, "second"));  // over a file whose access list is carried over
    EXPECT_GE(watch.flagsFor(L"own.txt").size(), 3u);
    EXPECT_TRUE(watch.allAnonymous(L"own.txt"));
  }
  const UniqueHandle held = hold(path, FILE_SHARE_READ | FILE_SHARE_WRITE);  // the test's own way to open
  const test::OpenWatch watch;
  EXPECT_TRUE(rewriteTextFile(path, "third"));  // in place
  EXPECT_TRUE(openForReading(path));
  EXPECT_GE(watch.flagsFor(L"own.txt").size(), 3u);
  EXPECT_TRUE(watch.allAnonymous(L"own.txt"));
}

// --- trying again ---

TEST(TryWhileHeld, GoesOnWhileTheFileIsHeldAndStopsWithTheFirstSuccess) {
  constexpr DWORD kHeld[] = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_LOCK_VIOLATION};
  for (const DWORD code : kHeld) {
    int tries = 0;
    EXPECT_TRUE(tryWhileHeld([&] {
      ::SetLastError(code);
      return ++tries == 3;
    }));
    EXPECT_EQ(tries, 3) << code;
  }
}

TEST(TryWhileHeld, GivesUpAfterFiveTriesWithTheLastReason) {
  int tries = 0;
  EXPECT_FALSE(tryWhileHeld([&] {
    ::SetLastError(++tries == 5 ? ERROR_SHARING_VIOLATION : ERROR_ACCESS_DENIED);
    return false;
  }));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(tries, 5);
}

TEST(TryWhileHeld, TriesOnceForAnyOtherReasonAndAfterAStop) {
  int tries = 0;
  EXPECT_FALSE(tryWhileHeld([&] {
    ::SetLastError(ERROR_FILE_NOT_FOUND);
    ++tries;
    return false;
  }));
  EXPECT_EQ(tries, 1);
  StopSource stop;
  EXPECT_FALSE(tryWhileHeld(
      [&] {
        ++tries;
        stop.request_stop();
        ::SetLastError(ERROR_SHARING_VIOLATION);
        return false;
      },
      stop.get_token()));
  EXPECT_EQ(tries, 2);
}

// --- replacing ---

class FileReplacementTest : public testing::Test {
 protected:
  TempFolder folder_;
  const std::wstring target_ = folder_.at(L"hosts");
  const std::wstring temporary_ = folder_.at(L"hosts.new");
};

TEST_F(FileReplacementTest, ShowsTheNewTextOnlyAfterCommit) {
  writeFile(target_, "old");
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open());
  EXPECT_TRUE(replacement.write("new "));
  EXPECT_TRUE(replacement.write("text"));
  EXPECT_TRUE(replacement.finish());
  EXPECT_EQ(readFile(target_), "old");
  EXPECT_EQ(readFile(temporary_), "new text");
  EXPECT_TRUE(replacement.commit(/*clearAttributes=*/false));
  EXPECT_EQ(readFile(target_), "new text");
  EXPECT_FALSE(pathExists(temporary_));
}

TEST_F(FileReplacementTest, MakesATargetThatWasNotThere) {
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open() && replacement.write("new") && replacement.finish());
  EXPECT_TRUE(replacement.commit(/*clearAttributes=*/false));
  EXPECT_EQ(readFile(target_), "new");
}

TEST_F(FileReplacementTest, DeletesATemporaryThatAKillLeftBehind) {
  writeFile(temporary_, "a long text of an earlier life");
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open() && replacement.write("new") && replacement.finish());
  EXPECT_TRUE(replacement.commit(/*clearAttributes=*/false));
  EXPECT_EQ(readFile(target_), "new");
}

TEST_F(FileReplacementTest, DroppedBeforeCommitLeavesNothingBehindAndKeepsTheLastError) {
  writeFile(target_, "old");
  for (const bool finished : {false, true}) {
    {
      FileReplacement replacement(target_, temporary_);
      ASSERT_TRUE(replacement.open() && replacement.write("new"));
      if (finished) {
        ASSERT_TRUE(replacement.finish());
      }
      ::SetLastError(4711);
    }
    EXPECT_EQ(::GetLastError(), 4711u);
    EXPECT_FALSE(pathExists(temporary_));
    EXPECT_EQ(readFile(target_), "old");
  }
}

TEST_F(FileReplacementTest, AFailedMoveKeepsTheOldFileAndTheMovesCode) {
  writeFile(target_, "old");
  const UniqueHandle held = hold(target_, FILE_SHARE_READ);
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open() && replacement.write("new") && replacement.finish());
  EXPECT_FALSE(replacement.commit(/*clearAttributes=*/false));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_FALSE(pathExists(temporary_));
  EXPECT_EQ(readFile(target_), "old");
}

TEST_F(FileReplacementTest, ATemporaryThatCannotBeMadeFailsWithTheReason) {
  ASSERT_TRUE(createDirectories(temporary_));
  FileReplacement replacement(target_, temporary_);
  EXPECT_FALSE(replacement.open());
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_EXISTS));
  EXPECT_FALSE(replacement.write("x"));
}

TEST_F(FileReplacementTest, NeverDeletesATemporaryThatItDidNotMake) {
  ASSERT_TRUE(createDirectories(temporary_));
  { FileReplacement unopened(target_, temporary_); }
  {
    FileReplacement refused(target_, temporary_);
    EXPECT_FALSE(refused.open());
  }
  EXPECT_TRUE(isDirectory(temporary_));
}

TEST_F(FileReplacementTest, DoesNotWriteThroughAHardLinkAtTheTemporarysName) {
  const std::wstring victim = folder_.write(L"victim", "of great value");
  ASSERT_TRUE(::CreateHardLinkW(temporary_.c_str(), victim.c_str(), nullptr));
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open() && replacement.write("new") && replacement.finish());
  EXPECT_TRUE(replacement.commit(/*clearAttributes=*/false));
  EXPECT_EQ(readFile(victim), "of great value");
  EXPECT_EQ(readFile(target_), "new");
}

TEST_F(FileReplacementTest, CarriesTheAccessListOfTheTargetOver) {
  writeFile(target_, "old");
  writeFile(folder_.at(L"other"), "x");
  const std::string usual = accessListOf(target_);
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)",
                                                                     SDDL_REVISION_1, &descriptor, nullptr));
  const UniqueLocalMemory owner(descriptor);
  ASSERT_TRUE(::SetFileSecurityW(target_.c_str(), DACL_SECURITY_INFORMATION, descriptor));
  const std::string own = accessListOf(target_);
  ASSERT_NE(own, usual);

  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open());
  EXPECT_EQ(accessListOf(temporary_), own) << "the text must never be open to more readers";
  ASSERT_TRUE(replacement.write("new") && replacement.finish());
  EXPECT_TRUE(replacement.commit(/*clearAttributes=*/false));
  EXPECT_EQ(accessListOf(target_), own);
  EXPECT_EQ(readFile(target_), "new");
}

TEST_F(FileReplacementTest, ReplacesAReadOnlyTargetWhenAttributesAreCleared) {
  writeFile(target_, "old");
  ASSERT_TRUE(::SetFileAttributesW(target_.c_str(), FILE_ATTRIBUTE_READONLY));
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open() && replacement.write("new") && replacement.finish());
  EXPECT_TRUE(replacement.commit(/*clearAttributes=*/true));
  EXPECT_EQ(readFile(target_), "new");
  EXPECT_EQ(::GetFileAttributesW(target_.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
}

// The attributes are cleared before the move and not restored, even when the move fails.
TEST_F(FileReplacementTest, ClearedAttributesStayClearedAfterAFailedMove) {
  writeFile(target_, "old");
  ASSERT_TRUE(::SetFileAttributesW(target_.c_str(), FILE_ATTRIBUTE_READONLY));
  const UniqueHandle held = hold(target_, FILE_SHARE_READ);
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open() && replacement.write("new") && replacement.finish());
  EXPECT_FALSE(replacement.commit(/*clearAttributes=*/true));
  EXPECT_EQ(readFile(target_), "old");
  EXPECT_EQ(::GetFileAttributesW(target_.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
}

TEST_F(FileReplacementTest, WaitsForAProgramThatHoldsTheTargetForAMoment) {
  writeFile(target_, "old");
  FileReplacement replacement(target_, temporary_);
  ASSERT_TRUE(replacement.open() && replacement.write("new") && replacement.finish());
  const test::BriefHold held(target_);
  EXPECT_TRUE(replacement.commit(/*clearAttributes=*/false));
  EXPECT_EQ(readFile(target_), "new");
}

// --- rewriting text files ---

TEST(RewriteTextFile, MovesOverAFileThatIsHeldForAMoment) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "old");
  const test::BriefHold held(path);
  EXPECT_TRUE(rewriteTextFile(path, "new"));
  EXPECT_EQ(readFile(path), "new");
}

TEST(RewriteTextFile, TriesAHeldFileOnceAfterAStop) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "old");
  const test::HeldMoves held;
  EXPECT_TRUE(rewriteTextFile(path, "new", held.stop()));  // in place
  EXPECT_EQ(held.tries(), 1);
  EXPECT_EQ(readFile(path), "new");
}

TEST(RewriteTurn, OfOneFileDoesNotHoldUpAnother) {
  const TempFolder folder;
  const RewriteTurn first(folder.at(L"a"));
  EXPECT_TRUE(rewriteTextFile(folder.at(L"b"), "text"));
  EXPECT_EQ(readFile(folder.at(L"b")), "text");
}

TEST(RewriteTurn, OfTheSameFileComesOneAfterTheOther) {
  const TempFolder folder;
  std::atomic<int> inside{0};
  std::atomic<bool> met{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        const RewriteTurn turn(folder.at(L"a"));
        if (inside.fetch_add(1) != 0) met = true;
        std::this_thread::yield();
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(met);
}

class RewriteTextFileTest : public FileReplacementTest {
 protected:
  const std::wstring path_ = folder_.at(L"settings.ini");
  const std::wstring temporaryOfPath_ = path_ + L".tmp";
};

TEST_F(RewriteTextFileTest, MakesAndReplacesTheFile) {
  EXPECT_TRUE(rewriteTextFile(path_, "first, long text"));
  EXPECT_EQ(readFile(path_), "first, long text");
  EXPECT_TRUE(rewriteTextFile(path_, "second"));
  EXPECT_EQ(readFile(path_), "second");
  EXPECT_TRUE(rewriteTextFile(path_, ""));
  EXPECT_EQ(readFile(path_), "");
  EXPECT_FALSE(pathExists(temporaryOfPath_));
}

TEST_F(RewriteTextFileTest, DoesNotWriteThroughALinkAtTheTemporarysName) {
  const std::wstring victim = folder_.write(L"victim", "of great value");
  ASSERT_TRUE(::CreateHardLinkW(temporaryOfPath_.c_str(), victim.c_str(), nullptr));
  EXPECT_TRUE(rewriteTextFile(path_, "new"));
  EXPECT_EQ(readFile(victim), "of great value");
  EXPECT_EQ(readFile(path_), "new");
}

TEST_F(RewriteTextFileTest, RewritesInPlaceWhenTheTemporaryCannotBeMade) {
  writeFile(path_, "old and longer");
  ASSERT_TRUE(createDirectories(temporaryOfPath_));
  EXPECT_TRUE(rewriteTextFile(path_, "new"));
  EXPECT_EQ(readFile(path_), "new");
  EXPECT_TRUE(isDirectory(temporaryOfPath_));
}

TEST_F(RewriteTextFileTest, RewritesInPlaceWhenTheTemporaryCannotBeMoved) {
  writeFile(path_, "old and longer");
  const UniqueHandle reader = hold(path_, FILE_SHARE_READ | FILE_SHARE_WRITE);
  EXPECT_TRUE(rewriteTextFile(path_, "new"));
  EXPECT_EQ(readFile(path_), "new");
  EXPECT_FALSE(pathExists(temporaryOfPath_));
}

TEST_F(RewriteTextFileTest, FailsWhenTheFileCannotBeOpenedEitherWay) {
  writeFile(path_, "old");
  {
    const UniqueHandle reader = hold(path_, FILE_SHARE_READ);
    EXPECT_FALSE(rewriteTextFile(path_, "new"));
  }
  EXPECT_EQ(readFile(path_), "old");
  EXPECT_FALSE(pathExists(temporaryOfPath_));

  EXPECT_FALSE(rewriteTextFile(folder_.at(L"none\\settings.ini"), "new"));
  EXPECT_FALSE(rewriteTextFile(folder_.path(), "new"));
}

TEST_F(RewriteTextFileTest, DoesNotGoAroundTheAttributesThatProtectAFile) {
  constexpr DWORD kAttributes[] = {FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_HIDDEN, FILE_ATTRIBUTE_SYSTEM};
  for (const DWORD attribute : kAttributes) {
    writeFile(path_, "old");
    ASSERT_TRUE(::SetFileAttributesW(path_.c_str(), attribute));
    const bool protectedFromOpening =
        !UniqueHandle(::CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_EQ(rewriteTextFile(path_, "new"), !protectedFromOpening) << attribute;
    EXPECT_EQ(readFile(path_), protectedFromOpening ? "old" : "new") << attribute;
    ::SetFileAttributesW(path_.c_str(), FILE_ATTRIBUTE_NORMAL);
  }
}

// Two savers share the temporary's name; a reader must never meet a mixture or a part.
TEST_F(RewriteTextFileTest, WritersAtTheSameTimeLeaveOneOfTheirTexts) {
  const std::string texts[] = {std::string(70'000, 'a'), std::string(9'000, 'b'), std::string(40, 'c')};
  for (int round = 0; round < 10; ++round) {
    std::vector<std::thread> writers;
    for (const std::string& text : texts) {
      writers.emplace_back([this, &text] {
        for (int i = 0; i < 5; ++i) EXPECT_TRUE(rewriteTextFile(path_, text));
      });
    }
    for (std::thread& writer : writers) writer.join();
    const std::string left = readFile(path_);
    EXPECT_TRUE(left == texts[0] || left == texts[1] || left == texts[2]) << left.size();
  }
}

}  // namespace
}  // namespace korvel
