#include "remedy/quarantine_store.h"

#include <gtest/gtest.h>
#include <sddl.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/paths.h"
#include "base/utf.h"
#include "remedy/quarantine_index.h"
#include "support/brief_hold.h"
#include "support/eventually.h"
#include "support/held_moves.h"
#include "support/import_patch.h"
#include "support/sparse_file.h"
#include "support/temp_folder.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

using test::readFile;
using test::TempFolder;
using test::writeFile;
using Records = std::vector<QuarantineRecord>;

constexpr char kHash[] = "3fa9c1d2e4b5a6f70123456789abcdef";
constexpr char kEmptyIndex[] = "KORVELQUARANTINE/1\n";

class QuarantineStoreTest : public testing::Test {
 protected:
  /// Quarantines a file and expects that to work.
  QuarantineRecord add(const std::wstring& path) {
    QuarantineRecord record;
    std::string error;
    EXPECT_TRUE(store_.addFile(dir_, path, kHash, "Троян", "SIG.MATCH", kSeverityCritical, &record, &error))
        << error;
    return record;
  }

  /// A record of a file that lies in the quarantine directory, not yet in the index.
  QuarantineRecord stored(uint64_t id, const std::wstring& name, std::string_view bytes) {
    QuarantineRecord record;
    record.id = id;
    record.name = name;
    record.originalPath = folder_.at(name);
    record.storedPath = dir_ + L"\\7_aa_" + name;
    writeFile(record.storedPath, bytes);
    return record;
  }

  void writeIndex(const Records& records) { writeFile(index_, formatQuarantineIndex(records)); }

  Records list() { return store_.listRecords(dir_); }
  std::vector<uint64_t> listedIds() {
    std::vector<uint64_t> ids;
    for (const QuarantineRecord& record : list()) ids.push_back(record.id);
    return ids;
  }

  /// Open for reading and shared with readers only: cannot be moved, replaced, deleted or written.
  static UniqueHandle lock(const std::wstring& path) {
    return UniqueHandle(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  }

  static std::vector<std::wstring> filesIn(const std::wstring& directory) {
    std::vector<std::wstring> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      names.push_back(entry.path().filename().wstring());
    }
    return names;
  }

  /// The system's list, as one text; empty when there is none.
  static std::wstring deletionsAtTheNextStart() {
    constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    constexpr wchar_t kValue[] = L"PendingFileRenameOperations";
    DWORD bytes = 0;
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, RRF_RT_REG_MULTI_SZ, nullptr, nullptr, &bytes) != 0)
      return {};
    std::wstring text(bytes / sizeof(wchar_t), L'\0');
    (void)::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, RRF_RT_REG_MULTI_SZ, nullptr, text.data(), &bytes);
    return text;
  }

  TempFolder folder_;
  const std::wstring dir_ = folder_.at(L"ProgramData\\Карантин");
  const std::wstring index_ = dir_ + L"\\quarantine.db";
  QuarantineStore store_;
  std::string error_ = "untouched";
};

// --- ensureStore ---

TEST_F(QuarantineStoreTest, EnsureMakesTheDirectoryAndAnEmptyIndex) {
  EXPECT_TRUE(store_.ensureStore(dir_, &error_));
  EXPECT_EQ(readFile(index_), kEmptyIndex);
  EXPECT_TRUE(list().empty());
  EXPECT_EQ(error_, "untouched");
}

/// The folders that this program makes, each with its access list: "-" for the one that it inherits.
class MadeFolders {
 public:
  MadeFolders() {
    text_ = "";
    create_ = patch_.original<BOOL WINAPI(const wchar_t*, SECURITY_ATTRIBUTES*)>();
  }
  std::string text() const { return text_; }

 private:
  static BOOL WINAPI noteAndCreate(const wchar_t* path, SECURITY_ATTRIBUTES* security) {
    if (!create_(path, security)) return FALSE;
    char* list = nullptr;
    if (security != nullptr) {
      ::ConvertSecurityDescriptorToStringSecurityDescriptorA(security->lpSecurityDescriptor, SDDL_REVISION_1,
                                                             DACL_SECURITY_INFORMATION, &list, nullptr);
    }
    const UniqueLocalMemory owner(list);
    text_ += toUtf8(fileName(path)) + " " + (list != nullptr ? list : "-") + "\n";
    return TRUE;
  }

  inline static std::string text_;
  inline static BOOL(WINAPI* create_)(const wchar_t*, SECURITY_ATTRIBUTES*) = nullptr;
  const test::ImportPatch patch_{"CreateDirectoryW", noteAndCreate};
};

