#include "pe/pe_analysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "hash/sha256.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

using namespace korvel::test;

constexpr uint64_t kNow = 1'700'000'000;

PeAnalysis analyze(const Bytes& image) { return analyzePeBuffer(ByteView(image), image.size(), kNow); }

std::vector<std::string> codesOf(const PeAnalysis& analysis) {
  std::vector<std::string> codes;
  for (const Finding& finding : analysis.findings) codes.push_back(finding.code);
  return codes;
}

using Codes = std::vector<std::string>;

/// An ordinary program; rules find nothing in it.
PeBuilder ordinary() {
  return PeBuilder().section({".text", kPeCode, cyclingBytes(4096, 16)}).import("kernel32.dll", {"Sleep"});
}

TEST(MayBePe, WantsTheSignatureAndEnoughBytes) {
  EXPECT_TRUE(mayBePe(ByteView("MZ"), 84));
  EXPECT_FALSE(mayBePe(ByteView("MZ"), 83));
  EXPECT_FALSE(mayBePe(ByteView("ZM"), 84));
  EXPECT_FALSE(mayBePe(ByteView("M"), 84));
  EXPECT_FALSE(mayBePe({}, 84));
}

TEST(PeAnalysis, OfSomethingElseIsEmpty) {
  for (const Bytes& content :
       {Bytes{}, bytesOf("MZ"), Bytes(83, 'M'), noiseBytes(100'000), bytesOf("#!/bin/sh\n")}) {
    const PeAnalysis analysis = analyze(content);
    EXPECT_FALSE(analysis.info.isPe);
    EXPECT_EQ(analysis.info.entropy, 0.0);
    EXPECT_EQ(analysis.packer, "");
    EXPECT_TRUE(analysis.findings.empty());
  }
}

TEST(PeAnalysis, OfAnOrdinaryProgramFindsNothing) {
  const PeAnalysis analysis = analyze(ordinary().build());
  EXPECT_TRUE(analysis.info.isPe);
  EXPECT_EQ(codesOf(analysis), Codes{});
  EXPECT_EQ(analysis.info.importCount, 1u);
  EXPECT_FALSE(analysis.info.packed);
}

TEST(PeAnalysis, MeasuresTheWholeBufferAndEachSection) {
  const PeAnalysis analysis = analyze(PeBuilder()
                                          .section({"a", kPeCode, cyclingBytes(4096, 16)})
                                          .section({"b", kPeData, cyclingBytes(4096, 128)})
                                          .section({"c", kPeData, {}, 0x5000})
                                          .build());
  EXPECT_DOUBLE_EQ(analysis.info.sections.at(0).entropy, 4.0);
  EXPECT_DOUBLE_EQ(analysis.info.sections.at(1).entropy, 7.0);
  EXPECT_DOUBLE_EQ(analysis.info.sections.at(2).entropy, 0.0);
  EXPECT_DOUBLE_EQ(analysis.info.maxSectionEntropy, 7.0);
  EXPECT_GT(analysis.info.entropy, 5.0);
  EXPECT_LT(analysis.info.entropy, 7.0);
}

TEST(PeAnalysis, MeasuresOnlyTheRawBytesThatAreThere) {
  PeBuilder builder = PeBuilder().section({"a", kPeCode, cyclingBytes(4096, 256)});
  Bytes image = builder.build();
  put32(image, builder.sectionHeaderAt(0) + 16, 0xFFFFFFFF);
  EXPECT_DOUBLE_EQ(analyze(image).info.maxSectionEntropy, 8.0);
  put32(image, builder.sectionHeaderAt(0) + 20, static_cast<uint32_t>(image.size()));
  EXPECT_DOUBLE_EQ(analyze(image).info.maxSectionEntropy, 0.0);
}

TEST(PeAnalysis, CountsTheOverlayIntoTheWholeEntropyOnly) {
  const PeAnalysis plain = analyze(ordinary().build());
  const PeAnalysis noisy = analyze(ordinary().overlay(noiseBytes(100'000)).build());
  EXPECT_GT(noisy.info.entropy, plain.info.entropy + 1.0);
  EXPECT_EQ(noisy.info.maxSectionEntropy, plain.info.maxSectionEntropy);
}

TEST(PeAnalysis, FindsHighEntropyAboveTheLimitOnly) {
  // log2(147) = 7.1997 and log2(148) = 7.2094.
  const PeAnalysis below = analyze(ordinary().section({"x", kPeData, cyclingBytes(512 * 147, 147)}).build());
  EXPECT_NEAR(below.info.maxSectionEntropy, std::log2(147), 1e-9);
  EXPECT_EQ(codesOf(below), Codes{});
  const PeAnalysis above = analyze(ordinary().section({"x", kPeData, cyclingBytes(512 * 148, 148)}).build());
  EXPECT_EQ(codesOf(above), Codes{"PE.HIGH_ENTROPY"});
  EXPECT_EQ(above.findings.at(0).detail, "Энтропия секции 7.209453 из 8.0 — признак шифрования или упаковки");
}

TEST(PeAnalysis, NamesThePackerOfAnImageThatUnpacksItself) {
  const PeAnalysis analysis =
      analyze(PeBuilder()
                  .section({"UPX0", kPeRwx, {}, 0x10000})
                  .section({"UPX1", kPeRwx, noiseBytes(8192)})
                  .import("kernel32.dll", {"LoadLibraryA", "GetProcAddress", "VirtualProtect"})
                  .build());
  EXPECT_EQ(analysis.packer, "UPX");
  EXPECT_TRUE(analysis.info.packed);
  EXPECT_TRUE(analysis.info.rwxSection);
  EXPECT_EQ(codesOf(analysis),
            (Codes{"PE.PACKED", "PE.HIGH_ENTROPY", "PE.RWX_SECTION", "PE.INJECTION_APIS"}));
  EXPECT_EQ(analysis.findings.at(0).title, "Файл упакован (UPX)");
  EXPECT_EQ(analysis.findings.at(3).severity, 2);
  EXPECT_EQ(analysis.findings.at(3).detail, "Файл импортирует: VirtualProtect, LoadLibraryA, GetProcAddress");
}

TEST(PeAnalysis, MarksAnAlmostConstantWritableCodeSectionAsPacked) {
  Bytes almostConstant(4096);
  almostConstant[0] = 1;
  EXPECT_TRUE(analyze(ordinary().section({"x", kPeRwx, almostConstant}).build()).info.packed);
  EXPECT_FALSE(analyze(ordinary().section({"x", kPeRwx, cyclingBytes(4096, 2)}).build()).info.packed);
  EXPECT_FALSE(analyze(ordinary().section({"x", kPeCode, almostConstant}).build()).info.packed);
}

TEST(PeAnalysis, TellsMissingImportsFromImportsByOrdinal) {
  const PeBuilder bare = PeBuilder().section({".text", kPeCode, Bytes(64, 0x90)});
  EXPECT_EQ(codesOf(analyze(bare.build())), Codes{"PE.NO_IMPORTS"});
  const PeAnalysis ordinals = analyze(PeBuilder(bare).importOrdinal("ws2_32.dll", 23).build());
  EXPECT_EQ(codesOf(ordinals), Codes{});
  EXPECT_EQ(ordinals.info.importCount, 0u);
  EXPECT_TRUE(ordinals.info.hasImports);
}

TEST(PeAnalysis, MeasuresTheOverlayLimitInBytes) {
  EXPECT_EQ(codesOf(analyze(ordinary().overlay(Bytes(1'048'576)).build())), Codes{});
  EXPECT_EQ(codesOf(analyze(ordinary().overlay(Bytes(1'048'577)).build())), Codes{"PE.LARGE_OVERLAY"});
}

TEST(PeAnalysis, TakesABuildTimeOfThisSecondForThePresent) {
  EXPECT_EQ(codesOf(analyze(ordinary().timeStamp(kNow).build())), Codes{});
  EXPECT_EQ(codesOf(analyze(ordinary().timeStamp(kNow + 1).build())), Codes{"PE.FUTURE_TIMESTAMP"});
}

TEST(PeAnalysis, LooksAtNoMoreThanTheReadLimit) {
  Bytes image = ordinary().build();
  image.resize(kPeReadLimitBytes);
  const PeInfo atTheLimit = analyze(image).info;
  image.resize(kPeReadLimitBytes + 1'000'000, 0xFF);
  const PeInfo beyondTheLimit = analyze(image).info;
  EXPECT_EQ(beyondTheLimit.entropy, atTheLimit.entropy);
  EXPECT_EQ(beyondTheLimit.overlaySize, atTheLimit.overlaySize + 1'000'000);
}

TEST(PeAnalysis, FeedsTheDigestsWithEveryByteOfTheBuffer) {
  Bytes beyondTheLimit = ordinary().build();
  beyondTheLimit.resize(kPeReadLimitBytes + 1000, 0x5A);
  for (const Bytes& bytes : {Bytes{}, bytesOf("MZ, but no image"),
                             ordinary().overlay(noiseBytes(5000)).build(), std::move(beyondTheLimit)}) {
    hash::TripleDigest fed;
    analyzePeBuffer(ByteView(bytes), bytes.size(), kNow, &fed);
    hash::Sha256 sha256;
    sha256.update(bytes.data(), bytes.size());
    EXPECT_EQ(hash::encodeHex(fed.digests().sha256), sha256.hexDigest()) << bytes.size();
  }
}

/// 65,535 section headers behind the PE header; `place` says where the raw data of each lies.
template <typename Place>
Bytes imageOfMostSections(size_t size, Place place) {
  Bytes image = PeBuilder().build();
  image.resize(size);
  put16(image, kPeSignatureAt + 6, 65'535);
  const size_t first = PeBuilder().sectionHeaderAt(0);
  for (size_t i = 0; i < 65'535; ++i) {
    const size_t header = first + i * kPeSectionHeaderBytes;
    const std::pair<uint32_t, uint32_t> range = place(static_cast<uint32_t>(i));
    put32(image, header + 16, range.second);
    put32(image, header + 20, range.first);
  }
  return image;
}

TEST(PeAnalysis, OfTheMostSectionsOverTheWholeBufferEnds) {
  // Counted one by one this would be 4 TiB of bytes.
  const Bytes image = imageOfMostSections(
      kPeReadLimitBytes, [](uint32_t i) { return std::pair<uint32_t, uint32_t>(i, 0xFFFFFFFF - i); });
  const PeInfo info = analyze(image).info;
  EXPECT_EQ(info.sectionCount, 65'535u);
  EXPECT_GT(info.sections.front().entropy, 0.0);
  EXPECT_GE(info.maxSectionEntropy, info.entropy);
}

TEST(PeAnalysis, OfTheMostSectionsWithEndsAllOverTheBufferEnds) {
  const Bytes image = imageOfMostSections(kPeReadLimitBytes, [](uint32_t i) {
    const uint32_t start = i * 7919 % 65'535 * 500;
    return std::pair<uint32_t, uint32_t>(start, 0x2000000 + i * 104'729 % 65'535 * 500);
  });
  EXPECT_EQ(analyze(image).info.sectionCount, 65'535u);
}

TEST(PeAnalysis, SurvivesEveryTruncationOfAFullImage) {
  const Bytes whole = PeBuilder(PeKind::kPe32)
                          .dll()
                          .section({"UPX0", kPeRwx, {}, 0x4000})
                          .section({".text", kPeCode, noiseBytes(300)})
                          .import("kernel32.dll", {"WriteProcessMemory", "Sleep"})
                          .importOrdinal("ws2_32.dll", 23)
                          .directory(kPeTlsDirectory, 0x5000, 24)
                          .timeStamp(UINT32_MAX)
                          .overlay(noiseBytes(40))
                          .build();
  for (size_t size = 0; size <= whole.size(); ++size) {
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::memcpy(block.get(), whole.data(), size);
    const PeAnalysis analysis = analyzePeBuffer(ByteView(block.get(), size), whole.size(), kNow);
    EXPECT_EQ(analysis.info.isPe, !analysis.findings.empty()) << size;
    EXPECT_LE(analysis.info.entropy, 8.0);
  }
  EXPECT_EQ(codesOf(analyze(whole)),
            (Codes{"PE.PACKED", "PE.RWX_SECTION", "PE.INJECTION_APIS", "PE.FUTURE_TIMESTAMP"}));
}

TEST(ExplainPe, KeepsHowEachRuleCameOut) {
  PeAnalysis analysis = analyze(ordinary().build());
  const std::vector<Finding> findings = analysis.findings;
  explainPe(analysis, kNow);
  EXPECT_FALSE(analysis.rules.empty());
  EXPECT_EQ(analysis.findings, findings);
  const size_t rules = analysis.rules.size();
  explainPe(analysis, kNow);
  EXPECT_EQ(analysis.rules.size(), rules) << "those of the last time are forgotten";
}

TEST(ExplainPe, DoesNothingForWhatIsNotAnImage) {
  PeAnalysis analysis = analyze(bytesOf("#!/bin/sh\n"));
  explainPe(analysis, kNow);
  EXPECT_TRUE(analysis.rules.empty());
  EXPECT_TRUE(analysis.findings.empty());
}

}  // namespace
}  // namespace korvel
