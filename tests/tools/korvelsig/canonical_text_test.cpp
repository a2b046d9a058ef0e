#include "korvelsig/canonical_text.h"

#include <gtest/gtest.h>

#include <string>

#include "korvelsig_run.h"
#include "signatures/signature_text.h"

namespace korvel::sig {
namespace {

using test::kMd5;
using test::kSha1;
using test::kSha256A;
using test::kSha256B;

std::string written(const std::string& text, const DigestList& leftOut = {}) {
  std::string out;
  writeDatabase(parseSignatureText(text).table, {"v 1", 42}, leftOut,
                [&](std::string_view piece) { out += piece; });
  return out;
}

std::string entriesOf(const std::string& text, const DigestList& leftOut = {}) {
  const std::string out = written(text, leftOut);
  return out.substr(out.find('\n', out.find("SIZE ")) + 1);
}

DigestList listOf(const std::string& text) {
  hash::Digest digest;
  digest.parse(text);
  return {digestKey(digest.bytes())};
}

TEST(CanonicalText, HeadHoldsFormatVersionTimeAndSize) {
  const std::string out = written(kSha256A + "\n" + kMd5 + "\n");
  EXPECT_EQ(out.substr(out.find('\n') + 1, 46),
            "KORVELDB/1\nVERSION v 1\nGENERATED 42\nSIZE 2\n" + out.substr(out.find("SIZE 2\n") + 7, 3));
  EXPECT_EQ(out.front(), '#');
}

TEST(CanonicalText, DigestsOfAllKindsAreSortedAsTexts) {
  const std::string sha1 = std::string(40, '1');
  const std::string md5 = std::string(32, '1');
  const std::string sha256 = std::string(64, '1');
  EXPECT_EQ(entriesOf(kSha256B + "\n" + sha256 + "\n" + kSha256A + "\n" + sha1 + "\n" + md5 + "\n"),
            kSha256A + "\n" + kSha256B + "\n" + md5 + "\n" + sha1 + "\n" + sha256 + "\n");
}

TEST(CanonicalText, Md5HasTheShortFormAndTheOthersTheLongOne) {
  EXPECT_EQ(entriesOf(kMd5 + ":N:F:x:y\n"), kMd5 + ":N:F\n");
  EXPECT_EQ(entriesOf(kMd5 + ":N\n"), kMd5 + ":N:N\n");
  EXPECT_EQ(entriesOf(kMd5 + ":N::\n"), kMd5 + ":N::\n");
  EXPECT_EQ(entriesOf(kSha1 + ":N:F\n"), kSha1 + "::F:high:N::\n");
  EXPECT_EQ(entriesOf(kSha256A + ":t:F:CRITICAL:N:R:x\n"), kSha256A + ":t:F:critical:N:R\n");
}

TEST(CanonicalText, AnEntryThatIsOnlyADigestStaysOne) {
  for (const std::string& digest : {kMd5, kSha1, kSha256A}) {
    EXPECT_EQ(entriesOf(digest + ":Win.Trojan.Generic\n"), digest + "\n");
  }
}

TEST(CanonicalText, ACrAtTheEndOfTheLastFieldSurvives) {
  const std::string line = kSha256A + ":t:F:high:N:R\r:\n";
  EXPECT_EQ(entriesOf(kSha256A + ":t:F:high:N:R\r\r\n"), line);
  EXPECT_EQ(entriesOf(line), line);
}

TEST(CanonicalText, WhatIsLeftOutIsNotCounted) {
  const std::string out = written(kSha256A + "\n" + kSha256B + "\n", listOf(kSha256A));
  EXPECT_NE(out.find("SIZE 1\n"), std::string::npos);
  EXPECT_EQ(out.find(kSha256A), std::string::npos);
  EXPECT_NE(out.find(kSha256B), std::string::npos);
  EXPECT_NE(written(kSha256A + "\n", listOf(kMd5)).find("SIZE 1\n"), std::string::npos);
}

TEST(CanonicalText, AFeedHasTheSha256DigestsOnly) {
  const SignatureTable table =
      parseSignatureText(kMd5 + "\n" + kSha256B + ":N:F\n" + kSha1 + "\n" + kSha256A + "\n").table;
  std::string out;
  writeFeed(table, {}, [&](std::string_view piece) { out += piece; });
  EXPECT_EQ(out, kSha256A + "\n" + kSha256B + "\n");
  EXPECT_EQ(countFeed(table, {}), 2u);
  EXPECT_EQ(countFeed(table, listOf(kSha256A)), 1u);
}

TEST(CanonicalText, TheDefaultVersionIsTheDayOfTheTime) {
  EXPECT_EQ(defaultVersion(0), "sig-19700101");
  EXPECT_EQ(defaultVersion(1'795'219'200), "sig-20261121");
  EXPECT_EQ(defaultVersion(1'795'219'199), "sig-20261120");
  EXPECT_EQ(defaultVersion(kMaxTime), "sig-99991231");
}

}  // namespace
}  // namespace korvel::sig
