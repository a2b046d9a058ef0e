#include "pe/pe_imports.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "pe/pe_parser.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

using namespace korvel::test;
using Names = std::vector<std::string>;

Names importsOf(const Bytes& image) { return parsePe(ByteView(image), image.size()).imports; }

Names numbered(size_t count) {
  Names names;
  for (size_t i = 0; i < count; ++i) names.push_back("F" + std::to_string(i));
  return names;
}

class PeImportsOfBothKinds : public testing::TestWithParam<PeKind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, PeImportsOfBothKinds, testing::Values(PeKind::kPe32, PeKind::kPe32Plus));

TEST_P(PeImportsOfBothKinds, AreReadInFileOrderLibraryByLibrary) {
  const Bytes image = PeBuilder(GetParam())
                          .section({".text", kPeCode, Bytes(8)})
                          .import("kernel32.dll", {"Sleep", "WinExec"})
                          .import("user32.dll", {"MessageBoxW"})
                          .import("kernel32.dll", {"Beep"})
                          .build();
  EXPECT_EQ(importsOf(image), (Names{"Sleep", "WinExec", "Beep", "MessageBoxW"}));
}

TEST_P(PeImportsOfBothKinds, ByOrdinalHaveNoName) {
  const Bytes image = PeBuilder(GetParam())
                          .importOrdinal("a.dll", 1)
                          .import("a.dll", {"Named"})
                          .importOrdinal("a.dll", 65535)
                          .build();
  EXPECT_EQ(importsOf(image), Names{"Named"});
  EXPECT_EQ(importsOf(PeBuilder(GetParam()).importOrdinal("a.dll", 7).build()), Names{});
}

TEST_P(PeImportsOfBothKinds, ByOrdinalHaveNoNameEvenWhereTheNumberIsTheAddressOfAText) {
  Bytes image = PeBuilder(GetParam()).importOrdinal("a.dll", 0x50 - 2).build();
  image[0x50] = 'T';  // in the headers, before the signature
  EXPECT_EQ(importsOf(image), Names{});
}