TEST_F(QuarantineStoreTest, TheDirectoryThatItMakesIsForTheSystemAndTheAdministratorsOnly) {
  const MadeFolders made;
  EXPECT_TRUE(store_.ensureStore(dir_, &error_)) << error_;
  EXPECT_EQ(made.text(), "ProgramData -\nКарантин D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)\n");
  const QuarantineRecord record = add(folder_.write(L"a.exe", "x"));  // and it can be used
  EXPECT_EQ(readFile(record.storedPath), "x");
}

TEST_F(QuarantineStoreTest, EnsureLeavesAnIndexThatIsThereAlone) {
  writeFile(index_, "not an index, and no line feed at its end");
  EXPECT_TRUE(store_.ensureStore(dir_, nullptr));
  EXPECT_EQ(readFile(index_), "not an index, and no line feed at its end");
  writeFile(index_, "");
  EXPECT_TRUE(store_.ensureStore(dir_, nullptr));
  EXPECT_EQ(readFile(index_), "");
}

TEST_F(QuarantineStoreTest, EnsureFailsWhereTheDirectoryCannotBeMade) {
  folder_.write(L"ProgramData", "a file in the way");
  EXPECT_FALSE(store_.ensureStore(dir_, &error_));
  EXPECT_EQ(error_, "cannot create quarantine dir: " + toUtf8(dir_));
  EXPECT_FALSE(store_.ensureStore(dir_, nullptr));
  EXPECT_FALSE(store_.ensureStore(L"", &error_));
  EXPECT_EQ(error_, "cannot create quarantine dir: ");
}

TEST_F(QuarantineStoreTest, AnIndexWhoseStatusCannotBeReadIsAnError) {
  const std::wstring path = folder_.write(L"a.exe", "x");
  constexpr DWORD kFailures[] = {ERROR_ACCESS_DENIED, ERROR_NOT_READY, ERROR_CRC, ERROR_GEN_FAILURE};
  for (const DWORD code : kFailures) {
    QuarantineStore store([code](const std::wstring&) {
      ::SetLastError(code);
      return pathStatusFromError(code);
    });
    const auto expectExistsError = [code](const auto& operation) {
      try {
        operation();
        ADD_FAILURE() << "no error for code " << code;
      } catch (const std::filesystem::filesystem_error& problem) {
        EXPECT_EQ(std::string(problem.what()).find("filesystem error: exists: win32=" + std::to_string(code)),
                  0u)
            << problem.what();
      }
    };
    expectExistsError([&] { store.ensureStore(dir_, nullptr); });
    expectExistsError([&] { store.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, nullptr); });
    EXPECT_EQ(readFile(path), "x");
    EXPECT_FALSE(pathExists(index_));
  }
}

TEST_F(QuarantineStoreTest, AnIndexOfMoreThan256MiBStopsNoStartButEveryOperationAndIsNeverWritten) {
  constexpr int64_t kBytes = (256LL << 20) + 1;
  ASSERT_TRUE(createDirectories(dir_));
  test::sparseFile(index_, kBytes);
  EXPECT_TRUE(store_.ensureStore(dir_, &error_));
  const std::wstring path = folder_.write(L"a.exe", "x");
  using Problem = std::filesystem::filesystem_error;
  EXPECT_THROW(list(), Problem);
  EXPECT_THROW(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, nullptr), Problem);
  EXPECT_THROW(store_.restoreRecord(dir_, 1, nullptr), Problem);
  EXPECT_THROW(store_.deleteRecord(dir_, 1, nullptr), Problem);
  EXPECT_EQ(readFile(path), "x");
  WIN32_FILE_ATTRIBUTE_DATA data{};
  ASSERT_TRUE(::GetFileAttributesExW(index_.c_str(), GetFileExInfoStandard, &data));
  EXPECT_EQ(data.nFileSizeLow, static_cast<DWORD>(kBytes));
}

// --- addFile ---

TEST_F(QuarantineStoreTest, AddMovesTheFileAndRecordsIt) {
  const std::wstring path = folder_.write(L"Загрузки\\счёт.pdf.exe", "malware");
  const uint64_t before = unixMillisecondsNow();
  const QuarantineRecord record = add(path);
  const uint64_t after = unixMillisecondsNow();

  EXPECT_LE(before, record.id);
  EXPECT_LE(record.id, after);
  EXPECT_LE(record.id / 1000, record.time);  // the clock is read a second time, after the id
  EXPECT_LE(record.time, after / 1000);
  EXPECT_EQ(record.originalPath, path);
  EXPECT_EQ(record.name, L"счёт.pdf.exe");
  EXPECT_EQ(record.storedPath,
            dir_ + L"\\" + std::to_wstring(record.time) + L"_3fa9c1d2e4b5a6f7_счёт.pdf.exe");
  EXPECT_EQ(record.sha256, kHash);
  EXPECT_EQ(record.threat, "Троян");
  EXPECT_EQ(record.code, "SIG.MATCH");
  EXPECT_EQ(record.severity, kSeverityCritical);
  EXPECT_EQ(record.size, 7u);
  EXPECT_TRUE(record.storedFileExists);

  EXPECT_FALSE(pathExists(path));
  EXPECT_EQ(readFile(record.storedPath), "malware");
  EXPECT_EQ(readFile(index_), formatQuarantineIndex({record}));
  EXPECT_EQ(list(), Records{record});
}

