#include "pe/pe_parser.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "support/pe_builder.h"

namespace korvel {
namespace {

using namespace korvel::test;

PeInfo parse(const Bytes& image) { return parsePe(ByteView(image), image.size()); }

PeBuilder programWithCode(PeKind kind = PeKind::kPe32Plus) {
  return PeBuilder(kind).section({".text", kPeCode, Bytes(16, 0xC3)});
}

bool isEmptyRecord(const PeInfo& info) {
  return !info.isPe && !info.isDll && !info.hasImports && !info.packed && !info.hasOverlay &&
         !info.rwxSection && !info.hasResources && !info.hasDebug && !info.hasTls && info.machine == 0 &&
         info.subsystem == 0 && info.timeDateStamp == 0 && info.entropy == 0.0 &&
         info.maxSectionEntropy == 0.0 && info.overlaySize == 0 && info.sections.empty() &&
         info.sectionCount == 0 && info.importCount == 0 && info.imports.empty();
}

/// Nothing but the headers: "MZ", the signature at `signatureAt`, a magic.
Bytes bareHeaders(size_t size, uint32_t signatureAt, uint16_t magic) {
  Bytes image(size);
  image[0] = 'M';
  image[1] = 'Z';
  put32(image, 0x3C, signatureAt);
  if (uint64_t{signatureAt} + 4 <= size) put32(image, signatureAt, 0x4550);
  if (uint64_t{signatureAt} + 26 <= size) put16(image, signatureAt + 24, magic);
  return image;
}

TEST(PeParser, ReadsTheHeadersOfAProgram) {
  const PeInfo info = parse(programWithCode().machine(0xAA64).subsystem(2).timeStamp(0x12345678).build());
  EXPECT_TRUE(info.isPe);
  EXPECT_FALSE(info.isDll);
  EXPECT_EQ(info.machine, 0xAA64);
  EXPECT_EQ(info.subsystem, 2);
  EXPECT_EQ(info.timeDateStamp, 0x12345678u);
  EXPECT_EQ(info.sectionCount, 1u);
}

TEST(PeParser, ReadsBothSizesOfHeaders) {
  const PeInfo narrow = parse(programWithCode(PeKind::kPe32).subsystem(9).import("a.dll", {"F"}).build());
  EXPECT_EQ(narrow.machine, 0x14C);
  EXPECT_EQ(narrow.subsystem, 9);
  EXPECT_EQ(narrow.imports, std::vector<std::string>{"F"});
  const PeInfo wide = parse(programWithCode(PeKind::kPe32Plus).subsystem(9).import("a.dll", {"F"}).build());
  EXPECT_EQ(wide.machine, 0x8664);
  EXPECT_EQ(wide.subsystem, 9);
  EXPECT_EQ(wide.imports, std::vector<std::string>{"F"});
}

TEST(PeParser, TellsALibraryByItsCharacteristicsBit) {
  EXPECT_TRUE(parse(programWithCode().dll().build()).isDll);
  EXPECT_FALSE(parse(programWithCode().build()).isDll);
}

TEST(PeParser, TakesNothingOfFewerThan84Bytes) {
  EXPECT_TRUE(isEmptyRecord(parse(bareHeaders(83, 0x38, 0x20B))));
  EXPECT_TRUE(parse(bareHeaders(84, 0x38, 0x20B)).isPe);
  EXPECT_TRUE(isEmptyRecord(parse({})));
}

TEST(PeParser, WantsTheDosSignature) {
  Bytes image = programWithCode().build();
  image[0] = 'Z';
  EXPECT_TRUE(isEmptyRecord(parse(image)));
  image[0] = 'M';
  image[1] = 'z';
  EXPECT_TRUE(isEmptyRecord(parse(image)));
}

TEST(PeParser, WantsTheNewHeaderInsideTheBuffer) {
  // The magic is the last field that must be there: 26 bytes from the signature on.
  EXPECT_TRUE(parse(bareHeaders(200, 200 - 26, 0x10B)).isPe);
  EXPECT_TRUE(isEmptyRecord(parse(bareHeaders(200, 200 - 25, 0x10B))));
  for (const uint32_t outside : {197u, 200u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
    EXPECT_TRUE(isEmptyRecord(parse(bareHeaders(200, outside, 0x10B)))) << outside;
  }
}

TEST(PeParser, WantsTheWholePeSignature) {
  for (size_t i = 0; i < 4; ++i) {
    Bytes image = programWithCode().build();
    image[kPeSignatureAt + i] ^= 0x20;
    EXPECT_TRUE(isEmptyRecord(parse(image))) << i;
  }
}

TEST(PeParser, KnowsTwoMagicsOnly) {
  for (const int magic : {0, 0x107, 0x10A, 0x10C, 0x20A, 0x20C, 0xFFFF}) {
    Bytes image = programWithCode().build();
    put16(image, kPeOptionalHeaderAt, static_cast<uint16_t>(magic));
    EXPECT_TRUE(isEmptyRecord(parse(image))) << magic;
  }
}

TEST(PeParser, ReadsFieldsBeyondTheBufferAsZero) {
  const Bytes whole = programWithCode().subsystem(2).import("a.dll", {"F"}).build();
  const Bytes cut(whole.begin(), whole.begin() + kPeOptionalHeaderAt + 2);
  const PeInfo info = parsePe(ByteView(cut), whole.size());
  EXPECT_TRUE(info.isPe);
  EXPECT_EQ(info.machine, 0x8664);
  EXPECT_EQ(info.subsystem, 0);
  EXPECT_FALSE(info.hasImports);
  EXPECT_EQ(info.sectionCount, 0u);
}

TEST(PeParser, ReadsADirectoryBeyondTheBufferAsEmpty) {
  PeBuilder builder = programWithCode().directory(kPeImportDirectory, 0x1000, 40);
  const Bytes whole = builder.build();
  const auto cutAt = [&](size_t size) { return parsePe(ByteView(whole.data(), size), whole.size()); };
  EXPECT_TRUE(cutAt(builder.directoryAt(kPeImportDirectory) + 8).hasImports);
  EXPECT_FALSE(cutAt(builder.directoryAt(kPeImportDirectory) + 7).hasImports);
  EXPECT_FALSE(cutAt(builder.directoryAt(0)).hasImports);
}

TEST(PeParser, TellsDirectoriesByTheirSizes) {
  for (const PeKind kind : {PeKind::kPe32, PeKind::kPe32Plus}) {
    const PeInfo none = parse(programWithCode(kind).build());
    EXPECT_FALSE(none.hasImports || none.hasResources || none.hasDebug || none.hasTls);
    const PeInfo imports = parse(programWithCode(kind).directory(kPeImportDirectory, 0, 1).build());
    EXPECT_TRUE(imports.hasImports && !imports.hasResources && !imports.hasDebug && !imports.hasTls);
    const PeInfo resources = parse(programWithCode(kind).directory(kPeResourceDirectory, 0, 1).build());
    EXPECT_TRUE(!resources.hasImports && resources.hasResources && !resources.hasDebug && !resources.hasTls);
    const PeInfo debug = parse(programWithCode(kind).directory(kPeDebugDirectory, 0, 1).build());
    EXPECT_TRUE(!debug.hasImports && !debug.hasResources && debug.hasDebug && !debug.hasTls);
    const PeInfo tls = parse(programWithCode(kind).directory(kPeTlsDirectory, 0, 1).build());
    EXPECT_TRUE(!tls.hasImports && !tls.hasResources && !tls.hasDebug && tls.hasTls);
    const PeInfo addressOnly = parse(programWithCode(kind).directory(kPeTlsDirectory, 0x1000, 0).build());
    EXPECT_FALSE(addressOnly.hasTls);
  }
}

TEST(PeParser, ReadsOnlyAsManyDirectoriesAsDeclared) {
  PeBuilder builder =
      programWithCode().directory(kPeTlsDirectory, 0x1000, 24).directory(kPeDebugDirectory, 1, 1);
  Bytes image = builder.build();
  const size_t countAt = builder.directoryAt(0) - 4;
  put32(image, countAt, 9);
  EXPECT_FALSE(parse(image).hasTls);
  EXPECT_TRUE(parse(image).hasDebug);
  put32(image, countAt, 10);
  EXPECT_TRUE(parse(image).hasTls);
  put32(image, countAt, 0xFFFFFFFF);
  EXPECT_TRUE(parse(image).hasTls);
}

TEST(PeParser, CopiesEachSectionHeader) {
  const PeInfo info = parse(PeBuilder()
                                .section({".text", kPeCode, Bytes(0x201, 0x90), 0x1234})
                                .section({"UPX0", kPeRwx, {}, 0x8000})
                                .build());
  ASSERT_EQ(info.sections.size(), 2u);
  EXPECT_EQ(info.sections[0].name, ".text");
  EXPECT_EQ(info.sections[0].virtualSize, 0x1234u);
  EXPECT_EQ(info.sections[0].rawSize, 0x400u);
  EXPECT_EQ(info.sections[0].rawPointer, 0x200u);
  EXPECT_EQ(info.sections[0].characteristics, kPeCode);
  EXPECT_TRUE(info.sections[0].executable);
  EXPECT_FALSE(info.sections[0].writable);
  EXPECT_EQ(info.sections[1].name, "UPX0");
  EXPECT_EQ(info.sections[1].virtualSize, 0x8000u);
  EXPECT_EQ(info.sections[1].rawSize, 0u);
  EXPECT_TRUE(info.sections[1].executable);
  EXPECT_TRUE(info.sections[1].writable);
  EXPECT_EQ(info.sectionCount, 2u);
}

TEST(PeParser, TakesNoOtherCharacteristicForWritableOrExecutable) {
  const PeInfo info = parse(PeBuilder().section({"other", 0x5FFFFFFF, Bytes(8)}).build());
  EXPECT_FALSE(info.sections[0].writable);
  EXPECT_FALSE(info.sections[0].executable);
}

TEST(PeParser, TakesOnlyTrailingZeroBytesOffSectionNames) {
  PeBuilder builder = PeBuilder().section({"12345678"}).section({"abc"}).section({""});
  Bytes image = builder.build();
  image[builder.sectionHeaderAt(1) + 1] = 0;  // an inner zero byte stays
  const PeInfo info = parse(image);
  EXPECT_EQ(info.sections[0].name, "12345678");
  EXPECT_EQ(info.sections[1].name, std::string("a\0c", 3));
  EXPECT_EQ(info.sections[2].name, "");
}

TEST(PeParser, MarksASectionThatIsBothWritableAndExecutable) {
  EXPECT_FALSE(parse(PeBuilder().section({"a", kPeCode}).section({"b", kPeData}).build()).rwxSection);
  EXPECT_TRUE(parse(PeBuilder().section({"a", kPeCode}).section({"b", kPeRwx}).build()).rwxSection);
  EXPECT_TRUE(parse(PeBuilder().section({"a", 0xA0000000}).build()).rwxSection);
}

TEST(PeParser, LeavesOutSectionHeadersThatAreNotWhollyInTheBuffer) {
  PeBuilder builder = PeBuilder().section({"one"}).section({"two"}).section({"three"});
  const Bytes whole = builder.build();
  const auto cutAt = [&](size_t size) {
    return parse(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)));
  };
  EXPECT_EQ(cutAt(builder.sectionHeaderAt(2)).sectionCount, 2u);
  EXPECT_EQ(cutAt(builder.sectionHeaderAt(2) - 1).sectionCount, 1u);
  EXPECT_EQ(cutAt(builder.sectionHeaderAt(0)).sectionCount, 0u);

