#include "signatures/signature_database.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/files.h"
#include "base/paths.h"
#include "base/stop.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "support/sparse_file.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

using test::TempFolder;

const std::string kMd5(32, 'a');
const std::string kSha256(64, 'c');

/// The seed database that the build has put beside the executable.
std::wstring seedPath() {
  wchar_t program[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  std::wstring path = program;
  if (path.starts_with(L"unix\\")) path.insert(0, L"\\\\?\\");  // Wine, for a program outside every drive
  return joinPath(parentDirectory(parentDirectory(path)), L"bin\\data\\signatures.seed.txt");
}

class SignatureDatabaseTest : public testing::Test {
 protected:
  bool load(const std::wstring& name, std::string_view text) {
    return database_.loadFile(folder_.write(name, text), &error_);
  }
  std::string nameOf(const std::string& sha256) {
    SignatureMatch match;
    return database_.lookup("", "", sha256, &match) ? match.threatName : "";
  }

  TempFolder folder_;
  SignatureDatabase database_;
  std::string error_ = "untouched";
};

TEST_F(SignatureDatabaseTest, IsEmptyAtFirst) {
  SignatureMatch match{"old", "old", kSeverityLow, "old", "old"};
  EXPECT_FALSE(database_.lookup(kMd5, "", kSha256, &match));
  EXPECT_EQ(match, SignatureMatch());
  EXPECT_EQ(database_.info().entryCount, 0u);
  EXPECT_EQ(database_.info().source, "");
}

TEST_F(SignatureDatabaseTest, LoadsAFileAndTellsAboutIt) {
  const std::wstring path =
      folder_.write(L"подписи.txt", "VERSION v1\nGENERATED 77\n" + kSha256 + "\n" + kMd5 + ":N\n");
  ASSERT_TRUE(database_.loadFile(path, &error_));
  EXPECT_EQ(error_, "untouched");
  const SignatureDbInfo info = database_.info();
  EXPECT_EQ(info.entryCount, 2u);
  EXPECT_EQ(info.version, "v1");
  EXPECT_EQ(info.generated, 77u);
  EXPECT_EQ(info.source, toUtf8(path));
  EXPECT_EQ(nameOf(kSha256), "Win.Trojan.Generic");
}

TEST_F(SignatureDatabaseTest, AFileThatCannotBeOpenedChangesNothing) {
  ASSERT_TRUE(load(L"one.txt", "VERSION v1\n" + kSha256 + "\n"));
  const std::wstring missing = folder_.at(L"нет.txt");
  EXPECT_FALSE(database_.loadFile(missing, &error_));
  EXPECT_EQ(error_, "cannot open: " + toUtf8(missing));
  EXPECT_FALSE(database_.loadFile(missing, nullptr));
  EXPECT_FALSE(database_.loadFile(L"", &error_));
  EXPECT_EQ(error_, "cannot open: ");
  EXPECT_FALSE(database_.loadFile(folder_.path(), &error_)) << "a directory";
  EXPECT_EQ(error_, "cannot open: " + toUtf8(folder_.path()));
  EXPECT_EQ(database_.info().entryCount, 1u);
  EXPECT_EQ(database_.info().source, toUtf8(folder_.at(L"one.txt")));
}

TEST_F(SignatureDatabaseTest, AFileThatCannotBeHeldIsAParseErrorAndChangesNothing) {
  ASSERT_TRUE(load(L"one.txt", "VERSION v1\n" + kSha256 + ":N\n"));
  const std::wstring path = folder_.write(
      L"endless.txt", kMd5 + ":N\nVERSION " + std::string(SignatureFileParser::kMaxLineBytes + 1, 'x'));
  EXPECT_FALSE(database_.loadFile(path, &error_));
  EXPECT_EQ(error_, "parse error in " + toUtf8(path));
  EXPECT_EQ(database_.info().entryCount, 1u);
  EXPECT_EQ(database_.info().version, "v1");
  EXPECT_FALSE(database_.lookup(kMd5, "", "", nullptr));
}

// The server end is open and silent: a read would wait for ever.
TEST_F(SignatureDatabaseTest, APipeCannotBeOpened) {
  const std::wstring path = L"\\\\.\\pipe\\korvel-signatures-" + std::to_wstring(::GetCurrentProcessId());
  const UniqueHandle server(::CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                               /*instances=*/1, 0, 0, 0, nullptr));
  ASSERT_TRUE(server);
  EXPECT_FALSE(database_.loadFile(path, &error_));
  EXPECT_EQ(error_, "cannot open: " + toUtf8(path));
}

