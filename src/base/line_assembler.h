// Lines out of text that arrives in pieces, cut anywhere. Pure.
#pragma once

#include <string>
#include <string_view>

namespace korvel {

/// A line ends with a line feed, which does not belong to it. Only a line that a piece leaves unfinished is
/// copied. Not thread-safe.
class LineAssembler {
 public:
  /// Hands every line that ends in this piece to `takeLine(line)`.
  template <typename TakeLine>
  void take(std::string_view piece, const TakeLine& takeLine) {
    if (!partialLine_.empty()) {
      const size_t end = piece.find('\n');
      partialLine_.append(piece.substr(0, end));
      if (end == std::string_view::npos) return;
      takeLine(partialLine_);
      partialLine_.clear();
      piece.remove_prefix(end + 1);
    }
    for (size_t end; (end = piece.find('\n')) != std::string_view::npos; piece.remove_prefix(end + 1)) {
      takeLine(piece.substr(0, end));
    }
    partialLine_.assign(piece);
  }

  /// Hands the last line over, which has no line feed, and begins anew.
  template <typename TakeLine>
  void finish(const TakeLine& takeLine) {
    takeLine(partialLine_);
    partialLine_.clear();
  }

 private:
  std::string partialLine_;
};

}  // namespace korvel