  Bytes exaggerated = whole;
  put16(exaggerated, kPeSignatureAt + 6, 0xFFFF);
  EXPECT_EQ(parse(exaggerated).sectionCount,
            (whole.size() - builder.sectionHeaderAt(0)) / kPeSectionHeaderBytes);
}

TEST(PeParser, FindsTheSectionTableByTheOptionalHeadersSize) {
  PeBuilder builder = PeBuilder().section({"one"}).section({"two"});
  Bytes image = builder.build();
  put16(image, kPeSignatureAt + 20, static_cast<uint16_t>(240 + kPeSectionHeaderBytes));
  put16(image, kPeSignatureAt + 6, 1);
  EXPECT_EQ(parse(image).sections.at(0).name, "two");
}

TEST(PeParser, CountsWhatFollowsTheLastSectionAsOverlay) {
  EXPECT_FALSE(parse(programWithCode().build()).hasOverlay);
  EXPECT_EQ(parse(programWithCode().build()).overlaySize, 0u);
  const PeInfo info = parse(programWithCode().overlay(Bytes(7)).build());
  EXPECT_TRUE(info.hasOverlay);
  EXPECT_EQ(info.overlaySize, 7u);
}

TEST(PeParser, MeasuresTheOverlayByTheTrueFileSize) {
  const Bytes image = programWithCode().build();
  EXPECT_EQ(parsePe(ByteView(image), image.size() + 0x200000000).overlaySize, 0x200000000u);
}

TEST(PeParser, TakesTheLargestEndOfAllSections) {
  PeBuilder builder = PeBuilder().section({"a", kPeCode, Bytes(512)}).section({"b", kPeData, Bytes(512)});
  Bytes image = builder.overlay(Bytes(100)).build();
  // The first section now ends behind the second.
  put32(image, builder.sectionHeaderAt(0) + 16, 1024 + 40);
  EXPECT_EQ(parse(image).overlaySize, 60u);
}

TEST(PeParser, HasNoOverlayWhenASectionEndsBeyondTheFile) {
  PeBuilder builder = programWithCode();
  Bytes image = builder.overlay(Bytes(100)).build();
  // The sum does not wrap at 32 bits.
  put32(image, builder.sectionHeaderAt(0) + 16, 0xFFFFFFFF);
  put32(image, builder.sectionHeaderAt(0) + 20, 0xFFFFFFFF);
  EXPECT_FALSE(parse(image).hasOverlay);
  EXPECT_EQ(parse(image).overlaySize, 0u);
}

TEST(PeParser, TakesAllOfAnImageWithoutSectionsForOverlay) {
  const Bytes image = PeBuilder().build();
  EXPECT_TRUE(parse(image).hasOverlay);
  EXPECT_EQ(parse(image).overlaySize, image.size());
}

TEST(PeParser, SurvivesEveryTruncationOfAFullImage) {
  PeBuilder builder;
  builder.section({".text", kPeCode, noiseBytes(300)})
      .section({".data", kPeData, cyclingBytes(100, 3)})
      .import("kernel32.dll", {"CreateFileW", "GetProcAddress"})
      .importOrdinal("ws2_32.dll", 23)
      .directory(kPeResourceDirectory, 0x2000, 16)
      .overlay(Bytes(33, 'o'));
  const Bytes whole = builder.build();
  for (size_t size = 0; size <= whole.size(); ++size) {
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::memcpy(block.get(), whole.data(), size);
    const PeInfo info = parsePe(ByteView(block.get(), size), whole.size());
    EXPECT_EQ(info.isPe, size >= kPeOptionalHeaderAt + 2) << size;
    EXPECT_EQ(info.importCount, info.imports.size());
    EXPECT_LE(info.importCount, 2u);
  }
  EXPECT_EQ(parse(whole).imports, (std::vector<std::string>{"CreateFileW", "GetProcAddress"}));
}

}  // namespace
}  // namespace korvel