// The memory of a process is a file on the disk whose first bytes cannot be read.
TEST_F(SignatureDatabaseTest, AFileWhoseReadFailsIsAParseErrorAndChangesNothing) {
  ASSERT_TRUE(load(L"one.txt", "VERSION v1\n" + kSha256 + ":N\n"));
  const std::wstring path = L"\\\\?\\unix\\proc\\self\\mem";
  if (!pathExists(path)) GTEST_SKIP() << "there is no file here whose read fails";
  EXPECT_FALSE(database_.loadFile(path, &error_));
  EXPECT_EQ(error_, "parse error in " + toUtf8(path));
  EXPECT_EQ(database_.info().entryCount, 1u);
  EXPECT_EQ(database_.info().source, toUtf8(folder_.at(L"one.txt")));
}

TEST_F(SignatureDatabaseTest, AFileAboveTheLimitCannotBeOpened) {
  const std::wstring path = folder_.write(L"one.txt", kSha256 + "\n");
  EXPECT_FALSE(database_.loadFile(path, &error_, {}, /*maxBytes=*/64));
  EXPECT_EQ(error_, "cannot open: " + toUtf8(path));
  EXPECT_TRUE(database_.loadFile(path, &error_, {}, /*maxBytes=*/65));
  EXPECT_FALSE(database_.loadFile(test::sparseFile(folder_.at(L"huge"), 8LL << 40), &error_, {}, 512 << 20));
}

// Without the stop, reading would take hours.
TEST_F(SignatureDatabaseTest, AStopEndsTheLoadOfAHugeFile) {
  const std::wstring path = test::sparseFile(folder_.at(L"huge"), 8LL << 40);
  StopSource stop;
  std::thread stopper([&] {
    ::Sleep(100);  // so that some pieces are read
    stop.request_stop();
  });
  EXPECT_FALSE(database_.loadFile(path, &error_, stop.get_token()));
  stopper.join();
  EXPECT_EQ(error_, "parse error in " + toUtf8(path));
  EXPECT_EQ(database_.info().source, "");
}

TEST_F(SignatureDatabaseTest, ASmallFileIsLoadedWholeEvenWhileTheServiceStops) {
  const std::wstring small = folder_.write(L"small.txt", kSha256 + "\n");
  StopSource stop;
  stop.request_stop();
  EXPECT_TRUE(database_.loadFile(small, &error_, stop.get_token())) << error_;
  EXPECT_EQ(database_.info().entryCount, 1u);
  const std::wstring large = folder_.write(L"large.txt", std::string(600 << 10, '\n') + kSha256 + "\n");
  EXPECT_FALSE(database_.loadFile(large, &error_, stop.get_token()));
}

TEST_F(SignatureDatabaseTest, AFileWithoutEntriesLoadsAndAddsNothing) {
  ASSERT_TRUE(load(L"one.txt", "VERSION v1\nGENERATED 5\n" + kSha256 + "\n"));
  EXPECT_TRUE(load(L"empty.txt", ""));
  EXPECT_TRUE(load(L"comments.txt", "# nothing\nVERSION \nGENERATED 0\nSIZE 9\n"));
  const SignatureDbInfo info = database_.info();
  EXPECT_EQ(info.entryCount, 1u);
  EXPECT_EQ(info.version, "v1") << "an empty version does not replace one";
  EXPECT_EQ(info.generated, 5u);
  EXPECT_EQ(info.source, toUtf8(folder_.at(L"comments.txt")));
}

TEST_F(SignatureDatabaseTest, ALaterFileIsMergedIntoTheEarlierOnes) {
  ASSERT_TRUE(load(L"1.txt", "VERSION v1\nGENERATED 5\n" + kSha256 + ":Win.Trojan.Generic\n"));
  ASSERT_TRUE(load(L"2.txt", "VERSION v2\n" + kSha256 + ":Named\n" + kMd5 + "\n"));
  ASSERT_TRUE(load(L"3.txt", "GENERATED 9\n" + kSha256 + "\n"));
  EXPECT_EQ(nameOf(kSha256), "Named");
  const SignatureDbInfo info = database_.info();
  EXPECT_EQ(info.entryCount, 2u);
  EXPECT_EQ(info.version, "v2");
  EXPECT_EQ(info.generated, 9u);
  EXPECT_EQ(info.source, toUtf8(folder_.at(L"3.txt")));
}