TEST_P(PeImportsOfBothKinds, EndWithTheEmptyDescriptor) {
  PeBuilder builder =
      PeBuilder(GetParam()).import("a.dll", {"F"}).import("b.dll", {"G"}).import("c.dll", {"H"});
  Bytes image = builder.build();
  const auto second = image.begin() + builder.sectionRawPointer(0) + 20;
  std::fill(second, second + 20, uint8_t{0});
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST_P(PeImportsOfBothKinds, AreReadFromTheAddressTableWhenThereIsNoLookupTable) {
  EXPECT_EQ(importsOf(PeBuilder(GetParam()).withoutLookupTable().import("a.dll", {"F", "G"}).build()),
            (Names{"F", "G"}));
}

TEST_P(PeImportsOfBothKinds, AreReadFromTheLookupTableOfABoundImage) {
  PeBuilder builder = PeBuilder(GetParam()).import("a.dll", {"F", "G"});
  Bytes image = builder.build();
  const size_t thunkBytes = GetParam() == PeKind::kPe32 ? 4 : 8;
  const size_t addressTable = builder.sectionRawPointer(0) + 40 + 3 * thunkBytes;
  put32(image, addressTable, 0x77E01234);
  put32(image, addressTable + thunkBytes, 0x77E05678);
  EXPECT_EQ(importsOf(image), (Names{"F", "G"}));
}

TEST_P(PeImportsOfBothKinds, AreReadFromTheAddressTableWhenTheLookupTableIsEmpty) {
  PeBuilder builder = PeBuilder(GetParam()).import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, builder.sectionRawPointer(0) + 40, 0);
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST_P(PeImportsOfBothKinds, AreNotReadFromALookupTableBelowTheEndOfTheHeaders) {
  PeBuilder builder = PeBuilder(GetParam()).import("a.dll", {"F"});
  Bytes image = builder.build();
  // The descriptor names a second lookup table, which lies in the last bytes of the headers.
  const uint32_t headerBytes = builder.sectionRawPointer(0);
  const uint32_t inHeaders = headerBytes - 0x20;
  put32(image, inHeaders, inHeaders + 0x10);
  image[inHeaders + 0x12] = 'H';
  put32(image, headerBytes, inHeaders);
  EXPECT_EQ(importsOf(image), Names{"F"});
  put32(image, kPeOptionalHeaderAt + 60, inHeaders + 1);
  EXPECT_EQ(importsOf(image), Names{"F"});
  put32(image, kPeOptionalHeaderAt + 60, inHeaders);  // the headers end where the table begins
  EXPECT_EQ(importsOf(image), Names{"H"});
}

TEST_P(PeImportsOfBothKinds, AreReadFromALookupTableInTheHeadersWhereTheLoaderWouldFindNone) {
  PeBuilder builder = PeBuilder(GetParam()).import("a.dll", {"F"});
  Bytes image = builder.build();
  const uint32_t headerBytes = builder.sectionRawPointer(0);
  put32(image, headerBytes - 0x20, headerBytes - 0x10);
  image[headerBytes - 0x10 + 2] = 'H';
  put32(image, headerBytes, headerBytes - 0x20);
  put32(image, headerBytes + 16, 0);
  EXPECT_EQ(importsOf(image), Names{"H"});
}

TEST_P(PeImportsOfBothKinds, OfAFlatImageAreFoundAtFileOffsetsWhateverTheSectionHeadersSay) {
  PeBuilder builder =
      PeBuilder(GetParam()).flat().section({".text", kPeCode, Bytes(8)}).import("a.dll", {"F"});
  Bytes image = builder.build();
  EXPECT_EQ(importsOf(image), Names{"F"});
  put32(image, builder.sectionHeaderAt(1) + 12, 0x5000);  // its address
  put32(image, builder.sectionHeaderAt(0) + 12, 0x100);
  EXPECT_EQ(importsOf(image), Names{"F"});
  put16(image, kPeSignatureAt + 6, 0);  // no section header at all
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST_P(PeImportsOfBothKinds, AreFoundFlatOnlyBelowASectionAlignmentOfOnePage) {
  PeBuilder builder =
      PeBuilder(GetParam()).flat().section({".text", kPeCode, Bytes(8)}).import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, builder.sectionHeaderAt(0) + 12, 0x100);  // then reaches over the imports, without their bytes
  put32(image, builder.sectionHeaderAt(1) + 12, 0x5000);
  put32(image, kPeOptionalHeaderAt + 32, 0xFFF);
  EXPECT_EQ(importsOf(image), Names{"F"});
  put32(image, kPeOptionalHeaderAt + 32, 0x1000);
  EXPECT_EQ(importsOf(image), Names{});
}

TEST_P(PeImportsOfBothKinds, AreFoundBySectionsInAnImageThatGivesNoAlignment) {
  PeBuilder builder = PeBuilder(GetParam()).import("a.dll", {"F"}).overlay(Bytes(0x2000));
  Bytes image = builder.build();
  put32(image, kPeOptionalHeaderAt + 32, 0);
  put32(image, kPeOptionalHeaderAt + 36, 0);
  // Taken as an offset in the file, the directory's address would find another table.
  const uint32_t other = builder.sectionAddress(0);
  put32(image, other + 16, other + 40);
  put32(image, other + 40, other + 60);
  image[other + 62] = 'X';
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST_P(PeImportsOfBothKinds, AreFoundBySectionsThatLieElsewhereInAFlatImage) {
  // Its sections are where the headers say, but no loader would look for them there.
  PeBuilder builder = PeBuilder(GetParam()).import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, kPeOptionalHeaderAt + 32, 0x200);
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST_P(PeImportsOfBothKinds, AreFoundBehindAFilePointerAsItStandsWhereTheRoundedOneFindsNone) {
  PeBuilder builder = PeBuilder(GetParam()).import("a.dll", {"F"});
  Bytes image = builder.build();
  const uint32_t raw = builder.sectionRawPointer(0);
  image.insert(image.begin() + raw, 0x88, uint8_t{0});
  put32(image, builder.sectionHeaderAt(0) + 20, raw + 0x88);
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST(PeImports, OfAFlatImageMayReachAcrossSections) {
  // The descriptors begin in the last bytes of one section and go on in the next.
  PeBuilder builder(PeKind::kPe32);
  builder.flat().section({"one", kPeData, Bytes(512)}).section({"two", kPeData, Bytes(512)});
  const uint32_t start = builder.sectionAddress(1) - 8;
  Bytes image = builder.directory(kPeImportDirectory, start, 40).build();
  put32(image, start + 16, start + 40);
  put32(image, start + 40, start + 48);
  image[start + 50] = 'A';
  EXPECT_EQ(importsOf(image), Names{"A"});
}

TEST(PeImports, KeepRepetitions) {
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", {"F", "F"}).import("b.dll", {"F"}).build()),
            (Names{"F", "F", "F"}));
}

TEST(PeImports, StopAfterTwoThousandNames) {
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", numbered(1999)).build()).size(), 1999u);
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", numbered(2000)).build()), numbered(2000));
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", numbered(2001)).build()), numbered(2000));
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", numbered(1999)).import("b.dll", {"X", "Y"}).build()).back(),
            "X");
}

TEST(PeImports, MayHave127CharactersButNot128) {
  const std::string longest(127, 'n');
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", {"F", longest, longest + "n", "G"}).build()),
            (Names{"F", longest, "G"}));
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", {std::string(1000, 'n'), "G"}).build()), Names{"G"});
}