TEST_F(QuarantineStoreTest, AddNeedsNobodyToTakeTheRecordOrTheError) {
  const std::wstring path = folder_.write(L"a.exe", "x");
  EXPECT_TRUE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, nullptr));
  EXPECT_FALSE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, nullptr));
}

TEST_F(QuarantineStoreTest, AddAppendsToTheIndex) {
  const QuarantineRecord first = add(folder_.write(L"b.exe", "1"));
  const QuarantineRecord second = add(folder_.write(L"a.exe", "22"));
  EXPECT_EQ(list(), (Records{first, second}));
}

TEST_F(QuarantineStoreTest, AddUsesAShortHashWhole) {
  QuarantineRecord record;
  ASSERT_TRUE(
      store_.addFile(dir_, folder_.write(L"a.exe", "x"), "ab12", "t", "c", kSeverityHigh, &record, nullptr));
  EXPECT_EQ(record.storedPath, dir_ + L"\\" + std::to_wstring(record.time) + L"_ab12_a.exe");
}

TEST_F(QuarantineStoreTest, AddTakesEitherSeparatorBeforeTheName) {
  folder_.write(L"d\\a.exe", "x");
  EXPECT_EQ(add(folder_.path() + L"\\d/a.exe").name, L"a.exe");
}

TEST_F(QuarantineStoreTest, AddTakesAnEmptyFile) {
  const QuarantineRecord record = add(folder_.write(L"empty", ""));
  EXPECT_EQ(record.size, 0u);
  EXPECT_EQ(list(), Records{record});
}

TEST_F(QuarantineStoreTest, AddMovesADirectoryLikeAnyOtherPath) {
  folder_.write(L"d\\inside", "x");
  const QuarantineRecord record = add(folder_.at(L"d"));
  EXPECT_EQ(record.size, 0u);
  EXPECT_EQ(readFile(record.storedPath + L"\\inside"), "x");
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, nullptr));
  EXPECT_EQ(readFile(folder_.at(L"d\\inside")), "x");
}

TEST_F(QuarantineStoreTest, AddOfWhatIsNotThereFailsAndMakesNothing) {
  QuarantineRecord record;
  for (const std::wstring& path :
       {folder_.at(L"none"), folder_.at(L"none\\x"), std::wstring(), folder_.at(L"a<b>")}) {
    error_.clear();
    EXPECT_FALSE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, &record, &error_));
    EXPECT_EQ(error_, "file not found");
  }
  EXPECT_EQ(record, QuarantineRecord());
  EXPECT_FALSE(pathExists(dir_));
}

TEST_F(QuarantineStoreTest, AddFailsWhereTheDirectoryCannotBeMade) {
  folder_.write(L"ProgramData", "a file in the way");
  const std::wstring path = folder_.write(L"a.exe", "x");
  EXPECT_FALSE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, &error_));
  EXPECT_EQ(error_, "cannot create quarantine dir: " + toUtf8(dir_));
  EXPECT_EQ(readFile(path), "x");
}

TEST_F(QuarantineStoreTest, AddOfALockedFileFailsAndChangesNothing) {
  const QuarantineRecord earlier = add(folder_.write(L"earlier", "x"));
  const std::wstring path = folder_.write(L"a.exe", "x");
  const UniqueHandle held = lock(path);
  ASSERT_TRUE(held);
  QuarantineRecord record;
  EXPECT_FALSE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, &record, &error_));
  EXPECT_EQ(error_, "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)");
  EXPECT_EQ(record, QuarantineRecord());
  EXPECT_EQ(readFile(path), "x");
  EXPECT_EQ(list(), Records{earlier});
}

TEST_F(QuarantineStoreTest, AddFailsWhereTheStoredFileCannotBeMade) {
  const std::wstring path =
      folder_.write(std::wstring(240, L'n'), "x");  // no room for time and hash before it
  EXPECT_FALSE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, &error_));
  EXPECT_TRUE(error_.starts_with("MoveFileEx failed, code ")) << error_;
  EXPECT_EQ(readFile(path), "x");
  EXPECT_EQ(readFile(index_), kEmptyIndex);
}

