#include "korvelctl/whole_path.h"

#include <string_view>

#include "base/long_path.h"
#include "base/utf.h"
#include "korvelctl/connection.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/printable.h"

namespace korvel::ctl {

std::wstring wholePath(const std::string& given) {
  constexpr std::wstring_view kPrefix = L"\\\\?\\";
  constexpr std::wstring_view kSharePrefix = L"\\\\?\\UNC\\";
  const std::wstring path = toWide(given);
  std::wstring whole = forFileApi(path);
  if (whole.empty()) throw Failure(kExitRefused, "not a path: " + printable(given));
  if (whole == path) return whole;  // a device path
  // Without the prefix it reads as people write it; the service puts the prefix back.
  if (whole.starts_with(kSharePrefix)) return L"\\\\" + whole.substr(kSharePrefix.size());
  if (whole.starts_with(kPrefix)) whole.erase(0, kPrefix.size());
  return whole;
}

}  // namespace korvel::ctl
