#include "support/pe_builder.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace korvel::test {
namespace {

constexpr uint16_t kMachineX64 = 0x8664;
constexpr uint16_t kMachineX86 = 0x14C;
constexpr size_t kOptionalHeaderBytesPe32 = 224;
constexpr size_t kOptionalHeaderBytesPe32Plus = 240;
constexpr uint32_t kDirectoryCount = 16;
constexpr size_t kDescriptorBytes = 20;
constexpr uint32_t kExecutable = 0x20000000;

constexpr uint32_t alignedUp(uint64_t value, uint32_t alignment) {
  return static_cast<uint32_t>((value + alignment - 1) / alignment * alignment);
}

void putText(Bytes& bytes, size_t offset, std::string_view text) {
  std::copy(text.begin(), text.end(), bytes.begin() + static_cast<ptrdiff_t>(offset));
}

void appendText(Bytes& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes.push_back(0);
}

uint32_t memorySize(const PeSectionSpec& spec) {
  return spec.virtualSize != 0 ? spec.virtualSize : static_cast<uint32_t>(spec.raw.size());
}

}  // namespace

PeBuilder& PeBuilder::dll() {
  dll_ = true;
  return *this;
}

PeBuilder& PeBuilder::machine(uint16_t value) {
  machine_ = value;
  return *this;
}

PeBuilder& PeBuilder::subsystem(uint16_t value) {
  subsystem_ = value;
  return *this;
}

PeBuilder& PeBuilder::timeStamp(uint32_t unixSeconds) {
  timeStamp_ = unixSeconds;
  return *this;
}

PeBuilder& PeBuilder::section(PeSectionSpec spec) {
  if (spec.name.size() > 8) throw std::invalid_argument("section name longer than 8 bytes");
  sections_.push_back(std::move(spec));
  return *this;
}

PeBuilder& PeBuilder::import(const std::string& library, const std::vector<std::string>& names) {
  for (const std::string& name : names) imports_.push_back({library, name, std::nullopt});
  return *this;
}

PeBuilder& PeBuilder::importOrdinal(const std::string& library, uint16_t ordinal) {
  imports_.push_back({library, {}, ordinal});
  return *this;
}

PeBuilder& PeBuilder::withoutLookupTable() {
  lookupTable_ = false;
  return *this;
}

PeBuilder& PeBuilder::flat() {
  sectionAlignment_ = kPeFileAlignment;
  return *this;
}

PeBuilder& PeBuilder::directory(uint32_t index, uint32_t address, uint32_t size) {
  directories_.push_back({index, address, size});
  return *this;
}

PeBuilder& PeBuilder::overlay(Bytes bytes) {
  overlay_ = std::move(bytes);
  return *this;
}

size_t PeBuilder::sectionHeaderAt(size_t index) const {
  return kPeOptionalHeaderAt + (wide() ? kOptionalHeaderBytesPe32Plus : kOptionalHeaderBytesPe32) +
         index * kPeSectionHeaderBytes;
}

size_t PeBuilder::directoryAt(uint32_t index) const {
  return kPeOptionalHeaderAt + (wide() ? 112 : 96) + size_t{index} * 8;
}

uint32_t PeBuilder::sectionAddress(size_t index) const { return placedSections().at(index).address; }
uint32_t PeBuilder::sectionRawPointer(size_t index) const { return placedSections().at(index).rawPointer; }

uint32_t PeBuilder::headerBytes() const {
  return alignedUp(sectionHeaderAt(sectionCount()), kPeFileAlignment);
}

std::vector<PeBuilder::Placed> PeBuilder::placedSections() const {
  std::vector<Placed> placed;
  uint32_t address = alignedUp(headerBytes(), sectionAlignment_);
  uint32_t rawPointer = headerBytes();
  const auto place = [&](const PeSectionSpec& spec) {
    const uint32_t rawSize = alignedUp(spec.raw.size(), kPeFileAlignment);
    placed.push_back({spec, address, rawSize != 0 ? rawPointer : 0, rawSize});
    address = endInMemory(placed.back());
    rawPointer += rawSize;
  };
  for (const PeSectionSpec& spec : sections_) place(spec);
  if (!imports_.empty()) place({".idata", kPeData, importSection(address), 0});
  return placed;
}