TEST_F(QuarantineStoreTest, AHashFromAClientDoesNotLeaveTheQuarantineFolder) {
  QuarantineRecord record;
  ASSERT_TRUE(store_.addFile(dir_, folder_.write(L"a.exe", "x"), "\\..\\..\\", "t", "c", kSeverityHigh,
                             &record, &error_))
      << error_;
  EXPECT_EQ(record.storedPath, dir_ + L"\\" + std::to_wstring(record.time) + L"__.._..__a.exe");
  EXPECT_EQ(readFile(record.storedPath), "x");
  EXPECT_EQ(list(), Records{record});
}

TEST_F(QuarantineStoreTest, ALineFeedInTextsFromAClientForgesNoRecord) {
  QuarantineRecord record;
  ASSERT_TRUE(store_.addFile(dir_, folder_.write(L"a.exe", "x"), "ab\r12", "t\nID=7\nORIG=C:\\x", "c\tc",
                             kSeverityHigh, &record, &error_))
      << error_;
  EXPECT_EQ(record.threat, "t ID=7 ORIG=C:\\x");
  EXPECT_EQ(record.code, "c c");
  EXPECT_EQ(record.sha256, "ab 12");
  EXPECT_EQ(list(), Records{record});
}

// The file API drops "<anything>\\..", so such a path names a file that is there.
TEST_F(QuarantineStoreTest, ALineFeedInAPathFromAClientForgesNoRecord) {
  const std::wstring file = folder_.write(L"a.exe", "bytes");
  const std::wstring victim = folder_.write(L"victim.txt", "mine");
  const std::wstring path =
      folder_.at(L"x\nID=7\nSTORED=" + victim.substr(victim.rfind(L'\\') + 1) + L"\n\\..\\a.exe");
  const QuarantineRecord record = add(path);
  EXPECT_FALSE(pathExists(file));
  EXPECT_EQ(record.originalPath, folder_.at(L"x ID=7 STORED=victim.txt \\..\\a.exe"));
  EXPECT_EQ(record.name, L"a.exe");
  EXPECT_EQ(list(), Records{record});
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, &error_)) << error_;
  EXPECT_EQ(readFile(file), "bytes");
}

TEST_F(QuarantineStoreTest, APathEndsAtItsFirstNul) {
  const std::wstring path = folder_.write(L"a.exe", "bytes");
  const QuarantineRecord record = add(path + std::wstring(L"\0.txt", 5));
  EXPECT_EQ(record.originalPath, path);
  EXPECT_EQ(record.name, L"a.exe");
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, &error_)) << error_;
  EXPECT_EQ(readFile(path), "bytes");
}

// Shared for writing only, as by a program that is just replacing it: it can be rewritten but not read.
TEST_F(QuarantineStoreTest, AnIndexThatCannotBeReadJustNowKeepsItsRecords) {
  const Records records = {stored(1, L"a", "x"), stored(2, L"b", "x")};
  writeIndex(records);
  const std::wstring path = folder_.write(L"c.exe", "x");
  QuarantineRecord record;
  {
    const UniqueHandle held(::CreateFileW(index_.c_str(), GENERIC_READ, FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(held);
    EXPECT_TRUE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, &record, &error_)) << error_;
    EXPECT_TRUE(list().empty());
    EXPECT_FALSE(store_.deleteRecord(dir_, 1, &error_));
    EXPECT_EQ(error_, "record not found");
  }
  EXPECT_EQ(readFile(record.storedPath), "x");
  EXPECT_EQ(readFile(index_), formatQuarantineIndex(records));
}

TEST_F(QuarantineStoreTest, SameSecondNameAndHashShareOneStoredNameAndTheSecondFileStays) {
  for (int attempt = 0; attempt < 20; ++attempt) {
    const QuarantineRecord first = add(folder_.write(L"a.exe", "first"));
    const QuarantineRecord second = add(folder_.write(L"a.exe", "second"));
    if (first.time != second.time) continue;  // a second has just ended between the two
    EXPECT_EQ(first.storedPath, second.storedPath);
    EXPECT_EQ(readFile(second.storedPath), "second");
    const Records records = list();
    ASSERT_EQ(records.size(), 2 * static_cast<size_t>(attempt + 1));
    EXPECT_EQ(records[records.size() - 2], first);
    EXPECT_EQ(records.back(), second);
    return;
  }
  FAIL() << "no two files within one second";
}

TEST_F(QuarantineStoreTest, AnIndexThatCannotBeWrittenIsSilentlyNotWritten) {
  ASSERT_TRUE(store_.ensureStore(dir_, nullptr));
  const std::wstring path = folder_.write(L"a.exe", "x");
  QuarantineRecord record;
  {
    const UniqueHandle held = lock(index_);
    EXPECT_TRUE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, &record, &error_));
  }
  EXPECT_EQ(error_, "untouched");
  EXPECT_FALSE(pathExists(path));
  EXPECT_EQ(readFile(record.storedPath), "x");
  EXPECT_EQ(readFile(index_), kEmptyIndex);
}

