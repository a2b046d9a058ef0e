// A folder of its own and a signature database made for one test.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "scan/directory_walk.h"
#include "scan/file_scanner.h"
#include "signatures/signature_database.h"
#include "support/temp_folder.h"

namespace korvel::test {

class ScanFixture : public testing::Test {
 protected:
  /// A database of the given signature lines.
  std::shared_ptr<const SignatureDatabase> databaseOf(const std::string& lines) {
    auto database = std::make_shared<SignatureDatabase>();
    std::string error;
    EXPECT_TRUE(database->loadFile(signatures_.write(L"signatures.txt", lines), &error)) << error;
    return database;
  }

  TempFolder folder_;
  TempFolder signatures_;
};

// The digests of the three bytes "abc" (RFC 1321 and FIPS 180-4 test vectors).
inline constexpr const char* kAbcMd5 = "900150983cd24fb0d6963f7d28e17f72";
inline constexpr const char* kAbcSha1 = "a9993e364706816aba3e25717850c26c9cd0d89d";
inline constexpr const char* kAbcSha256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

}  // namespace korvel::test
