#include "net/live_feed.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "base/clock.h"
#include "base/files.h"
#include "base/utf.h"
#include "base/win.h"
#include "config/data_paths.h"
#include "net/feed_text.h"
#include "net/public_lists.h"
#include "support/brief_hold.h"
#include "support/eventually.h"
#include "support/held_moves.h"
#include "support/memory_peak.h"
#include "support/odd_server.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

using test::nginxUrl;
using test::oddUrl;

const std::string kHashA(64, 'a');
const std::string kHashB(64, 'b');
const std::string kHashC(64, 'c');

std::string hashOfNumber(uint32_t number) {
  char text[65];
  std::snprintf(text, sizeof text, "%08x%056x", number, 7u);
  return text;
}

std::string hashLines(uint32_t begin, uint32_t end) {
  std::string lines;
  lines.reserve(size_t{end - begin} * 65);
  for (uint32_t number = begin; number < end; ++number) lines += hashOfNumber(number) + "\n";
  return lines;
}

/// The hash lines of a database text, joined again; the header lines are checked on the way.
std::string hashesOf(const std::string& database) {
  const size_t size = database.find("SIZE ");
  const size_t begin = database.find('\n', size) + 1;
  EXPECT_EQ(database.rfind(
                "# KORVEL live signature database (auto-updated, do not edit)\nKORVELDB/1\nVERSION live-", 0),
            0u);
  EXPECT_EQ(std::stoull(database.substr(size + 5)), (database.size() - begin) / 65);
  return database.substr(begin);
}

class LiveFeed : public testing::Test {
 protected:
  bool build(const std::vector<std::string>& sources) {
    count_ = 4711;
    error_ = "old error";
    return buildLiveDatabaseFrom(sources, target_, &count_, &error_);
  }
  bool temporaryExists() const { return pathExists(target_ + L".tmp"); }
  void expectUntouched() const {
    EXPECT_EQ(test::readFile(target_), "old database");
    EXPECT_FALSE(temporaryExists());
    EXPECT_EQ(count_, 4711u);
  }
  void writeOld() const { test::writeFile(target_, "old database"); }

  test::TempFolder folder_;
  std::wstring target_ = folder_.at(L"signatures.live.txt");
  uint64_t count_ = 0;
  std::string error_;
};

// --- sources ---

TEST(LiveFeedSources, ServerIsTheOnlySourceAndItsSlashesAreStripped) {
  const std::vector<std::string> expected{"https://srv/api/v1/signatures"};
  EXPECT_EQ(liveFeedSources("https://srv"), expected);
  EXPECT_EQ(liveFeedSources("https://srv/"), expected);
  EXPECT_EQ(liveFeedSources("https://srv///"), expected);
}

TEST(LiveFeedSources, WithoutServerTheThreePublicListsAreFetchedInOrder) {
  const std::vector<std::string> sources = liveFeedSources("");
  ASSERT_EQ(sources.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(sources[i], kPublicHashLists[i]);
    EXPECT_EQ(sources[i].rfind("https://", 0), 0u);
  }
  EXPECT_TRUE(sources[0].ends_with("aa") && sources[1].ends_with("ab") && sources[2].ends_with("ac"));
}

TEST(LiveFeedSources, OfASlashIsAServerThatCannotBeReached) {
  std::string error;
  EXPECT_FALSE(buildLiveDatabase("/", nullptr, &error));
  EXPECT_EQ(error.rfind("bad url, win32=", 0), 0u) << error;
}

TEST(LiveDatabasePath, LiesInTheDataDirectory) {
  EXPECT_EQ(liveDatabasePath(), dataDir() + L"\\signatures.live.txt");
}

// --- good builds ---