// --- listRecords ---

TEST_F(QuarantineStoreTest, AMissingOrEmptyIndexListsNothing) {
  EXPECT_TRUE(list().empty());
  EXPECT_FALSE(pathExists(dir_));
  writeIndex({});
  EXPECT_TRUE(list().empty());
}

TEST_F(QuarantineStoreTest, AnIndexThatCannotBeReadListsNothing) {
  writeIndex({stored(1, L"a", "x")});
  const UniqueHandle held(::CreateFileW(index_.c_str(), GENERIC_READ, /*share=*/0, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(held);
  EXPECT_TRUE(list().empty());
}

TEST_F(QuarantineStoreTest, ListTellsWhichStoredFilesAreThere) {
  Records records = {stored(1, L"a", "x"), stored(2, L"b", "x"), stored(3, L"c", "x"), stored(4, L"d", "x")};
  ASSERT_TRUE(::DeleteFileW(records[1].storedPath.c_str()));
  records[2].storedPath.clear();
  records[3].storedPath = dir_;  // any kind of object counts
  writeIndex(records);
  const Records listed = list();
  ASSERT_EQ(listed.size(), 4u);
  EXPECT_TRUE(listed[0].storedFileExists);
  EXPECT_FALSE(listed[1].storedFileExists);
  EXPECT_FALSE(listed[2].storedFileExists);
  EXPECT_TRUE(listed[3].storedFileExists);
}

// --- restoreRecord ---

TEST_F(QuarantineStoreTest, RestoreMovesTheFileBackAndRemovesTheRecord) {
  const std::wstring path = folder_.write(L"a.exe", "x");
  const QuarantineRecord other = add(folder_.write(L"b.exe", "y"));
  // The id is the millisecond.
  ASSERT_TRUE(test::eventually([&] { return unixMillisecondsNow() != other.id; }));
  const QuarantineRecord record = add(path);
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, &error_));
  EXPECT_EQ(error_, "untouched");
  EXPECT_EQ(readFile(path), "x");
  EXPECT_FALSE(pathExists(record.storedPath));
  EXPECT_EQ(readFile(index_), formatQuarantineIndex({other}));
}

TEST_F(QuarantineStoreTest, RestoreMakesTheFolderAgain) {
  const std::wstring path = folder_.write(L"gone\\deep\\a.exe", "x");
  const QuarantineRecord record = add(path);
  test::removeTree(folder_.at(L"gone"));
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, nullptr));
  EXPECT_EQ(readFile(path), "x");
}

TEST_F(QuarantineStoreTest, RestoreTakesRunsOfEitherSeparatorForOne) {
  QuarantineRecord record = stored(1, L"a", "x");
  record.originalPath = folder_.path() + L"\\gone/deep\\//a";
  writeIndex({record});
  EXPECT_TRUE(store_.restoreRecord(dir_, 1, nullptr));
  EXPECT_EQ(readFile(folder_.at(L"gone\\deep\\a")), "x");
}

TEST_F(QuarantineStoreTest, RestoreOverwritesWhatHasAppearedMeanwhile) {
  const std::wstring path = folder_.write(L"a.exe", "the quarantined one");
  const QuarantineRecord record = add(path);
  writeFile(path, "a newer one");
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, nullptr));
  EXPECT_EQ(readFile(path), "the quarantined one");
}

TEST_F(QuarantineStoreTest, AFailedRestoreKeepsTheRecord) {
  const QuarantineRecord record = add(folder_.write(L"a.exe", "x"));
  {
    const UniqueHandle held = lock(record.storedPath);
    EXPECT_FALSE(store_.restoreRecord(dir_, record.id, &error_));
    EXPECT_EQ(error_, "restore failed, code 32");
  }
  writeFile(record.originalPath, "in use");
  {
    const UniqueHandle held = lock(record.originalPath);
    EXPECT_FALSE(store_.restoreRecord(dir_, record.id, &error_));
    EXPECT_EQ(error_, "restore failed, code 5");
  }
  ASSERT_TRUE(::DeleteFileW(record.storedPath.c_str()));
  EXPECT_FALSE(store_.restoreRecord(dir_, record.id, &error_));
  EXPECT_EQ(error_, "restore failed, code 2");
  EXPECT_FALSE(store_.restoreRecord(dir_, record.id, nullptr));
  EXPECT_EQ(listedIds(), std::vector<uint64_t>{record.id});
}