TEST_F(SignatureDatabaseTest, ReadsFilesLargerThanOnePiece) {
  std::string text = "# " + std::string(700'000, '-') + "\r\n";
  constexpr int kEntries = 30'000;
  char line[80];
  for (int at = kEntries; at-- > 0;) {  // descending: the file has to be sorted
    std::snprintf(line, sizeof line, "%064d:N%d\r\n", at, at % 400);
    text += line;
  }
  ASSERT_TRUE(load(L"large.txt", text));
  EXPECT_EQ(database_.info().entryCount, static_cast<uint64_t>(kEntries));
  for (int at = 0; at < kEntries; at += 7) {
    std::snprintf(line, sizeof line, "%064d", at);
    ASSERT_EQ(nameOf(line), "N" + std::to_string(at % 400));
  }
}

TEST_F(SignatureDatabaseTest, ReadsAFileThatAnotherProcessHoldsOpenForWriting) {
  const std::wstring path = folder_.write(L"open.txt", kMd5 + "\n");
  const UniqueHandle writer(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, /*security=*/nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr));
  ASSERT_TRUE(writer);
  EXPECT_TRUE(database_.loadFile(path, &error_));
  EXPECT_EQ(database_.info().entryCount, 1u);
}

TEST_F(SignatureDatabaseTest, LoadsAndLookupsFromManyThreadsLoseNothing) {
  constexpr int kLoaders = 4, kFiles = 20;
  ASSERT_TRUE(load(L"base.txt", kSha256 + ":Base\n"));
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  std::thread reader([&] {
    while (!done) {
      SignatureMatch match;
      if (!database_.lookup("", "", kSha256, &match) || match.threatName != "Base") ++wrong;
    }
  });
  std::vector<std::thread> loaders;
  for (int loader = 0; loader < kLoaders; ++loader) {
    loaders.emplace_back([&, loader] {
      for (int file = 0; file < kFiles; ++file) {
        char digest[41];
        std::snprintf(digest, sizeof digest, "%020d%020d", loader, file);
        const std::wstring name = std::to_wstring(loader) + L"-" + std::to_wstring(file);
        if (!database_.loadFile(folder_.write(name, std::string(digest) + "\n"), nullptr)) ++wrong;
      }
    });
  }
  for (std::thread& loader : loaders) loader.join();
  done = true;
  reader.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(database_.info().entryCount, 1u + kLoaders * kFiles);
}

TEST(SeedSignatures, KnowTheStandardTestFileByEachOfItsDigests) {
  SignatureDatabase database;
  std::string error;
  ASSERT_TRUE(database.loadFile(seedPath(), &error)) << error;
  const std::string md5 = "44d88612fea8a8f36de82e1278abb02f";
  const std::string sha1 = "3395856ce81f2b7382dee72602f798b642f14140";
  const std::string sha256 = "275a021bbfb6489e54d471899f7db9d1663fc695ec2fe2a2c4538aabf651fd0f";
  const auto expectFound = [&database](const std::string& a, const std::string& b, const std::string& c) {
    SignatureMatch match;
    ASSERT_TRUE(database.lookup(a, b, c, &match)) << a << b << c;
    EXPECT_EQ(match.threatName, "EICAR-Test-File");
    EXPECT_EQ(match.family, "EICAR");
    EXPECT_EQ(match.severity, kSeverityHigh);
    EXPECT_EQ(match.hash, a + b + c);
  };
  expectFound(md5, "", "");
  expectFound("", sha1, "");
  expectFound("", "", sha256);
}

TEST(SeedSignatures, EveryLineIsAnEntry) {
  const std::string text = test::readFile(seedPath());
  const size_t size = text.find("\nSIZE ");
  ASSERT_NE(size, std::string::npos);
  const SignatureFile file = parseSignatureText(text);
  EXPECT_EQ(file.table.size(), std::stoull(text.substr(size + 6)));
  EXPECT_EQ(file.version.substr(0, 5), "seed-");
  EXPECT_NE(file.generated, 0u);
}

}  // namespace
}  // namespace korvel