TEST_F(LiveFeed, ServerFeedBecomesASortedDatabase) {
  test::publish("/server/api/v1/signatures", "# feed\n" + kHashC + " Trojan.X\r\n\n  " +
                                                 std::string(64, 'B') + "\tY\n" + kHashA + "\nnonsense\n" +
                                                 kHashB + "\n");
  const uint64_t before = unixSecondsNow();
  // Through the public entry, into the data directory of this prefix.
  uint64_t count = 0;
  std::string error = "old error";
  ASSERT_TRUE(buildLiveDatabase(nginxUrl("/server//"), &count, &error)) << error;
  const uint64_t after = unixSecondsNow();
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(error, "");
  const std::string text = test::readFile(liveDatabasePath());
  ::DeleteFileW(liveDatabasePath().c_str());

  const uint64_t generated = std::stoull(text.substr(text.find("GENERATED ") + 10));
  EXPECT_GE(generated, before);
  EXPECT_LE(generated, after);
  EXPECT_EQ(text, "# KORVEL live signature database (auto-updated, do not edit)\nKORVELDB/1\nVERSION " +
                      liveVersion(generated) + "\nGENERATED " + std::to_string(generated) + "\nSIZE 3\n" +
                      kHashA + "\n" + kHashB + "\n" + kHashC + "\n");
}

TEST_F(LiveFeed, SourcesAreMerged) {
  test::publish("/m1", kHashC + "\n" + kHashA);
  test::publish("/m2", kHashB + "\n" + kHashC + "\n");
  test::publish("/m3", kHashA + "\n");
  EXPECT_TRUE(build({nginxUrl("/m1"), nginxUrl("/m2"), nginxUrl("/m3")})) << error_;
  EXPECT_EQ(count_, 3u);
  EXPECT_EQ(hashesOf(test::readFile(target_)), kHashA + "\n" + kHashB + "\n" + kHashC + "\n");
  EXPECT_FALSE(temporaryExists());
}

TEST_F(LiveFeed, OneGoodSourceIsEnoughAndTheFailureIsSilent) {
  test::publish("/good", kHashA + "\n");
  EXPECT_TRUE(build({nginxUrl("/missing"), nginxUrl("/good"), oddUrl("/close")}));
  EXPECT_EQ(error_, "");
  EXPECT_EQ(count_, 1u);
  EXPECT_TRUE(build({nginxUrl("/good"), nginxUrl("/missing"), nginxUrl("/missing")}));
}

TEST_F(LiveFeed, WhatArrivedBeforeAFailureDoesNotCount) {
  test::publish("/good", kHashA + "\n");
  EXPECT_TRUE(build({oddUrl("/hashes-then-reset"), nginxUrl("/good")})) << error_;
  EXPECT_EQ(count_, 1u);
  EXPECT_TRUE(build({oddUrl("/hashes-then-endless"), nginxUrl("/good")})) << error_;
  EXPECT_EQ(count_, 1u);
}

TEST_F(LiveFeed, HalfAFeedIsNone) {
  writeOld();
  EXPECT_FALSE(build({oddUrl("/cut/" + kHashA)}));
  EXPECT_EQ(error_, "WinHttpReadData, win32=12030");
  expectUntouched();

  test::publish("/good", kHashB + "\n");
  EXPECT_TRUE(build({oddUrl("/cut/" + kHashA), nginxUrl("/good")})) << error_;
  EXPECT_EQ(hashesOf(test::readFile(target_)), kHashB + "\n");
}

TEST_F(LiveFeed, SourcesAreAskedInTheirOrder) {
  const int before = test::requestsSeen();
  EXPECT_FALSE(build({oddUrl("/close/aa"), oddUrl("/status/500"), oddUrl("/close/ac")}));
  EXPECT_EQ(test::pathsSince(before), "/close/aa\n/status/500\n/close/ac\n");
}

TEST_F(LiveFeed, CountAndErrorMayBeNull) {
  test::publish("/good", kHashA + "\n");
  EXPECT_TRUE(buildLiveDatabaseFrom({nginxUrl("/good")}, target_, nullptr, nullptr));
  EXPECT_FALSE(buildLiveDatabaseFrom({nginxUrl("/missing")}, target_, nullptr, nullptr));
}

