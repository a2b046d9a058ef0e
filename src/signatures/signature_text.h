// The text of a signature file: header lines, comments, and one entry a line. Pure.
//
//   # comment
//   KORVELDB/1
//   VERSION live-20261115
//   GENERATED 1794787200
//   SIZE 3
//   <digest>                                                   only a digest; the name is the generic one
//   <digest>:<threat name>[:<family>[:ignored...]]             short form
//   <digest>:<tag>:<family>:<severity>:<threat name>:<reference>[:ignored...]   long form, not for MD5
//
// Lines end in LF; one CR before it is not part of the line. Nothing is trimmed. A line that is none of these
// is skipped; neither the header nor the SIZE is checked.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/sizes.h"
#include "hash/hex_digest.h"
#include "signatures/signature_records.h"
#include "signatures/signature_table.h"

namespace korvel {

/// What one file says.
struct SignatureFile {
  SignatureTable table;
  std::string version;     ///< of the last VERSION line
  uint64_t generated = 0;  ///< of the last GENERATED line; read as by strtoull
};

/// Reads one entry line, without its line end. False when it is not a valid entry. The fields borrow from the
/// line. Thread-safe.
bool parseSignatureEntry(std::string_view line, hash::Digest& digest, SignatureFields& fields);

/// Takes a file in pieces of any size. Throws std::bad_alloc, and std::length_error for what cannot be held:
/// a line of more than kMaxLineBytes whose text would matter, or 2^32 entries. Lines of any length that do
/// not matter cost no memory. Not thread-safe; after an exception it can only be destroyed.
class SignatureFileParser {
 public:
  static constexpr size_t kMaxLineBytes = 64 * kMiB;

  /// `fileBytes` is a hint of the whole size.
  explicit SignatureFileParser(uint64_t fileBytes) { builder_.expect(fileBytes); }

  void feed(std::string_view piece);
  /// The end of the file, which also ends its last line. Once, as the last call.
  SignatureFile finish();

 private:
  bool addBareLine(const char* text);
  void addLine(std::string_view line);
  void carry(std::string_view part);
  std::string_view endCarriedLine(std::string_view piece);

  SignatureTableBuilder builder_;
  std::string version_;
  uint64_t generated_ = 0;
  std::string carried_;    ///< the beginning of a line whose end has not come yet
  bool skipping_ = false;  ///< that line does not matter; nothing more of it is kept
};

/// A whole file at once.
SignatureFile parseSignatureText(std::string_view text);

}  // namespace korvel
