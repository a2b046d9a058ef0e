// The lines of a signature file that arrives in pieces, cut anywhere. Nearly every line of a large file is
// only a SHA-256 digest, so those are handed over decoded. Pure.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "hash/hex_digest.h"
#include "signatures/signature_text.h"

namespace korvel::sig {

using Sha256Key = std::array<uint8_t, hash::kSha256Bytes>;

/// Calls `handler.bareLine(const Sha256Key&, std::string_view)` for a line of exactly 64 hexadecimal digits,
/// as far as it lies in one piece, and `handler.line(std::string_view)` for every other, without its LF. An
/// empty rest after the last LF is no line. Throws std::length_error for a line that is longer than the
/// service's reader takes. Not thread-safe.
template <typename Handler>
class LinePieces {
 public:
  explicit LinePieces(Handler& handler) : handler_(handler) {}

  void feed(std::string_view piece) {
    if (!carried_.empty()) {
      const size_t end = piece.find('\n');
      carry(piece.substr(0, end));
      if (end == std::string_view::npos) return;
      handler_.line(std::string_view(carried_));
      carried_.clear();
      piece.remove_prefix(end + 1);
    }
    while (!piece.empty()) {
      Sha256Key key;
      if (piece.size() > kBareChars && piece[kBareChars] == '\n' &&
          hash::decodeHex(piece.data(), key.size(), key.data())) {
        handler_.bareLine(key, piece.substr(0, kBareChars));
        piece.remove_prefix(kBareChars + 1);
        continue;
      }
      const size_t end = piece.find('\n');
      if (end == std::string_view::npos) return carry(piece);
      handler_.line(piece.substr(0, end));
      piece.remove_prefix(end + 1);
    }
  }

  /// Ends the last line.
  void finish() {
    if (!carried_.empty()) handler_.line(std::string_view(carried_));
    carried_.clear();
  }

 private:
  static constexpr size_t kBareChars = 2 * hash::kSha256Bytes;

  void carry(std::string_view part) {
    if (part.size() > SignatureFileParser::kMaxLineBytes - carried_.size()) {
      throw std::length_error("a line is longer than 64 MiB");
    }
    carried_ += part;
  }

  Handler& handler_;
  std::string carried_;  ///< the beginning of a line that is not complete yet
};

}  // namespace korvel::sig
