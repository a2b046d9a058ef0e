#include "scan/scan_cache.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "base/files.h"
#include "support/allocation_meter.h"
#include "support/sparse_file.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

using test::TempFolder;

TEST(ScanCache, IsEmptyWhenThereIsNoFile) {
  const TempFolder folder;
  ScanCache cache;
  EXPECT_FALSE(cache.load(folder.at(L"scan.cache")));
  EXPECT_EQ(cache.size(), 0u);
}

TEST(ScanCache, AnotherInstanceReadsWhatWasSaved) {
  const TempFolder folder;
  const std::wstring path = folder.at(L"scan.cache");
  ScanCache cache;
  cache.record(L"C:\\Папка\\файл.exe", {10, 20, kSeverityHigh});
  cache.record(L"C:\\clean.dll", {30, 40, kSeverityClean});
  ASSERT_TRUE(cache.save(path));
  EXPECT_EQ(test::readFile(path), "C:\\clean.dll|30|40|clean\nC:\\Папка\\файл.exe|10|20|high\n");
  EXPECT_FALSE(pathExists(path + L".tmp"));

  ScanCache other;
  ASSERT_TRUE(other.load(path));
  EXPECT_EQ(other.size(), 2u);
  EXPECT_EQ(other.find(L"C:\\Папка\\файл.exe"), (ScanCacheEntry{10, 20, kSeverityHigh}));
  EXPECT_EQ(other.find(L"C:\\other"), std::nullopt);
}

TEST(ScanCache, AFileScannedAgainReplacesItsLineAcrossSaves) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"scan.cache", "C:\\a|1|2|low\nbad line\n");
  ScanCache cache;
  ASSERT_TRUE(cache.load(path));
  cache.record(L"C:\\a", {3, 4, kSeverityMedium});
  ASSERT_TRUE(cache.save(path));
  EXPECT_EQ(test::readFile(path), "C:\\a|3|4|medium\n");
}

TEST(ScanCache, AFileOfAnySizeIsNoDanger) {
  const TempFolder folder;
  ScanCache cache;
  EXPECT_FALSE(cache.load(test::sparseFile(folder.at(L"huge"), 8LL << 40)));
  EXPECT_FALSE(cache.load(test::sparseFile(folder.at(L"larger"), (256LL << 20) + 1)));
  EXPECT_EQ(cache.size(), 0u);
}

TEST(ScanCache, AFileThatDoesNotFitIntoMemoryMakesAnEmptyCache) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"scan.cache", "C:\\a|1|2|low\n" + std::string(50'000, 'x'));
  ScanCache cache;
  cache.record(L"C:\\earlier", {1, 2, kSeverityLow});
  const test::AllocationLimit limit(20'000);
  bool loaded = true;
  EXPECT_NO_THROW(loaded = cache.load(path));
  EXPECT_FALSE(loaded);
  EXPECT_EQ(cache.size(), 0u);
}

TEST(ScanCache, SaysWhenItCannotBeSaved) {
  const TempFolder folder;
  ScanCache cache;
  EXPECT_FALSE(cache.save(folder.at(L"missing\\scan.cache")));
}

TEST(ScanCache, RecordsAndSavesFromManyThreadsLeaveAWholeFile) {
  const TempFolder folder;
  const std::wstring path = folder.at(L"scan.cache");
  ScanCache cache;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int file = 0; file < 50; ++file) {
        cache.record(std::to_wstring(thread) + L"/" + std::to_wstring(file), {1, 2, kSeverityLow});
        if (file % 10 == 0) cache.save(path);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(cache.save(path));
  ScanCache other;
  ASSERT_TRUE(other.load(path));
  EXPECT_EQ(other.size(), 200u);
}

}  // namespace
}  // namespace korvel
