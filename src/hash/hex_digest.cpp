#include "hash/hex_digest.h"

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace korvel::hash {
namespace {

constexpr uint8_t kNotHex = 0xFF;

constexpr std::array<uint8_t, 256> makeNibbleTable() {
  std::array<uint8_t, 256> table{};
  table.fill(kNotHex);
  for (uint8_t digit = 0; digit < 10; ++digit) table[static_cast<size_t>('0' + digit)] = digit;
  for (uint8_t letter = 0; letter < 6; ++letter) {
    table[static_cast<size_t>('a' + letter)] = static_cast<uint8_t>(10 + letter);
    table[static_cast<size_t>('A' + letter)] = static_cast<uint8_t>(10 + letter);
  }
  return table;
}
constexpr std::array<uint8_t, 256> kNibbles = makeNibbleTable();

constexpr std::array<std::array<char, 2>, 256> makeHexPairs() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<std::array<char, 2>, 256> pairs{};
  for (size_t byte = 0; byte < pairs.size(); ++byte) pairs[byte] = {kDigits[byte >> 4], kDigits[byte & 0xF]};
  return pairs;
}
constexpr std::array<std::array<char, 2>, 256> kHexPairs = makeHexPairs();

bool decodeByte(const char* text, uint8_t& out) {
  const uint8_t high = kNibbles[static_cast<uint8_t>(text[0])];
  const uint8_t low = kNibbles[static_cast<uint8_t>(text[1])];
  out = static_cast<uint8_t>(high << 4 | low);
  return high != kNotHex && low != kNotHex;
}

#ifdef __SSE2__
constexpr size_t kBlockBytes = 8;

/// In each byte: all ones where `value` is at most `limit`, both unsigned.
__m128i atMost(__m128i value, char limit) {
  return _mm_cmpeq_epi8(_mm_min_epu8(value, _mm_set1_epi8(limit)), value);
}

/// Decodes 16 characters to 8 bytes; databases of a million lines need the speed.
bool decodeBlock(const char* text, uint8_t* out) {
  const __m128i chars = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const __m128i digit = _mm_sub_epi8(chars, _mm_set1_epi8('0'));
  const __m128i letter = _mm_sub_epi8(_mm_or_si128(chars, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
  const __m128i isDigit = atMost(digit, 9);
  const __m128i isLetter = atMost(letter, 5);
  if (_mm_movemask_epi8(_mm_or_si128(isDigit, isLetter)) != 0xFFFF) return false;
  const __m128i nibbles = _mm_or_si128(_mm_and_si128(isDigit, digit),
                                       _mm_and_si128(isLetter, _mm_add_epi8(letter, _mm_set1_epi8(10))));
  // The first character of a pair, the low byte of its 16-bit lane, is the high nibble.
  const __m128i pairs = _mm_or_si128(_mm_slli_epi16(nibbles, 4), _mm_srli_epi16(nibbles, 8));
  const __m128i bytes = _mm_and_si128(pairs, _mm_set1_epi16(0x00FF));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(bytes, bytes));
  return true;
}

/// Encodes 8 bytes to 16 characters.
void encodeBlock(const uint8_t* bytes, char* text) {
  const __m128i packed = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
  const __m128i high = _mm_and_si128(_mm_srli_epi16(packed, 4), _mm_set1_epi8(0x0F));
  const __m128i low = _mm_and_si128(packed, _mm_set1_epi8(0x0F));
  const __m128i nibbles = _mm_unpacklo_epi8(high, low);
  const __m128i isLetter = _mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9));
  const __m128i toLetter = _mm_and_si128(isLetter, _mm_set1_epi8('a' - '0' - 10));
  const __m128i chars = _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')), toLetter);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(text), chars);
}
#endif

}  // namespace

bool decodeHex(const char* text, size_t bytes, uint8_t* out) {
  size_t done = 0;
#ifdef __SSE2__
  for (; bytes - done >= kBlockBytes; done += kBlockBytes) {
    if (!decodeBlock(text + 2 * done, out + done)) return false;
  }
#endif
  for (; done < bytes; ++done) {
    if (!decodeByte(text + 2 * done, out[done])) return false;
  }
  return true;
}

void encodeHex(std::span<const uint8_t> bytes, char* out) {
#ifdef __SSE2__
  for (; bytes.size() >= kBlockBytes; bytes = bytes.subspan(kBlockBytes), out += 2 * kBlockBytes) {
    encodeBlock(bytes.data(), out);
  }
#endif
  for (const uint8_t byte : bytes) {
    std::memcpy(out, kHexPairs[byte].data(), 2);
    out += 2;
  }
}

std::string encodeHex(std::span<const uint8_t> bytes) {
  std::string text(2 * bytes.size(), '\0');
  encodeHex(bytes, text.data());
  return text;
}

bool Digest::parse(std::string_view text) {
  const size_t bytes = text.size() / 2;
  const bool known =
      text.size() % 2 == 0 && (bytes == kMd5Bytes || bytes == kSha1Bytes || bytes == kSha256Bytes);
  size_ = known && decodeHex(text.data(), bytes, bytes_.data()) ? bytes : 0;
  return size_ != 0;
}

}  // namespace korvel::hash
