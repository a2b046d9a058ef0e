#include "korvelctl/cli/text.h"

namespace korvel::ctl {

std::string filled(std::string_view text, std::initializer_list<std::string_view> values) {
  std::string result;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool place = text[i] == '{' && i + 2 < text.size() && text[i + 2] == '}' && text[i + 1] >= '0' &&
                       static_cast<size_t>(text[i + 1] - '0') < values.size();
    if (place) {
      result += values.begin()[text[i + 1] - '0'];
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

const char* nounFor(uint64_t count, const Plural& noun, Language language) {
  if (language == Language::kEnglish) return noun.english[count == 1 ? 0 : 1];
  const uint64_t tens = count % 100, ones = count % 10;
  if (tens >= 11 && tens <= 14) return noun.russian[2];
  if (ones == 1) return noun.russian[0];
  return noun.russian[ones >= 2 && ones <= 4 ? 1 : 2];
}

}  // namespace korvel::ctl
