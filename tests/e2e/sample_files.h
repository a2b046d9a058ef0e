// Files for the service to scan.
#pragma once

#include <string>

namespace korvel::test {

/// The EICAR test file, 68 bytes, harmless and known to every scanner.
std::string eicarText();
inline constexpr char kEicarSha256[] = "275a021bbfb6489e54d471899f7db9d1663fc695ec2fe2a2c4538aabf651fd0f";

/// A signature file that knows the EICAR test file only.
std::string eicarSignatures();

/// A folder with many small directories of empty programs: long to count. Made once per process.
const std::wstring& manyEmptyFiles();
/// A folder with `kManyPrograms` names of one file of 256 KiB: long to scan. Made once per process.
const std::wstring& manyPrograms();
inline constexpr int kManyPrograms = 3'000;

/// Makes a program of 500 MiB of zeros, just below the limit of a scan: long to scan. It takes no room on
/// disk.
void writeLargeProgram(const std::wstring& path);
/// True while the file is open for someone who lets others only read it, as a scan does.
bool isBeingRead(const std::wstring& path);

}  // namespace korvel::test
