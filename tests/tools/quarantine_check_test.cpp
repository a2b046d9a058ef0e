#include "korvelctl/model/quarantine_check.h"

#include <gtest/gtest.h>

#include "remedy/quarantine_index.h"

namespace korvel::ctl {
namespace {

const std::wstring kFolder = L"C:\\Q";

QuarantineRecord record(uint64_t id, const std::wstring& storedName) {
  QuarantineRecord record;
  record.id = id;
  record.originalPath = L"C:\\in\\a.exe";
  record.storedPath = kFolder + L"\\" + storedName;
  record.name = L"a.exe";
  record.sha256 = "AB";
  record.size = 3;
  record.storedFileExists = true;
  return record;
}

StoredFile file(const std::wstring& name, uint64_t size = 3, std::optional<std::string> sha256 = "ab") {
  return {name, size, std::move(sha256)};
}

QuarantineCheck check(const std::vector<QuarantineRecord>& records,
                      const std::optional<std::vector<StoredFile>>& files) {
  return checkQuarantine(records, kFolder, files, IndexState::kWhole);
}

TEST(CheckQuarantine, WholeStoreHasNoFindings) {
  const QuarantineCheck whole =
      check({record(1, L"1_ab_a.exe")}, std::vector{file(L"quarantine.db"), file(L"1_AB_A.exe")});
  ASSERT_EQ(whole.rows.size(), 1u);
  EXPECT_EQ(whole.rows[0].state, StoredState::kPresent);
  EXPECT_EQ(whole.rows[0].sha256, "ab");
  EXPECT_TRUE(whole.orphans.empty());
  EXPECT_FALSE(whole.hasFindings());
}

TEST(CheckQuarantine, NamesMissingAndAlteredFiles) {
  const QuarantineCheck bad = check({record(1, L"gone"), record(2, L"longer"), record(3, L"other")},
                                    std::vector{file(L"longer", 4), file(L"other", 3, "cd")});
  EXPECT_EQ(bad.rows[0].state, StoredState::kMissing);
  EXPECT_EQ(bad.rows[1].state, StoredState::kAltered);
  EXPECT_EQ(bad.rows[2].state, StoredState::kAltered);
  EXPECT_TRUE(bad.hasFindings());
}

TEST(CheckQuarantine, RecordWithoutDigestOrSizeIsNotCalledAltered) {
  QuarantineRecord bare = record(1, L"x");
  bare.sha256.clear();
  bare.size = 0;
  EXPECT_EQ(check({bare}, std::vector{file(L"x", 99, "cd")}).rows[0].state, StoredState::kPresent);
}

TEST(CheckQuarantine, TakesTheDigestFromTheStoredNameWhereTheServiceSentNone) {
  QuarantineRecord bare = record(1, L"1731650000_3fa9c1d2e4b5a6f7_a.exe");
  bare.sha256.clear();
  EXPECT_EQ(recordedDigest(bare), "3fa9c1d2e4b5a6f7");
  const std::wstring name = L"1731650000_3fa9c1d2e4b5a6f7_a.exe";
  EXPECT_EQ(check({bare}, std::vector{file(name, 3, "3fa9c1d2e4b5a6f7ff")}).rows[0].state,
            StoredState::kPresent);
  EXPECT_EQ(check({bare}, std::vector{file(name, 3, "3fa9c1d2e4b5a6f8ff")}).rows[0].state,
            StoredState::kAltered);
  bare.storedPath = kFolder + L"\\1731650000__a.exe";
  EXPECT_EQ(recordedDigest(bare), "");
  bare.storedPath = kFolder + L"\\nothing";
  EXPECT_EQ(recordedDigest(bare), "");
}

TEST(CheckQuarantine, TakesTheDigestFromTheSameRecordOfTheIndex) {
  std::vector<QuarantineRecord> sent = {record(1, L"x"), record(1, L"y")};
  for (QuarantineRecord& one : sent) one.sha256.clear();
  QuarantineRecord indexed = record(1, L"y");
  indexed.sha256 = "CD";
  fillInDigests(sent, {indexed});
  EXPECT_EQ(sent[0].sha256, "");
  EXPECT_EQ(recordedDigest(sent[1]), "cd");
}

TEST(CheckQuarantine, WhatCouldNotBeReadIsNotLookedAt) {
  EXPECT_EQ(check({record(1, L"x")}, std::vector{file(L"x", 3, std::nullopt)}).rows[0].state,
            StoredState::kNotLookedAt);
  const QuarantineCheck blind = check({record(1, L"x")}, std::nullopt);
  EXPECT_EQ(blind.rows[0].state, StoredState::kNotLookedAt);
  EXPECT_FALSE(blind.folderListed);
  EXPECT_FALSE(blind.hasFindings());
}

TEST(CheckQuarantine, TheServicesAnswerCountsForFilesOutsideTheFolder) {
  QuarantineRecord elsewhere = record(1, L"x");
  elsewhere.storedPath = L"D:\\old\\x";
  EXPECT_EQ(check({elsewhere}, std::vector{file(L"x")}).rows[0].state, StoredState::kNotLookedAt);
  elsewhere.storedFileExists = false;
  EXPECT_EQ(check({elsewhere}, std::vector{file(L"x")}).rows[0].state, StoredState::kMissing);
}

TEST(CheckQuarantine, NamesFilesWithoutARecord) {
  const QuarantineCheck orphaned =
      check({}, std::vector{file(L"b"), file(L"quarantine.db.tmp"), file(L"a"), file(L"Quarantine.DB")});
  ASSERT_EQ(orphaned.orphans.size(), 2u);
  EXPECT_EQ(orphaned.orphans[0].name, L"a");
  EXPECT_EQ(orphaned.orphans[1].name, L"b");
  EXPECT_TRUE(orphaned.hasFindings());
}

TEST(CheckQuarantine, NamesRecordsThatShareAFileOrAnId) {
  const QuarantineCheck shared =
      check({record(1, L"x"), record(1, L"y"), record(2, L"X")}, std::vector{file(L"x"), file(L"y")});
  EXPECT_FALSE(shared.rows[0].sharesId);
  EXPECT_TRUE(shared.rows[1].sharesId);
  EXPECT_TRUE(shared.rows[2].sharesFile);
  EXPECT_TRUE(shared.hasFindings());
}

TEST(IndexState, OnlyWhatTheServiceWritesIsWhole) {
  const std::string whole = formatQuarantineIndex({record(5, L"x")});
  EXPECT_EQ(indexStateOf(whole), IndexState::kWhole);
  EXPECT_EQ(indexStateOf(formatQuarantineIndex({})), IndexState::kWhole);
  EXPECT_EQ(indexStateOf(std::nullopt), IndexState::kMissing);
  EXPECT_EQ(indexStateOf(""), IndexState::kDamaged);
  EXPECT_EQ(indexStateOf(whole.substr(0, whole.size() - 1)), IndexState::kDamaged);
  EXPECT_EQ(indexStateOf("garbage"), IndexState::kDamaged);
  EXPECT_EQ(indexStateOf(std::string(200, '\0')), IndexState::kDamaged);
}

}  // namespace
}  // namespace korvel::ctl