TEST_F(LiveFeed, ReplacesAReadOnlyDatabase) {
  test::publish("/good", kHashA + "\n");
  writeOld();
  ::SetFileAttributesW(target_.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(build({nginxUrl("/good")})) << error_;
  EXPECT_EQ(hashesOf(test::readFile(target_)), kHashA + "\n");
  EXPECT_EQ(::GetFileAttributesW(target_.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
}

TEST_F(LiveFeed, LeftoverTemporaryOfAKilledRunIsOverwritten) {
  test::publish("/good", kHashA + "\n");
  test::writeFile(target_ + L".tmp", std::string(100'000, 'x'));
  EXPECT_TRUE(build({nginxUrl("/good")})) << error_;
  EXPECT_EQ(hashesOf(test::readFile(target_)), kHashA + "\n");
  EXPECT_FALSE(temporaryExists());
}

// --- failures ---

TEST_F(LiveFeed, SingleSourceFailsWithItsOwnText) {
  writeOld();
  EXPECT_FALSE(build({nginxUrl("/missing")}));
  EXPECT_EQ(error_, "http status 404");
  EXPECT_FALSE(build({"ftp://127.0.0.1/x"}));
  EXPECT_EQ(error_, "http(s) required: ftp://127.0.0.1/x");
  EXPECT_FALSE(build({oddUrl("/hashes-then-endless")}));
  EXPECT_EQ(error_, "response too large");
  expectUntouched();
}

TEST_F(LiveFeed, SeveralSourcesThatAllFailAreUnavailable) {
  writeOld();
  EXPECT_FALSE(build({nginxUrl("/missing"), oddUrl("/close"), oddUrl("/status/500")}));
  EXPECT_EQ(error_, "all feeds unavailable");
  expectUntouched();
}

TEST_F(LiveFeed, SourcesWithoutAHashAreNoFailureOfTheNetwork) {
  writeOld();
  test::publish("/comments", "# only\n\n#comments\n" + kHashA.substr(1) + "\n");
  EXPECT_FALSE(build({nginxUrl("/comments")}));
  EXPECT_EQ(error_, "feeds returned no hashes");
  EXPECT_FALSE(build({nginxUrl("/missing"), nginxUrl("/comments"), nginxUrl("/missing")}));
  EXPECT_EQ(error_, "feeds returned no hashes");
  EXPECT_FALSE(build({nginxUrl("/empty")}));
  EXPECT_EQ(error_, "feeds returned no hashes");
  expectUntouched();
}

TEST_F(LiveFeed, TemporaryThatCannotBeWrittenIsNamed) {
  test::publish("/good", kHashA + "\n");
  target_ = folder_.at(L"нет\\signatures.live.txt");
  EXPECT_FALSE(build({nginxUrl("/good")}));
  EXPECT_EQ(error_, "cannot write " + toUtf8(target_) + ".tmp");
  EXPECT_EQ(count_, 4711u);
}

TEST_F(LiveFeed, FullDiskIsATemporaryThatCannotBeWritten) {
  test::publish("/good", kHashA + "\n");
  target_ = test::fullFolder() + L"\\signatures.live.txt";
  writeOld();
  EXPECT_FALSE(build({nginxUrl("/good")}));
  EXPECT_EQ(error_, "cannot write " + toUtf8(target_) + ".tmp");
  expectUntouched();
}

TEST_F(LiveFeed, DatabaseThatCannotBeReplacedStays) {
  test::publish("/good", kHashA + "\n");
  writeOld();
  ::SetFileAttributesW(target_.c_str(), FILE_ATTRIBUTE_READONLY);
  {
    const UniqueHandle holder(::CreateFileW(target_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_FALSE(build({nginxUrl("/good")}));
    EXPECT_EQ(error_, "cannot replace live database, win32=5");
  }
  expectUntouched();
  EXPECT_EQ(::GetFileAttributesW(target_.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);  // cleared before the move
}

TEST_F(LiveFeed, DatabaseThatAProgramHoldsForAMomentIsReplaced) {
  test::publish("/good", kHashA + "\n");
  writeOld();
  const test::BriefHold held(target_);
  EXPECT_TRUE(build({nginxUrl("/good")})) << error_;
  EXPECT_EQ(hashesOf(test::readFile(target_)), kHashA + "\n");
}

TEST_F(LiveFeed, StopEndsTheWaitingForAHeldDatabase) {
  test::publish("/good", kHashA + "\n");
  writeOld();
  const test::HeldMoves held;
  EXPECT_FALSE(buildLiveDatabaseFrom({nginxUrl("/good")}, target_, &count_, &error_, held.stop()));
  EXPECT_EQ(held.tries(), 1);
  EXPECT_EQ(error_, "cannot replace live database, win32=5");
}

// --- limits ---

TEST_F(LiveFeed, FourMillionHashesAreWrittenAndOneMoreAborts) {
  constexpr auto kLimit = static_cast<uint32_t>(kMaxFeedHashes);
  test::publish("/part-aa", hashLines(0, 1'500'000));
  test::publish("/part-ab", hashLines(1'400'000, 2'800'000));
  test::publish("/part-ac", hashLines(2'800'000, kLimit));
  const std::vector<std::string> sources{nginxUrl("/part-aa"), nginxUrl("/part-ab"), nginxUrl("/part-ac")};
  test::MemoryPeak memory;
  ASSERT_TRUE(build(sources)) << error_;
  const uint64_t peak = memory.stop();
  std::printf("4,000,000 hashes: %llu MiB at the peak\n", static_cast<unsigned long long>(peak >> 20));
  EXPECT_GT(peak, 32u * kMaxFeedHashes) << "the digests themselves; less means that nothing was measured";
  EXPECT_LT(peak, 256u << 20);
  EXPECT_EQ(count_, 4'000'000u);
  const std::string text = test::readFile(target_);
  EXPECT_TRUE(hashesOf(text) == hashLines(0, kLimit));

  writeOld();
  test::publish("/part-ac", hashLines(2'800'000, kLimit + 1));
  EXPECT_FALSE(build(sources));
  EXPECT_EQ(error_, "feed exceeds sane size, aborting");
  expectUntouched();
}

// --- threads, stopping ---

TEST_F(LiveFeed, TwoBuildsAtOnceLeaveOneWholeDatabase) {
  test::publish("/even", hashLines(0, 20'000));
  test::publish("/odd", hashLines(50'000, 70'000));
  for (int round = 0; round < 5; ++round) {
    bool built[2] = {};
    std::string errors[2];
    std::thread threads[2];
    for (int i = 0; i < 2; ++i) {
      threads[i] = std::thread([&, i] {
        built[i] = buildLiveDatabaseFrom({nginxUrl(i == 0 ? "/even" : "/odd")}, target_, nullptr, &errors[i]);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(built[0]) << errors[0];
    EXPECT_TRUE(built[1]) << errors[1];
    const std::string hashes = hashesOf(test::readFile(target_));
    EXPECT_TRUE(hashes == hashLines(0, 20'000) || hashes == hashLines(50'000, 70'000));
    EXPECT_FALSE(temporaryExists());
  }
}

TEST_F(LiveFeed, StopEndsADownloadAndAsksNoFurtherSourceAndWritesNothing) {
  writeOld();
  test::publish("/good", kHashA + "\n");
  const int before = test::requestsSeen();
  StopSource stop;
  std::thread stopper([&] {
    EXPECT_TRUE(test::eventually([&] { return test::requestsSeen() > before; }));
    stop.request_stop();
  });
  std::string error;
  // The first source alone would yield a database, but after a stop none is built.
  EXPECT_FALSE(buildLiveDatabaseFrom({nginxUrl("/good"), oddUrl("/drip"), oddUrl("/status/200")}, target_,
                                     nullptr, &error, stop.get_token()));
  stopper.join();
  EXPECT_EQ(error, "service is stopping");
  EXPECT_EQ(test::pathsSince(before), "/drip\n");
  count_ = 4711;
  expectUntouched();
}

}  // namespace
}  // namespace korvel