TEST_F(QuarantineStoreTest, AnUnknownIdIsNotFound) {
  EXPECT_FALSE(store_.restoreRecord(dir_, 1, &error_));
  EXPECT_EQ(error_, "record not found");
  EXPECT_FALSE(pathExists(dir_));
  writeIndex({stored(1, L"a", "x")});
  error_.clear();
  EXPECT_FALSE(store_.restoreRecord(dir_, 2, &error_));
  EXPECT_EQ(error_, "record not found");
  error_.clear();
  EXPECT_FALSE(store_.deleteRecord(dir_, 2, &error_));
  EXPECT_EQ(error_, "record not found");
  error_.clear();
  EXPECT_FALSE(store_.deleteRecord(dir_, 0, &error_));
  EXPECT_EQ(error_, "record not found");
  EXPECT_FALSE(store_.restoreRecord(dir_, 2, nullptr));
  EXPECT_FALSE(store_.deleteRecord(dir_, 2, nullptr));
  EXPECT_EQ(listedIds(), std::vector<uint64_t>{1});
}

TEST_F(QuarantineStoreTest, OfEqualIdsTheFirstRecordIsActedOn) {
  const Records records = {stored(1, L"a", "x"), stored(5, L"b", "first"), stored(5, L"c", "second"),
                           stored(5, L"d", "third")};
  writeIndex(records);
  EXPECT_TRUE(store_.restoreRecord(dir_, 5, nullptr));
  EXPECT_EQ(readFile(folder_.at(L"b")), "first");
  EXPECT_TRUE(store_.deleteRecord(dir_, 5, nullptr));
  EXPECT_FALSE(pathExists(records[2].storedPath));
  EXPECT_EQ(readFile(index_), formatQuarantineIndex({records[0], records[3]}));
}

// --- deleteRecord ---

TEST_F(QuarantineStoreTest, DeleteErasesTheFileAndTheRecordAndKeepsTheOrder) {
  const Records records = {stored(3, L"a", "x"), stored(1, L"b", "x"), stored(2, L"c", "x")};
  writeIndex(records);
  EXPECT_TRUE(store_.deleteRecord(dir_, 1, &error_));
  EXPECT_EQ(error_, "untouched");
  EXPECT_FALSE(pathExists(records[1].storedPath));
  EXPECT_TRUE(pathExists(records[0].storedPath));
  EXPECT_EQ(readFile(index_), formatQuarantineIndex({records[0], records[2]}));
}

TEST_F(QuarantineStoreTest, DeleteRemovesTheRecordOfAFileThatCannotBeDeleted) {
  const QuarantineRecord record = stored(1, L"a", "x");
  writeIndex({record});
  const UniqueHandle held = lock(record.storedPath);
  ASSERT_TRUE(held);
  EXPECT_TRUE(store_.deleteRecord(dir_, 1, &error_));
  EXPECT_EQ(error_, "untouched");
  EXPECT_TRUE(pathExists(record.storedPath));
  EXPECT_EQ(readFile(index_), kEmptyIndex);
}

TEST_F(QuarantineStoreTest, DeleteRemovesTheRecordOfAFileThatIsGone) {
  Records records = {stored(1, L"a", "x"), stored(2, L"b", "x")};
  ASSERT_TRUE(::DeleteFileW(records[0].storedPath.c_str()));
  records[1].storedPath.clear();
  writeIndex(records);
  EXPECT_TRUE(store_.deleteRecord(dir_, 1, nullptr));
  EXPECT_TRUE(store_.deleteRecord(dir_, 2, nullptr));
  EXPECT_EQ(readFile(index_), kEmptyIndex);
}

TEST_F(QuarantineStoreTest, DeleteErasesAReadOnlyFile) {
  const QuarantineRecord record = stored(1, L"a", "x");
  writeIndex({record});
  ASSERT_TRUE(::SetFileAttributesW(record.storedPath.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_TRUE(store_.deleteRecord(dir_, 1, nullptr));
  EXPECT_FALSE(pathExists(record.storedPath));
}

// --- the index as others leave it ---

TEST_F(QuarantineStoreTest, ABlockWithIdZeroDisappearsOnTheNextWrite) {
  const QuarantineRecord kept = stored(2, L"b", "x");
  writeFile(index_, "KORVELQUARANTINE/1\nID=0\nNAME=a\n\n" + formatQuarantineIndex({kept}));
  const QuarantineRecord added = add(folder_.write(L"a.exe", "x"));
  EXPECT_EQ(readFile(index_), formatQuarantineIndex({kept, added}));
}

TEST_F(QuarantineStoreTest, ThreadsShareOneStoreWithoutLosingRecords) {
  constexpr int kThreads = 4;
  constexpr int kFilesEach = 12;
  for (int i = 0; i < kThreads * kFilesEach; ++i) folder_.write(L"f" + std::to_wstring(i), std::to_string(i));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = t * kFilesEach; i < (t + 1) * kFilesEach; ++i) add(folder_.at(L"f" + std::to_wstring(i)));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const Records records = list();
  EXPECT_EQ(records.size(), static_cast<size_t>(kThreads * kFilesEach));
  for (const QuarantineRecord& record : records) {
    EXPECT_TRUE(record.storedFileExists);
    EXPECT_EQ(L"f" + toWide(readFile(record.storedPath)), record.name);
  }
}

TEST_F(QuarantineStoreTest, AFileWithALongPathGoesAndComesBack) {
  std::wstring folder = folder_.at(L"deep");
  while (folder.size() < 300) folder += L"\\level";
  ASSERT_TRUE(createDirectories(folder));
  const std::wstring path = folder + L"\\evil.exe";
  writeFile(L"\\\\?\\" + path, "bytes");
  const QuarantineRecord record = add(path);
  EXPECT_EQ(record.originalPath, path);
  EXPECT_EQ(record.size, 5u);
  EXPECT_FALSE(pathExists(path));

  std::string error;
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, &error)) << error;
  EXPECT_EQ(readFile(L"\\\\?\\" + path), "bytes");
}

