// Builds small but valid PE images for tests and samples: PE32 and PE32+, programs and libraries. What is not
// set has a value the loader accepts; hostile images are made by patching the result at the offsets given
// here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::test {

using Bytes = std::vector<uint8_t>;

inline constexpr uint32_t kPeCode = 0x60000020;          // code, readable, executable
inline constexpr uint32_t kPeReadOnlyData = 0x40000040;  // initialised data, readable
inline constexpr uint32_t kPeData = 0xC0000040;          // initialised data, readable, writable
inline constexpr uint32_t kPeRwx = 0xE0000060;           // code and data, readable, writable, executable

// Where things are in a built image.
inline constexpr size_t kPeSignatureAt = 0x80;
inline constexpr size_t kPeOptionalHeaderAt = kPeSignatureAt + 24;
inline constexpr size_t kPeSectionHeaderBytes = 40;
inline constexpr uint32_t kPeSectionAlignment = 0x1000;
inline constexpr uint32_t kPeFileAlignment = 0x200;

enum class PeKind { kPe32, kPe32Plus };
enum PeDirectory : uint32_t {
  kPeImportDirectory = 1,
  kPeResourceDirectory = 2,
  kPeDebugDirectory = 6,
  kPeTlsDirectory = 9,
};

struct PeSectionSpec {
  std::string name;  ///< at most 8 bytes
  uint32_t characteristics = kPeReadOnlyData;
  Bytes raw = {};            ///< padded to the file alignment with zero bytes
  uint32_t virtualSize = 0;  ///< 0 stands for the size of `raw`
};

class PeBuilder {
 public:
  explicit PeBuilder(PeKind kind = PeKind::kPe32Plus) : kind_(kind) {}

  PeBuilder& dll();                      ///< a library; a program otherwise
  PeBuilder& machine(uint16_t value);    ///< 0x8664 or 0x14C by default
  PeBuilder& subsystem(uint16_t value);  ///< console by default
  PeBuilder& timeStamp(uint32_t unixSeconds);
  PeBuilder& section(PeSectionSpec spec);
  /// Adds imports by name from one library, or one by ordinal. They go into a section ".idata" behind the
  /// others.
  PeBuilder& import(const std::string& library, const std::vector<std::string>& names);
  PeBuilder& importOrdinal(const std::string& library, uint16_t ordinal);
  /// Leaves the first of the two thunk tables out, as some linkers do.
  PeBuilder& withoutLookupTable();
  /// Sections are aligned as in the file, so that every address is also an offset in the file.
  PeBuilder& flat();
  PeBuilder& directory(uint32_t index, uint32_t address, uint32_t size);
  /// Bytes behind the last section.
  PeBuilder& overlay(Bytes bytes);

  Bytes build() const;

  size_t sectionHeaderAt(size_t index) const;      ///< offset in the file
  size_t directoryAt(uint32_t index) const;        ///< offset in the file
  uint32_t sectionAddress(size_t index) const;     ///< RVA
  uint32_t sectionRawPointer(size_t index) const;  ///< offset in the file

 private:
  struct Import {
    std::string library;
    std::string name;
    std::optional<uint16_t> ordinal;
  };
  struct Directory {
    uint32_t index;
    uint32_t address;
    uint32_t size;
  };
  struct Placed {
    PeSectionSpec spec;
    uint32_t address = 0;
    uint32_t rawPointer = 0;
    uint32_t rawSize = 0;
  };

  bool wide() const { return kind_ == PeKind::kPe32Plus; }
  uint32_t endInMemory(const Placed& placed) const;
  std::vector<Placed> placedSections() const;
  uint32_t headerBytes() const;
  size_t sectionCount() const { return sections_.size() + (imports_.empty() ? 0 : 1); }
  std::vector<std::string> importLibraries() const;
  std::vector<uint64_t> appendImportNames(const std::string& library, uint32_t address, Bytes& bytes) const;
  Bytes importSection(uint32_t address) const;
  void putWord(Bytes& image, size_t offset, uint64_t value) const;
  void writeFileHeader(size_t sectionCount, Bytes& image) const;
  void writeOptionalHeader(const std::vector<Placed>& placed, Bytes& image) const;
  void writeDirectories(const std::vector<Placed>& placed, Bytes& image) const;
  void writeSections(const std::vector<Placed>& placed, Bytes& image) const;

  PeKind kind_;
  bool dll_ = false;
  bool lookupTable_ = true;
  uint32_t sectionAlignment_ = kPeSectionAlignment;
  std::optional<uint16_t> machine_;
  uint16_t subsystem_ = 3;
  uint32_t timeStamp_ = 0x5F000000;
  std::vector<PeSectionSpec> sections_;
  std::vector<Import> imports_;
  std::vector<Directory> directories_;
  Bytes overlay_;
};

/// Little-endian stores into an image.
void put16(Bytes& image, size_t offset, uint16_t value);
void put32(Bytes& image, size_t offset, uint32_t value);
void put64(Bytes& image, size_t offset, uint64_t value);

Bytes bytesOf(std::string_view text);
/// 0, 1, ..., symbols - 1, 0, ...: an entropy of log2(symbols) when `symbols` divides `size`.
Bytes cyclingBytes(size_t size, unsigned symbols);
/// The same bytes on every run, with an entropy near 8.
Bytes noiseBytes(size_t size, uint32_t seed = 1);

}  // namespace korvel::test