uint32_t PeBuilder::endInMemory(const Placed& placed) const {
  return alignedUp(uint64_t{placed.address} + std::max(memorySize(placed.spec), 1u), sectionAlignment_);
}

std::vector<std::string> PeBuilder::importLibraries() const {
  std::vector<std::string> libraries;
  for (const Import& import : imports_) {
    if (std::find(libraries.begin(), libraries.end(), import.library) == libraries.end()) {
      libraries.push_back(import.library);
    }
  }
  return libraries;
}

/// Appends the names that one library's imports refer to; returns its thunks, the closing zero included.
std::vector<uint64_t> PeBuilder::appendImportNames(const std::string& library, uint32_t address,
                                                   Bytes& bytes) const {
  std::vector<uint64_t> thunks;
  for (const Import& import : imports_) {
    if (import.library != library) continue;
    if (import.ordinal) {
      thunks.push_back(uint64_t{1} << (wide() ? 63 : 31) | *import.ordinal);
      continue;
    }
    if (bytes.size() % 2 != 0) bytes.push_back(0);
    thunks.push_back(address + bytes.size());
    bytes.insert(bytes.end(), 2, 0);  // the hint
    appendText(bytes, import.name);
  }
  thunks.push_back(0);
  return thunks;
}

/// Descriptors, then for each library its one or two thunk tables, then all texts.
Bytes PeBuilder::importSection(uint32_t address) const {
  const std::vector<std::string> libraries = importLibraries();
  const size_t thunkBytes = wide() ? 8 : 4;
  const size_t tables = lookupTable_ ? 2 : 1;
  size_t thunksAt = alignedUp((libraries.size() + 1) * kDescriptorBytes, 8);
  Bytes bytes(thunksAt + (imports_.size() + libraries.size()) * thunkBytes * tables);
  for (size_t i = 0; i < libraries.size(); ++i) {
    const size_t descriptor = i * kDescriptorBytes;
    put32(bytes, descriptor + 12, static_cast<uint32_t>(address + bytes.size()));
    appendText(bytes, libraries[i]);
    const std::vector<uint64_t> thunks = appendImportNames(libraries[i], address, bytes);
    for (size_t table = 0; table < tables; ++table) {
      const bool last = table + 1 == tables;
      put32(bytes, descriptor + (last ? 16 : 0), static_cast<uint32_t>(address + thunksAt));
      for (const uint64_t thunk : thunks) {
        putWord(bytes, thunksAt, thunk);
        thunksAt += thunkBytes;
      }
    }
  }
  return bytes;
}

void PeBuilder::putWord(Bytes& image, size_t offset, uint64_t value) const {
  if (wide()) return put64(image, offset, value);
  put32(image, offset, static_cast<uint32_t>(value));
}

void PeBuilder::writeFileHeader(size_t sectionCount, Bytes& image) const {
  putText(image, 0, "MZ");
  put32(image, 0x3C, kPeSignatureAt);
  putText(image, kPeSignatureAt, "PE");
  put16(image, kPeSignatureAt + 4, machine_.value_or(wide() ? kMachineX64 : kMachineX86));
  put16(image, kPeSignatureAt + 6, static_cast<uint16_t>(sectionCount));
  put32(image, kPeSignatureAt + 8, timeStamp_);
  put16(image, kPeSignatureAt + 20, static_cast<uint16_t>(sectionHeaderAt(0) - kPeOptionalHeaderAt));
  // Executable, relocations stripped, and large-address aware or 32-bit.
  const int kind = 0x0003 | (wide() ? 0x0020 : 0x0100) | (dll_ ? 0x2000 : 0);
  put16(image, kPeSignatureAt + 22, static_cast<uint16_t>(kind));
}

