#include "korvelctl/machine/whole_path.h"

#include <string_view>

#include "base/long_path.h"
#include "base/utf.h"
#include "korvelctl/cli/failure.h"
#include "korvelctl/cli/words/scan_words.h"
#include "korvelctl/render/printable.h"

namespace korvel::ctl {

std::wstring wholePath(const std::string& given, Language language) {
  constexpr std::wstring_view kPrefix = L"\\\\?\\";
  constexpr std::wstring_view kSharePrefix = L"\\\\?\\UNC\\";
  const std::wstring path = toWide(given);
  std::wstring whole = forFileApi(path);
  if (whole.empty()) throw Failure(ErrorKind::kUsage, filled(words::kNotAPath, language, {printable(given)}));
  if (whole == path) return whole;  // a device path
  // Without the prefix it reads as people write it; the service puts the prefix back.
  if (whole.starts_with(kSharePrefix)) return L"\\\\" + whole.substr(kSharePrefix.size());
  if (whole.starts_with(kPrefix)) whole.erase(0, kPrefix.size());
  return whole;
}

}  // namespace korvel::ctl