TEST(PeImports, HavePrintableCharactersOnly) {
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", {"\x20", "\x7E", "?f@@YAXXZ", "a b"}).build()),
            (Names{"\x20", "\x7E", "?f@@YAXXZ", "a b"}));
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", {"\x1F", "a\x7F", "\x80z", "Имя", "tab\t", "ok"}).build()),
            Names{"ok"});
}

TEST(PeImports, WithoutAnyCharacterAreNoNames) {
  EXPECT_EQ(importsOf(PeBuilder().import("a.dll", {"", "F"}).build()), Names{"F"});
}

TEST(PeImports, AreFoundByTheDirectorysAddressEvenWhenItsSizeIsZero) {
  PeBuilder builder = PeBuilder().import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, builder.directoryAt(kPeImportDirectory) + 4, 0);
  const PeInfo info = parsePe(ByteView(image), image.size());
  EXPECT_FALSE(info.hasImports);
  EXPECT_EQ(info.imports, Names{"F"});
  put32(image, builder.directoryAt(kPeImportDirectory), 0);
  EXPECT_EQ(importsOf(image), Names{});
}

TEST(PeImports, CutOffByTheEndOfTheBufferEndThere) {
  PeBuilder builder = PeBuilder().import("a.dll", {"First", "Second"});
  Bytes image = builder.build();
  const Bytes text = bytesOf("Second");
  const auto second = std::search(image.begin(), image.end(), text.begin(), text.end());
  image.erase(second + 3, image.end());
  EXPECT_EQ(importsOf(image), (Names{"First", "Sec"}));
}

TEST(PeImports, AtAddressesOutsideTheImageAreNoNames) {
  PeBuilder builder = PeBuilder().import("a.dll", {"F", "G", "I", "H"});
  Bytes image = builder.build();
  const size_t lookupTable = builder.sectionRawPointer(0) + 40;
  put64(image, lookupTable, 0x7FFFFFFFFFFFFFFF);
  put64(image, lookupTable + 8, 0xFFFFFFFF);
  put32(image, lookupTable + 16 + 4, 1);  // 4 GiB above the name
  EXPECT_EQ(importsOf(image), Names{"H"});
}

TEST(PeImports, MayLieInTheHeaders) {
  // A whole import table in the padding behind the section headers, addressed below the first section.
  PeBuilder builder(PeKind::kPe32);
  builder.section({".text", kPeCode, Bytes(8)}).directory(kPeImportDirectory, 0x1A0, 40);
  Bytes image = builder.build();
  put32(image, 0x1A0 + 16, 0x1D0);
  put32(image, 0x1D0, 0x1E0);
  image[0x1E2] = 'H';
  EXPECT_EQ(importsOf(image), Names{"H"});
}