void PeBuilder::writeOptionalHeader(const std::vector<Placed>& placed, Bytes& image) const {
  constexpr size_t at = kPeOptionalHeaderAt;
  put16(image, at, wide() ? 0x20B : 0x10B);
  image[at + 2] = 14;  // linker version
  for (const Placed& p : placed) {
    if ((p.spec.characteristics & kExecutable) == 0) continue;
    put32(image, at + 16, p.address);  // entry point: the start of the first code section
    put32(image, at + 20, p.address);  // base of code
    break;
  }
  if (wide()) {
    put64(image, at + 24, dll_ ? 0x180000000 : 0x140000000);
  } else {
    put32(image, at + 28, dll_ ? 0x10000000 : 0x400000);
  }
  put32(image, at + 32, sectionAlignment_);
  put32(image, at + 36, kPeFileAlignment);
  put16(image, at + 40, 6);  // operating system version
  put16(image, at + 48, 6);  // subsystem version
  put32(image, at + 56,
        placed.empty() ? alignedUp(headerBytes(), sectionAlignment_) : endInMemory(placed.back()));
  put32(image, at + 60, headerBytes());
  put16(image, at + 68, subsystem_);
  put16(image, at + 70, 0x0100);  // compatible with data execution prevention
  constexpr uint32_t stackAndHeap[] = {0x100000, 0x1000, 0x100000, 0x1000};  // reserve and commit of each
  for (size_t i = 0; i < std::size(stackAndHeap); ++i)
    putWord(image, at + 72 + i * (wide() ? 8 : 4), stackAndHeap[i]);
  put32(image, directoryAt(0) - 4, kDirectoryCount);
}

void PeBuilder::writeDirectories(const std::vector<Placed>& placed, Bytes& image) const {
  const auto write = [&](uint32_t index, uint32_t address, uint32_t size) {
    put32(image, directoryAt(index), address);
    put32(image, directoryAt(index) + 4, size);
  };
  if (!imports_.empty()) {
    const size_t descriptors = importLibraries().size() + 1;
    write(kPeImportDirectory, placed.back().address, static_cast<uint32_t>(descriptors * kDescriptorBytes));
  }
  for (const Directory& directory : directories_) write(directory.index, directory.address, directory.size);
}

void PeBuilder::writeSections(const std::vector<Placed>& placed, Bytes& image) const {
  for (size_t i = 0; i < placed.size(); ++i) {
    const size_t header = sectionHeaderAt(i);
    putText(image, header, placed[i].spec.name);
    put32(image, header + 8, memorySize(placed[i].spec));
    put32(image, header + 12, placed[i].address);
    put32(image, header + 16, placed[i].rawSize);
    put32(image, header + 20, placed[i].rawPointer);
    put32(image, header + 36, placed[i].spec.characteristics);
  }
  for (const Placed& p : placed) {
    image.insert(image.end(), p.spec.raw.begin(), p.spec.raw.end());
    image.resize(image.size() + p.rawSize - p.spec.raw.size());
  }
}

Bytes PeBuilder::build() const {
  const std::vector<Placed> placed = placedSections();
  Bytes image(headerBytes());
  writeFileHeader(placed.size(), image);
  writeOptionalHeader(placed, image);
  writeDirectories(placed, image);
  writeSections(placed, image);
  image.insert(image.end(), overlay_.begin(), overlay_.end());
  return image;
}

void put16(Bytes& image, size_t offset, uint16_t value) {
  for (size_t i = 0; i < 2; ++i) image.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
}

void put32(Bytes& image, size_t offset, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) image.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
}

void put64(Bytes& image, size_t offset, uint64_t value) {
  for (size_t i = 0; i < 8; ++i) image.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
}

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

Bytes cyclingBytes(size_t size, unsigned symbols) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i % symbols);
  return bytes;
}

Bytes noiseBytes(size_t size, uint32_t seed) {
  Bytes bytes(size);
  uint32_t state = seed;
  for (uint8_t& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(state >> 24);
  }
  return bytes;
}

}  // namespace korvel::test
