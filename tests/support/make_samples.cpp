// make_samples FOLDER: fills a folder with harmless files, some of which the service must report. Nothing in
// them does any harm: the EICAR file is the industry's agreed test file, and the programs end at once.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include "base/utf.h"
#include "support/pe_builder.h"
#include "support/temp_folder.h"

namespace korvel::test {
namespace {

/// The test file of eicar.org, 68 bytes. In pieces, so that scanners do not take this source for it.
std::string eicarText() {
  return std::string("X5O!P%@AP[4\\PZX54(P^)7CC)7}") + "$EICAR-STANDARD" + "-ANTIVIRUS-TEST" + "-FILE!$H+H*";
}

std::string textOf(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

/// A program in which the analysis finds nothing: code that returns 0, and one ordinary import.
std::string plainProgram() {
  const Bytes code = {0x31, 0xC0, 0xC3};  // xor eax, eax; ret
  return textOf(PeBuilder()
                    .section({.name = ".text", .characteristics = kPeCode, .raw = code})
                    .import("KERNEL32.dll", {"ExitProcess"})
                    .build());
}

/// What a packer leaves: an empty section to unpack into and a dense one, both writable and executable.
std::string packedProgram() {
  return textOf(
      PeBuilder()
          .section({.name = "UPX0", .characteristics = kPeRwx, .raw = {}, .virtualSize = 0x8000})
          .section({.name = "UPX1", .characteristics = kPeRwx, .raw = noiseBytes(0x4000)})
          .import("KERNEL32.dll", {"LoadLibraryA", "GetProcAddress", "VirtualProtect", "ExitProcess"})
          .build());
}

void makeSamples(const std::wstring& folder) {
  const auto put = [&folder](const wchar_t* name, const std::string& bytes) {
    writeFile(folder + L"\\" + name, bytes);
    std::printf("%s\\%s\n", toUtf8(folder).c_str(), toUtf8(name).c_str());
  };
  put(L"eicar.com", eicarText());
  put(L"invoice.pdf.exe", plainProgram());
  put(L"packed.exe", packedProgram());
  put(L"Downloads\\svchost.exe", plainProgram());
  put(L"clean.exe", plainProgram());
  put(L"clean.txt", "Nothing to see here.\n");
}

}  // namespace
}  // namespace korvel::test

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_samples FOLDER\n");
    return 64;
  }
  try {
    korvel::test::makeSamples(argv[1]);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "make_samples: %s\n", problem.what());
    return 1;
  }
  return 0;
}
