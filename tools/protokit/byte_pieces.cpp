#include "protokit/byte_pieces.h"

#include <charconv>
#include <stdexcept>

#include "base/sizes.h"

namespace korvel::kit {
namespace {

constexpr size_t kMostBytes = 64 * kMiB;

int digitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

size_t countOf(std::string_view text) {
  size_t count = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (problem != std::errc() || end != text.data() + text.size())
    throw std::invalid_argument("\"" + std::string(text) + "\" is no number of repetitions");
  return count;
}

void appendPiece(std::string& bytes, std::string_view piece) {
  const size_t star = piece.find('*');
  const std::string once = bytesOfHex(piece.substr(0, star));
  const size_t times = star == piece.npos ? 1 : countOf(piece.substr(star + 1));
  if (!once.empty() && times > (kMostBytes - bytes.size()) / once.size())
    throw std::invalid_argument("more than 64 MiB of bytes");
  for (size_t i = 0; i < times && !once.empty(); ++i) bytes += once;
}

}  // namespace

std::string hexOf(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char c : bytes) {
    text += kDigits[static_cast<uint8_t>(c) >> 4];
    text += kDigits[static_cast<uint8_t>(c) & 15];
  }
  return text;
}

std::string bytesOfHex(std::string_view hex) {
  std::string bytes;
  for (size_t i = 0; i < hex.size();) {
    if (isBlank(hex[i])) {
      ++i;
      continue;
    }
    const int high = digitOf(hex[i]);
    const int low = i + 1 < hex.size() ? digitOf(hex[i + 1]) : -1;
    if (high < 0 || low < 0) throw std::invalid_argument("not a byte in hexadecimal digits");
    bytes.push_back(static_cast<char>(high << 4 | low));
    i += 2;
  }
  return bytes;
}

std::string bytesOfPieces(const Json& pieces) {
  std::string bytes;
  if (pieces.is_string()) {
    appendPiece(bytes, pieces.get<std::string>());
    return bytes;
  }
  if (!pieces.is_array()) throw std::invalid_argument("bytes are a text or a list of texts");
  for (const Json& piece : pieces) {
    if (!piece.is_string()) throw std::invalid_argument("a piece of bytes is a text");
    appendPiece(bytes, piece.get<std::string>());
  }
  return bytes;
}

}  // namespace korvel::kit
