#include "hash/file_digest.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <thread>

#include "base/files.h"
#include "base/unique_resource.h"
#include "hash/pattern_digests.h"
#include "support/open_watch.h"
#include "support/temp_folder.h"

namespace korvel::hash {
namespace {

constexpr size_t kChunk = 1 << 20;

struct FileDigests {
  std::string md5, sha1, sha256;
  bool operator==(const FileDigests&) const = default;
};

void PrintTo(const FileDigests& digests, std::ostream* out) {
  *out << digests.md5 << " " << digests.sha1 << " " << digests.sha256;
}

FileDigests digestsOf(const std::wstring& path, size_t chunkSize = kChunk) {
  return {md5File(path, chunkSize), sha1File(path, chunkSize), sha256File(path, chunkSize)};
}

const FileDigests kNone;
const FileDigests kOfNothing = {"d41d8cd98f00b204e9800998ecf8427e",
                                "da39a3ee5e6b4b0d3255bfef95601890afd80709",
                                "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"};
const FileDigests kOfAbc = {"900150983cd24fb0d6963f7d28e17f72", "a9993e364706816aba3e25717850c26c9cd0d89d",
                            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"};

std::string patternText(size_t length) {
  const auto bytes = test::pattern(length);
  return std::string(reinterpret_cast<const char*>(bytes.get()), length);
}

UniqueHandle open(const std::wstring& path, DWORD access, DWORD share) {
  return UniqueHandle(::CreateFileW(path.c_str(), access, share, /*security=*/nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr));
}

TEST(FileDigest, EmptyFileGivesTheDigestsOfTheEmptyMessage) {
  const korvel::test::TempFolder folder;
  EXPECT_EQ(digestsOf(folder.write(L"empty.bin", "")), kOfNothing);
}

TEST(FileDigest, CyrillicPathIsOpenedAsGiven) {
  const korvel::test::TempFolder folder;
  EXPECT_EQ(digestsOf(folder.write(L"Загрузки\\Ёж.bin", "abc")), kOfAbc);
}

TEST(FileDigest, ContentMatchesTheReferenceForEveryChunkSize) {
  const korvel::test::TempFolder folder;
  for (const auto& row : test::kPatternDigests) {
    const std::wstring path = folder.write(L"pattern.bin", patternText(row.length));
    const FileDigests expected = {row.md5, row.sha1, row.sha256};
    EXPECT_EQ(digestsOf(path), expected) << row.length;
    if (row.length > 5000) continue;
    for (const size_t chunk : test::Lengths{1, 63, 64, 65, 4096}) {
      EXPECT_EQ(digestsOf(path, chunk), expected) << row.length << " in " << chunk;
    }
  }
}

TEST(FileDigest, ChunkAsLargeAsTheFileReadsItWhole) {
  const korvel::test::TempFolder folder;
  const std::wstring path = folder.write(L"abc.bin", "abc");
  for (const size_t chunk : test::Lengths{2, 3, 4}) EXPECT_EQ(digestsOf(path, chunk), kOfAbc) << chunk;
}

TEST(FileDigest, FileIsOpenedAnonymously) {
  const korvel::test::TempFolder folder;
  const std::wstring path = folder.write(L"digested.exe", "x");
  const korvel::test::OpenWatch watch;
  EXPECT_NE(md5File(path, kChunk), "");
  EXPECT_NE(sha1File(path, kChunk), "");
  EXPECT_NE(sha256File(path, kChunk), "");
  EXPECT_EQ(watch.flagsFor(L"digested.exe").size(), 3u);
  EXPECT_TRUE(watch.allAnonymous(L"digested.exe"));
}

TEST(FileDigest, MissingFileGivesNoDigest) {
  const korvel::test::TempFolder folder;
  EXPECT_EQ(digestsOf(folder.at(L"missing.bin")), kNone);
  EXPECT_EQ(digestsOf(folder.at(L"missing\\missing.bin")), kNone);
  EXPECT_EQ(digestsOf(L""), kNone);
}

TEST(FileDigest, DirectoryGivesNoDigest) {
  const korvel::test::TempFolder folder;
  EXPECT_EQ(digestsOf(folder.path()), kNone);
}

TEST(FileDigest, FileHeldWithoutSharingGivesNoDigestUntilItIsFree) {
  const korvel::test::TempFolder folder;
  const std::wstring path = folder.write(L"abc.bin", "abc");
  UniqueHandle holder = open(path, GENERIC_READ, /*share=*/0);
  ASSERT_TRUE(holder);
  EXPECT_EQ(digestsOf(path), kNone);
  holder.reset();
  EXPECT_EQ(digestsOf(path), kOfAbc);
}

TEST(FileDigest, FileOpenForWritingGivesNoDigestEvenWhenItsWriterSharesEverything) {
  const korvel::test::TempFolder folder;
  const std::wstring path = folder.write(L"abc.bin", "abc");
  const UniqueHandle writer =
      open(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
  ASSERT_TRUE(writer);
  EXPECT_EQ(digestsOf(path), kNone);
}

TEST(FileDigest, FileOpenForReadingElsewhereIsDigested) {
  const korvel::test::TempFolder folder;
  const std::wstring path = folder.write(L"abc.bin", "abc");
  const UniqueHandle reader = open(path, GENERIC_READ, FILE_SHARE_READ);
  ASSERT_TRUE(reader);
  EXPECT_EQ(digestsOf(path), kOfAbc);
}

TEST(FileDigest, ReadOnlyFileIsDigested) {
  const korvel::test::TempFolder folder;
  const std::wstring path = folder.write(L"abc.bin", "abc");
  ASSERT_TRUE(::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(digestsOf(path), kOfAbc);
}

// The client end of a pipe opens as a file does. Its server delivers three bytes, waits until they have been
// read and hangs up, upon which the next read fails.
std::string digestOfAbcAndThenAFailingRead(std::string (*digestFile)(const std::wstring&, size_t)) {
  const std::wstring path = L"\\\\.\\pipe\\korvel-test-digest-" + std::to_wstring(::GetCurrentProcessId());
  const UniqueHandle server(::CreateNamedPipeW(path.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE,
                                               /*instances=*/1, /*outBytes=*/64, /*inBytes=*/64,
                                               /*timeoutMs=*/0, /*security=*/nullptr));
  if (!server) return "no pipe";
  std::thread serving([&server] {
    // Reports an error when the client connected first, which is harmless; a failed write shows below.
    (void)::ConnectNamedPipe(server.get(), /*overlapped=*/nullptr);
    (void)writeAll(server.get(), "abc");
    (void)::FlushFileBuffers(server.get());
    (void)::DisconnectNamedPipe(server.get());
  });
  const std::string digest = digestFile(path, kChunk);
  serving.join();
  return digest;
}

TEST(FileDigest, ReadThatFailsEndsTheFileThere) {
  EXPECT_EQ(digestOfAbcAndThenAFailingRead(md5File), kOfAbc.md5);
  EXPECT_EQ(digestOfAbcAndThenAFailingRead(sha1File), kOfAbc.sha1);
  EXPECT_EQ(digestOfAbcAndThenAFailingRead(sha256File), kOfAbc.sha256);
}

TEST(FileDigest, HandleIsClosedAfterwards) {
  const korvel::test::TempFolder folder;
  const std::wstring path = folder.write(L"abc.bin", "abc");
  EXPECT_EQ(digestsOf(path), kOfAbc);
  EXPECT_TRUE(open(path, GENERIC_READ | GENERIC_WRITE, /*share=*/0));
}

}  // namespace
}  // namespace korvel::hash
