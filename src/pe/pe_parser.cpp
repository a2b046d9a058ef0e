// Validated from the outside in: DOS header, signature and file header, optional header, then the
// directories, sections and imports that these point to.
#include "pe/pe_parser.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pe/pe_imports.h"
#include "pe/pe_rva_map.h"

namespace korvel {
namespace {

// DOS header.
constexpr uint16_t kDosSignature = 0x5A4D;  // "MZ"
constexpr uint64_t kDosNewHeaderPointer = 60;

// File header, from the "PE\0\0" signature on.
constexpr uint32_t kPeSignature = 0x00004550;
constexpr uint64_t kFileMachine = 4;
constexpr uint64_t kFileNumberOfSections = 6;
constexpr uint64_t kFileTimeDateStamp = 8;
constexpr uint64_t kFileSizeOfOptionalHeader = 20;
constexpr uint64_t kFileCharacteristics = 22;
constexpr uint64_t kFileHeaderBytes = 24;
constexpr uint16_t kFileIsDll = 0x2000;

// Optional header.
constexpr uint16_t kMagicPe32 = 0x10B;
constexpr uint16_t kMagicPe32Plus = 0x20B;
constexpr uint64_t kOptionalSectionAlignment = 32;
constexpr uint64_t kOptionalFileAlignment = 36;
constexpr uint64_t kOptionalSizeOfHeaders = 60;
constexpr uint64_t kOptionalSubsystem = 68;
constexpr uint64_t kOptionalDirectoryCountPe32 = 92;
constexpr uint64_t kOptionalDirectoryCountPe32Plus = 108;

// Data directories: their count, then pairs of address and size.
constexpr uint64_t kDirectoryBytes = 8;
constexpr uint32_t kDirectoryLimit = 16;
enum DirectoryIndex : uint32_t {
  kImportDirectory = 1,
  kResourceDirectory = 2,
  kDebugDirectory = 6,
  kTlsDirectory = 9
};

// Section header.
constexpr uint64_t kSectionHeaderBytes = 40;
constexpr uint64_t kSectionNameBytes = 8;
constexpr uint64_t kSectionVirtualSize = 8;
constexpr uint64_t kSectionVirtualAddress = 12;
constexpr uint64_t kSectionSizeOfRawData = 16;
constexpr uint64_t kSectionPointerToRawData = 20;
constexpr uint64_t kSectionCharacteristics = 36;
constexpr uint32_t kSectionExecutable = 0x20000000;
constexpr uint32_t kSectionWritable = 0x80000000;

struct DataDirectory {
  uint32_t address = 0;  // RVA
  uint32_t size = 0;
};

/// The headers of a recognised image. Fields beyond the buffer are 0.
class Headers {
 public:
  /// Nothing when the bytes are not an image.
  static std::optional<Headers> find(ByteView bytes) {
    if (bytes.size() < kPeMinimumBytes || bytes.u16(0) != kDosSignature) return std::nullopt;
    const uint64_t start = bytes.u32(kDosNewHeaderPointer).value_or(0);
    if (bytes.u32(start) != kPeSignature) return std::nullopt;
    const std::optional<uint16_t> magic = bytes.u16(start + kFileHeaderBytes);
    if (magic != kMagicPe32 && magic != kMagicPe32Plus) return std::nullopt;
    return Headers(bytes, start, magic == kMagicPe32Plus);
  }

  bool pe32Plus() const { return pe32Plus_; }
  uint16_t file16(uint64_t field) const { return bytes_.u16(start_ + field).value_or(0); }
  uint32_t file32(uint64_t field) const { return bytes_.u32(start_ + field).value_or(0); }
  uint16_t optional16(uint64_t field) const { return bytes_.u16(optionalStart() + field).value_or(0); }
  uint32_t optional32(uint64_t field) const { return bytes_.u32(optionalStart() + field).value_or(0); }

  DataDirectory directory(uint32_t index) const {
    const uint64_t count = pe32Plus_ ? kOptionalDirectoryCountPe32Plus : kOptionalDirectoryCountPe32;
    if (index >= std::min(optional32(count), kDirectoryLimit)) return {};
    const uint64_t entry = count + sizeof(uint32_t) + index * kDirectoryBytes;
    return {optional32(entry), optional32(entry + sizeof(uint32_t))};
  }

  uint64_t sectionTableStart() const { return optionalStart() + file16(kFileSizeOfOptionalHeader); }

 private:
  Headers(ByteView bytes, uint64_t start, bool pe32Plus)
      : bytes_(bytes), start_(start), pe32Plus_(pe32Plus) {}

