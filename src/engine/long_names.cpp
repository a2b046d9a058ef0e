#include "engine/long_names.h"

#include <algorithm>

#include "base/long_path.h"
#include "base/paths.h"
#include "base/unique_resource.h"

namespace korvel::svc {
namespace {

/// Every short name that the system makes has one; a long one may have it too.
constexpr wchar_t kMarkOfShortNames = L'~';

/// The name of the entry at `apiPath`; empty where there is none.
std::wstring storedName(const std::wstring& apiPath) {
  WIN32_FIND_DATAW entry{};
  const UniqueFindHandle find(::FindFirstFileExW(apiPath.c_str(), FindExInfoBasic, &entry,
                                                 FindExSearchNameMatch, /*filter=*/nullptr, /*flags=*/0));
  return find ? entry.cFileName : L"";
}

}  // namespace

// Not GetLongPathNameW, because it looks up the components of the root as well and may spell them anew.
std::wstring withLongNames(const std::wstring& root, const std::wstring& name) {
  if (name.find(kMarkOfShortNames) == std::wstring::npos) return name;
  const std::wstring apiRoot = joinPath(forFileApi(root), L"");
  std::wstring result;
  for (size_t at = 0; at < name.size();) {
    const size_t end = std::min(name.find(L'\\', at), name.size());
    std::wstring component = name.substr(at, end - at);
    if (component.find(kMarkOfShortNames) != std::wstring::npos) {
      const std::wstring stored = storedName(apiRoot + joinPath(result, component));
      if (!stored.empty()) component = stored;
    }
    result = joinPath(result, component);
    at = end + 1;
  }
  return result;
}

}  // namespace korvel::svc