TEST(PeImports, MayLieInAnImageWithoutSections) {
  PeBuilder builder(PeKind::kPe32);
  builder.directory(kPeImportDirectory, 0x1A0, 40);
  Bytes image = builder.build();
  put32(image, 0x1A0 + 16, 0x1D0);
  put32(image, 0x1D0, 0x1E0);
  image[0x1E2] = 'H';
  EXPECT_EQ(importsOf(image), Names{"H"});
}

TEST(PeImports, DoNotReachFromOneSectionIntoTheBytesOfTheNext) {
  PeBuilder builder(PeKind::kPe32);
  // The one descriptor is followed by the next section in the file, but by zero bytes in memory.
  Bytes table(512);
  put32(table, 512 - 20 + 16, 0x1000);
  put32(table, 0, 0x1000 + 8);
  table[10] = 'A';
  Bytes descriptor(512);
  put32(descriptor, 16, 0x1000);
  builder.section({"table", kPeData, table}).section({"other", kPeData, descriptor});
  builder.directory(kPeImportDirectory, 0x1000 + 512 - 20, 40);
  EXPECT_EQ(importsOf(builder.build()), Names{"A"});
}

TEST(PeImports, AreFoundThroughFilePointersThatTheLoaderRoundsDown) {
  PeBuilder builder = PeBuilder().import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, builder.sectionHeaderAt(0) + 20, builder.sectionRawPointer(0) + 0x1FF);
  EXPECT_EQ(importsOf(image), Names{"F"});
  // With an alignment below a sector the pointer is taken as it is.
  put32(image, kPeOptionalHeaderAt + 36, 0x20);
  EXPECT_EQ(importsOf(image), Names{});
}

TEST(PeImports, IgnoreSectionsThatTakeNoMemory) {
  PeBuilder builder = PeBuilder().section({"empty", kPeData, {}}).import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, builder.sectionHeaderAt(0) + 12, builder.sectionAddress(1));
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST(PeImports, MayLieInASectionThatGivesNoVirtualSize) {
  PeBuilder builder = PeBuilder().import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, builder.sectionHeaderAt(0) + 8, 0);
  EXPECT_EQ(importsOf(image), Names{"F"});
}

TEST(PeImports, LieInTheFirstOfSeveralSectionsAtOneAddress) {
  PeBuilder builder = PeBuilder().section({"zeros", kPeData, Bytes(512)}).import("a.dll", {"F"});
  Bytes image = builder.build();
  put32(image, builder.sectionHeaderAt(0) + 12, builder.sectionAddress(1));
  EXPECT_EQ(importsOf(image), Names{});
}

TEST(PeImports, OfAnEmptyTableWithoutASecondAreNone) {
  // Read as a table of thunks, the "MZ" at address 0 would point to the name in this section.
  constexpr uint32_t kStart = 0x1000;
  Bytes data(0x5000);
  put32(data, 0, kStart + 0x100);
  data[0x5A4D + 2 - kStart] = 'X';
  const Bytes image = PeBuilder(PeKind::kPe32)
                          .section({"x", kPeData, data})
                          .directory(kPeImportDirectory, kStart, 40)
                          .build();
  EXPECT_EQ(importsOf(image), Names{});
}

TEST(PeImports, OfManyDescriptorsThatShareOneTableOfBadThunksEnd) {
  // Every descriptor walks the same 60,000 thunks, none of which has a name: some 10^9 steps if nothing
  // stopped it.
  constexpr size_t kDescriptors = 20'000;
  constexpr size_t kThunks = 60'000;
  Bytes table(kDescriptors * 20 + (kThunks + 1) * 4);
  for (size_t i = 0; i < kDescriptors; ++i) put32(table, i * 20 + 16, 0x1000 + kDescriptors * 20);
  for (size_t i = 0; i < kThunks; ++i) put32(table, kDescriptors * 20 + i * 4, 0x7FFFFFF0);
  const Bytes image = PeBuilder(PeKind::kPe32)
                          .section({"bomb", kPeData, table})
                          .directory(kPeImportDirectory, 0x1000, kDescriptors * 20)
                          .build();
  EXPECT_EQ(importsOf(image), Names{});
}

}  // namespace
}  // namespace korvel
