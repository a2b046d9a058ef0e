// One line of a signature file, read with all its fields and not only with those that the service stores. The
// service's own reader (signatures/signature_text.h) skips what it does not want without a word; this one
// says why. Both must agree on what a line means: the tests hold one against the other. Pure and thread-safe.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "hash/hex_digest.h"
#include "korvelsig/finding.h"
#include "signatures/signature_records.h"

namespace korvel::sig {

enum class LineKind {
  kComment,  ///< or empty
  kHeader,
  kVersion,
  kGenerated,
  kSize,
  kEntry,
  kSkipped,  ///< neither of these: the service passes over it
};

/// The texts borrow from the line.
struct SignatureLine {
  static constexpr size_t kKeptFields = 6;

  LineKind kind = LineKind::kComment;
  std::string_view text;   ///< the line without the CR that its end may have
  std::string_view value;  ///< of a header or keyword line: what follows the keyword

  // Of an entry or a skipped line.
  std::array<std::string_view, kKeptFields> fields;  ///< the first ones, the digest included
  size_t fieldCount = 0;                             ///< of all
  // Of an entry.
  hash::Digest digest;
  bool longForm = false;
  SignatureFields entry;  ///< as the service reads it
};

/// `line` is without its LF.
SignatureLine readSignatureLine(std::string_view line);

/// Appends what there is to say about the line alone.
void findInLine(const SignatureLine& line, uint64_t number, std::vector<Finding>& findings);

/// Appends what there is to say about the texts of an entry, wherever they come from. `reference` may hold
/// blanks inside: it is prose or a link.
void findInTexts(const SignatureFields& entry, uint64_t number, std::vector<Finding>& findings);

/// Why `field` is no digest: E01 or E02.
Finding digestFinding(std::string_view field, uint64_t number);

}  // namespace korvel::sig
