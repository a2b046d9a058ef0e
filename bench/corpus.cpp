#include "corpus.h"

#include <algorithm>
#include <random>

namespace korvel::bench {
namespace {

using test::Bytes;
using test::PeBuilder;

constexpr const char* kFunctions[] = {"CreateFileW",        "ReadFile",  "CloseHandle", "GetLastError",
                                      "HeapAlloc",          "HeapFree",  "LocalFree",   "GetModuleHandleW",
                                      "ExitProcess",        "WriteFile", "SetEvent",    "Sleep",
                                      "WaitForSingleObject"};
constexpr const char* kWords[] = {"set",   "path",  "echo",   "value", "copy",
                                  "files", "name=", "%TEMP%", "if",    "exist"};

/// Bytes that occur as unevenly as those of machine code: few values make up most of it, zero above all.
Bytes codeBytes(std::mt19937& random, size_t size) {
  Bytes bytes(size);
  for (size_t at = 0; at < size; at += 4) {
    auto bits = static_cast<uint32_t>(random());
    const uint32_t kind = bits >> 30;
    for (size_t i = at; i < std::min(size, at + 4); ++i, bits >>= 7) {
      bytes[i] = static_cast<uint8_t>(kind == 0 ? bits & 0xFF : kind == 1 ? 0 : (bits & 0x1F) * 9);
    }
  }
  return bytes;
}

}  // namespace

Bytes peImage(uint32_t seed, size_t bytes) {
  std::mt19937 random(seed);
  const size_t room = std::max<size_t>(bytes, 16'384) - 4'096;
  PeBuilder image;
  image.section({".text", test::kPeCode, codeBytes(random, room * 5 / 8)});
  image.section({".rdata", test::kPeReadOnlyData, codeBytes(random, room * 2 / 8)});
  image.section({".data", test::kPeData, codeBytes(random, room / 8)});
  image.import("KERNEL32.dll", {std::begin(kFunctions), std::end(kFunctions)});
  return image.build();
}

Bytes smallImage(uint32_t seed) {
  std::mt19937 random(seed);
  PeBuilder image;
  image.section({".text", test::kPeCode, codeBytes(random, 512 + random() % 3'072)});
  image.import("KERNEL32.dll", {"ExitProcess"});
  return image.build();
}

Bytes overlappingImage(size_t sections, size_t bytes) {
  PeBuilder image;
  for (size_t i = 0; i < sections; ++i)
    image.section({".s", test::kPeReadOnlyData, {}, /*virtualSize=*/4'096});
  std::mt19937 random(1);
  image.overlay(codeBytes(random, bytes));
  Bytes built = image.build();
  constexpr size_t kRawSizeInHeader = 16;
  for (size_t i = 0; i < sections; ++i) {
    // No two sections begin or end at the same byte.
    const auto start = static_cast<uint32_t>(i);
    test::put32(built, image.sectionHeaderAt(i) + kRawSizeInHeader, static_cast<uint32_t>(bytes) - 2 * start);
    test::put32(built, image.sectionHeaderAt(i) + kRawSizeInHeader + 4, start);
  }
  return built;
}

std::string scriptText(uint32_t seed, size_t bytes) {
  std::mt19937 random(seed);
  std::string text = "@echo off\r\n";
  while (text.size() < bytes) {
    for (int word = 0; word < 8; ++word) text.append(kWords[random() % std::size(kWords)]).push_back(' ');
    text += std::to_string(random()) + "\r\n";
  }
  text.resize(bytes);
  return text;
}

}  // namespace korvel::bench