// --- files that are held ---

TEST_F(QuarantineStoreTest, AFileThatIsHeldForAMomentGoesAndComesBack) {
  const std::wstring path = folder_.write(L"file.exe", "bytes");
  QuarantineRecord record;
  {
    const test::BriefHold held(path);
    record = add(path);
  }
  const test::BriefHold held(record.storedPath);
  EXPECT_TRUE(store_.restoreRecord(dir_, record.id, &error_)) << error_;
  EXPECT_EQ(readFile(path), "bytes");
}

TEST_F(QuarantineStoreTest, AStopEndsTheWaitingForAHeldFile) {
  const std::wstring path = folder_.write(L"file.exe", "bytes");
  ASSERT_TRUE(store_.ensureStore(dir_, nullptr));
  const test::HeldMoves held;
  QuarantineStore store(pathStatus, held.stop());
  EXPECT_FALSE(store.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, &error_));
  EXPECT_EQ(error_, "MoveFileEx failed, code 5 (файл может быть запущен или заблокирован)");
  EXPECT_EQ(held.tries(), 1);
}

TEST_F(QuarantineStoreTest, AStoredFileThatCannotBeDeletedNowIsDeletedAtTheNextStart) {
  if (!test::isTestMachine()) GTEST_SKIP() << "changes the system's registry; see isTestMachine()";
  writeIndex({stored(1, L"runs.exe", "x")});
  const std::wstring path = list()[0].storedPath;
  {
    const UniqueHandle held = lock(path);
    EXPECT_TRUE(store_.deleteRecord(dir_, 1, &error_)) << error_;
  }
  EXPECT_TRUE(pathExists(path));
  EXPECT_TRUE(list().empty());
  EXPECT_NE(deletionsAtTheNextStart().find(path), std::wstring::npos);
}

TEST_F(QuarantineStoreTest, NothingIsLeftForTheNextStartOfAStoredFileThatCanBeDeleted) {
  Records records = {stored(1, L"a.exe", "x"), stored(2, L"b.exe", "x")};
  records[1].storedPath = folder_.at(L"gone");
  writeIndex(records);
  EXPECT_TRUE(store_.deleteRecord(dir_, 1, &error_));
  EXPECT_TRUE(store_.deleteRecord(dir_, 2, &error_));
  EXPECT_EQ(deletionsAtTheNextStart().find(folder_.path()), std::wstring::npos);
}

// --- from one volume to another ---

using Move = BOOL WINAPI(const wchar_t* from, const wchar_t* to, DWORD flags);

/// Moves that may copy leave two files and report `result`, as the systems do where the source cannot be
/// deleted.
class HalfMoves {
 public:
  explicit HalfMoves(BOOL result) {
    result_ = result;
    move_ = patch_.original<Move>();
  }

 private:
  static BOOL WINAPI copyOnly(const wchar_t* from, const wchar_t* to, DWORD flags) {
    if ((flags & MOVEFILE_COPY_ALLOWED) == 0) return move_(from, to, flags);
    EXPECT_EQ(flags, static_cast<DWORD>(MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED));
    if (!::CopyFileW(from, to, /*failIfExists=*/FALSE)) return FALSE;
    ::SetLastError(ERROR_ACCESS_DENIED);
    return result_;
  }

  inline static BOOL result_ = TRUE;
  inline static Move* move_ = nullptr;
  const test::ImportPatch patch_{"MoveFileExW", copyOnly};
};

