// The files that a database is built from: signature files, tables of facts, and plain lists of hashes. Pure;
// not thread-safe.
//
//   facts    tab-separated, the first line is "digest<TAB>threat name<TAB>family<TAB>severity<TAB>source"
//   hashes   one digest per line; anything after the first blank is ignored, "#" begins a comment
//   KORVELDB the form that the service reads, see signatures/signature_text.h
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "korvelsig/finding.h"
#include "signatures/signature_table.h"

namespace korvel::sig {

enum class InputForm { kDatabase, kFacts, kHashes };

/// "signature file", "facts" or "list of hashes".
const char* inputFormName(InputForm form);

/// The form of a file that begins with `beginning`: its first line that is neither empty nor a comment
/// decides.
InputForm inputFormOf(std::string_view beginning);

/// The entries of one input. Lines with an error are not among them.
struct SignatureInput {
  SignatureTable table;
  std::string version;     ///< of a signature file
  uint64_t generated = 0;  ///< of a signature file
  uint64_t entryLines = 0;
  std::vector<Finding> findings;  ///< repeated lines are among them only where the digests ascend
};

/// Reads an input of any form in pieces of any size. Throws as SignatureFileParser does.
class SignatureInputReader {
 public:
  /// `fileBytes` is a hint.
  explicit SignatureInputReader(uint64_t fileBytes);
  ~SignatureInputReader();

  void feed(std::string_view piece);
  /// Call once, as the last function.
  SignatureInput finish();

  /// How the lines of one form are read.
  class Form;

 private:
  void decideForm();

  SignatureTableBuilder builder_;
  std::string beginning_;  ///< until the form is known
  std::unique_ptr<Form> form_;
};

}  // namespace korvel::sig