  uint64_t optionalStart() const { return start_ + kFileHeaderBytes; }

  ByteView bytes_;
  uint64_t start_;  // of the signature
  bool pe32Plus_;
};

std::string sectionName(ByteView header) {
  std::string name(reinterpret_cast<const char*>(header.data()), kSectionNameBytes);
  while (!name.empty() && name.back() == '\0') name.pop_back();
  return name;
}

PeSection readSection(ByteView header) {
  PeSection section;
  section.name = sectionName(header);
  section.virtualSize = header.u32(kSectionVirtualSize).value_or(0);
  section.rawSize = header.u32(kSectionSizeOfRawData).value_or(0);
  section.rawPointer = header.u32(kSectionPointerToRawData).value_or(0);
  section.characteristics = header.u32(kSectionCharacteristics).value_or(0);
  section.writable = (section.characteristics & kSectionWritable) != 0;
  section.executable = (section.characteristics & kSectionExecutable) != 0;
  return section;
}

/// Fills the section records of `info`; returns where the sections go in memory.
std::vector<PeSectionPlace> readSections(ByteView bytes, const Headers& headers, PeInfo& info) {
  std::vector<PeSectionPlace> places;
  uint64_t start = headers.sectionTableStart();
  const uint32_t declared = headers.file16(kFileNumberOfSections);
  for (uint32_t i = 0; i < declared && bytes.has(start, kSectionHeaderBytes);
       ++i, start += kSectionHeaderBytes) {
    const ByteView header = bytes.clipped(start, kSectionHeaderBytes);
    const PeSection& section = info.sections.emplace_back(readSection(header));
    info.rwxSection = info.rwxSection || (section.writable && section.executable);
    places.push_back({header.u32(kSectionVirtualAddress).value_or(0), section.virtualSize, section.rawPointer,
                      section.rawSize});
  }
  info.sectionCount = static_cast<uint32_t>(info.sections.size());
  return places;
}

/// An image without sections ends at 0: all of the file is overlay.
uint64_t endOfRawData(const std::vector<PeSection>& sections) {
  uint64_t end = 0;
  for (const PeSection& section : sections)
    end = std::max(end, uint64_t{section.rawPointer} + section.rawSize);
  return end;
}

/// The names that the loader would find. Where it finds none, perhaps because it would refuse the image,
/// those that the headers name when they are taken as they stand: a file need not run to show what it was
/// made for. The loader uses only the directory's address, so imports may exist although its size is 0.
std::vector<std::string> readImports(ByteView bytes, const Headers& headers, uint32_t directory,
                                     const std::vector<PeSectionPlace>& sections) {
  ImportTable table = {.directory = directory,
                       .headerBytes = headers.optional32(kOptionalSizeOfHeaders),
                       .wideThunks = headers.pe32Plus()};
  const PeAlignment alignment = {.inMemory = headers.optional32(kOptionalSectionAlignment),
                                 .inFile = headers.optional32(kOptionalFileAlignment)};
  std::vector<std::string> names = readImportNames(RvaMap(bytes, alignment, sections), table);
  if (!names.empty()) return names;
  table.headerBytes = 0;
  return readImportNames(RvaMap(bytes, /*alignment=*/{}, sections), table);
}

}  // namespace

PeInfo parsePe(ByteView bytes, uint64_t fileSize) {
  const std::optional<Headers> headers = Headers::find(bytes);
  if (!headers) return {};

  PeInfo info;
  info.isPe = true;
  info.isDll = (headers->file16(kFileCharacteristics) & kFileIsDll) != 0;
  info.machine = headers->file16(kFileMachine);
  info.subsystem = headers->optional16(kOptionalSubsystem);
  info.timeDateStamp = headers->file32(kFileTimeDateStamp);

  const DataDirectory imports = headers->directory(kImportDirectory);
  info.hasImports = imports.size != 0;
  info.hasResources = headers->directory(kResourceDirectory).size != 0;
  info.hasDebug = headers->directory(kDebugDirectory).size != 0;
  info.hasTls = headers->directory(kTlsDirectory).size != 0;

  const std::vector<PeSectionPlace> places = readSections(bytes, *headers, info);
  const uint64_t end = endOfRawData(info.sections);
  info.hasOverlay = fileSize > end;
  info.overlaySize = info.hasOverlay ? fileSize - end : 0;

  info.imports = readImports(bytes, *headers, imports.address, places);
  info.importCount = static_cast<uint32_t>(info.imports.size());
  return info;
}

}  // namespace korvel