TEST_F(QuarantineStoreTest, ACopyOnAnotherVolumeTakesThePlaceOfTheFile) {
  for (const BOOL systemsResult : {TRUE, FALSE}) {
    const std::wstring path = folder_.write(L"a.exe", "bytes");
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    QuarantineRecord record;
    {
      const test::TempFolder another;  // so that the stored names differ
      const HalfMoves moves(systemsResult);
      ASSERT_TRUE(store_.addFile(another.path(), path, kHash, "t", "c", kSeverityHigh, &record, &error_))
          << error_;
      EXPECT_FALSE(pathExists(path));
      EXPECT_EQ(readFile(record.storedPath), "bytes");
      ASSERT_TRUE(store_.restoreRecord(another.path(), record.id, &error_)) << error_;
    }
    EXPECT_FALSE(pathExists(record.storedPath));
    EXPECT_EQ(readFile(path), "bytes");
    test::removeTree(path);
  }
}

TEST_F(QuarantineStoreTest, AFileThatStaysOnItsVolumeIsNotInQuarantineToo) {
  ASSERT_TRUE(store_.ensureStore(dir_, nullptr));
  for (const BOOL systemsResult : {TRUE, FALSE}) {
    const std::wstring path = folder_.write(L"held.exe", "bytes");
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    {
      const UniqueHandle held = lock(path);
      const HalfMoves moves(systemsResult);
      EXPECT_FALSE(store_.addFile(dir_, path, kHash, "t", "c", kSeverityHigh, nullptr, &error_));
    }
    EXPECT_EQ(error_, "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)");
    EXPECT_EQ(readFile(path), "bytes");
    EXPECT_NE(::GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    EXPECT_EQ(filesIn(dir_), std::vector<std::wstring>{L"quarantine.db"});
    EXPECT_EQ(readFile(index_), kEmptyIndex);
    test::removeTree(path);
  }
}

TEST_F(QuarantineStoreTest, AStoredFileThatStaysIsNotRestoredToo) {
  const QuarantineRecord record = add(folder_.write(L"a.exe", "bytes"));
  {
    const UniqueHandle held = lock(record.storedPath);
    const HalfMoves moves(TRUE);
    EXPECT_FALSE(store_.restoreRecord(dir_, record.id, &error_));
  }
  EXPECT_EQ(error_, "restore failed, code 32");
  EXPECT_FALSE(pathExists(record.originalPath));
  EXPECT_EQ(readFile(record.storedPath), "bytes");
  EXPECT_EQ(list(), Records{record});
}

/// Moves as the system does, and then there is another file at the old place.
class MovesWithASuccessor {
 public:
  MovesWithASuccessor() { move_ = patch_.original<Move>(); }

 private:
  static BOOL WINAPI moveAndWriteAgain(const wchar_t* from, const wchar_t* to, DWORD flags) {
    const BOOL moved = move_(from, to, flags);
    if ((flags & MOVEFILE_COPY_ALLOWED) != 0) writeFile(from, "another");
    return moved;
  }
  inline static Move* move_ = nullptr;
  const test::ImportPatch patch_{"MoveFileExW", moveAndWriteAgain};
};

TEST_F(QuarantineStoreTest, AFileThatAppearsBehindAMoveIsLeftAlone) {
  const std::wstring path = folder_.write(L"a.exe", "bytes");
  ASSERT_TRUE(store_.ensureStore(dir_, nullptr));
  std::wstring storedPath;
  {
    const MovesWithASuccessor moves;
    storedPath = add(path).storedPath;
  }
  EXPECT_EQ(readFile(path), "another");
  EXPECT_EQ(readFile(storedPath), "bytes");
}

// The test platform has no second drive, but it reaches other file systems of the machine it runs on.
TEST_F(QuarantineStoreTest, AFileOfAnotherVolumeGoesAndComesBack) {
  const std::wstring volume = L"\\\\?\\unix\\dev\\shm";
  if (!pathExists(volume)) GTEST_SKIP() << "there is no other volume here";
  const TempFolder elsewhere(volume);
  const std::wstring path = elsewhere.write(L"file.exe", "bytes");
  const bool sameVolume = ::MoveFileExW(path.c_str(), folder_.at(L"moved.exe").c_str(), /*flags=*/0);
  if (sameVolume) GTEST_SKIP() << "it is the same volume";

  for (const DWORD attributes : {DWORD{FILE_ATTRIBUTE_NORMAL}, DWORD{FILE_ATTRIBUTE_READONLY}}) {
    ::SetFileAttributesW(path.c_str(), attributes);
    const QuarantineRecord record = add(path);
    EXPECT_FALSE(pathExists(path));
    EXPECT_TRUE(pathExists(record.storedPath));
    std::string error;
    EXPECT_TRUE(store_.restoreRecord(dir_, record.id, &error)) << error;
    EXPECT_FALSE(pathExists(record.storedPath));
    EXPECT_EQ(readFile(path), "bytes");
  }
}

}  // namespace
}  // namespace korvel
