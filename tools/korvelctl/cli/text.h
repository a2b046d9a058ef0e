// A text in both languages. Texts of one command group stand together in cli/words/, as constants that are
// not inline: two groups may use the same name for different texts. Both languages are there, with the same
// places to fill in, or the text does not compile. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>

namespace korvel::ctl {

enum class Language { kEnglish, kRussian };

/// UTF-8; "{0}" to "{9}" are places that filled() fills in.
class Text {
 public:
  consteval Text(const char* english, const char* russian) : english_(english), russian_(russian) {
    const std::string_view en(english), ru(russian);
    if (en.empty() || ru.empty()) throw std::logic_error("a text misses one language");
    for (char digit = '0'; digit <= '9'; ++digit) {
      const char place[] = {'{', digit, '}', '\0'};
      if ((en.find(place) == en.npos) != (ru.find(place) == ru.npos))
        throw std::logic_error("the two languages of a text have different places");
    }
  }

  constexpr const char* in(Language language) const {
    return language == Language::kRussian ? russian_ : english_;
  }

 private:
  const char* english_;
  const char* russian_;
};

/// `text` with "{0}", "{1}" and so on replaced by `values`. Values are not searched for places.
std::string filled(std::string_view text, std::initializer_list<std::string_view> values);

inline std::string filled(const Text& text, Language language,
                          std::initializer_list<std::string_view> values) {
  return filled(text.in(language), values);
}

/// A noun behind a number. Russian has three forms: 1 файл, 2 файла, 5 файлов.
struct Plural {
  const char* english[2];  ///< one, several
  const char* russian[3];  ///< 1, 2 to 4, 5 and more
};

/// The form of the noun alone.
const char* nounFor(uint64_t count, const Plural& noun, Language language);

}  // namespace korvel::ctl
