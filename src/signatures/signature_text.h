// Parses the text of a signature file: header lines, comments, and one entry per line. Pure.
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
// Lines end in LF; one CR before the LF is not part of the line. Nothing is trimmed. Any other line is
// skipped; neither the header nor the SIZE is checked.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/sizes.h"
#include "hash/hex_digest.h"
#include "signatures/signature_records.h"
#include "signatures/signature_table.h"

namespace korvel {

/// The content of one file.
struct SignatureFile {
  SignatureTable table;
  std::string version;     ///< of the last VERSION line
  uint64_t generated = 0;  ///< of the last GENERATED line; read as by strtoull
};

/// Parses one entry line, without its line end. False when it is not a valid entry. The fields borrow from
/// the line. Thread-safe.
bool parseSignatureEntry(std::string_view line, hash::Digest& digest, SignatureFields& fields);

/// Parses a file in pieces of any size. Throws std::bad_alloc, and std::length_error when a limit is
/// exceeded: kMaxLineBytes for a line that may matter, 2^32 - 1 entries of a kind. Other lines may have any
/// length and cost almost no memory. Not thread-safe; after an exception the parser can only be destroyed.
class SignatureFileParser {
 public:
  static constexpr size_t kMaxLineBytes = 64 * kMiB;

  /// `fileBytes` is a hint of the whole size.
  explicit SignatureFileParser(uint64_t fileBytes) { builder_.expect(fileBytes); }

  void feed(std::string_view piece);
  /// Ends the file and its last line. Call once, as the last function.
  SignatureFile finish();

 private:
  bool addBareLine(const char* text);
  void addLine(std::string_view line);
  void carry(std::string_view part);
  std::string_view endCarriedLine(std::string_view piece);

  SignatureTableBuilder builder_;
  std::string version_;
  uint64_t generated_ = 0;
  std::string carried_;    ///< the beginning of a line that is not complete yet
  bool skipping_ = false;  ///< the rest of the current line is ignored
};

/// Parses a whole file at once.
SignatureFile parseSignatureText(std::string_view text);

}  // namespace korvel
