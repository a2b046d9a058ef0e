#include "korvelctl/render/json_path.h"

#include <nlohmann/json.hpp>

#include "base/utf.h"

namespace korvel::ctl {

bool isWholeUtf16(std::wstring_view path) {
  for (size_t i = 0; i < path.size(); ++i) {
    const bool high = path[i] >= 0xD800 && path[i] <= 0xDBFF;
    const bool low = path[i] >= 0xDC00 && path[i] <= 0xDFFF;
    if (low) return false;
    if (!high) continue;
    if (i + 1 == path.size() || path[i + 1] < 0xDC00 || path[i + 1] > 0xDFFF) return false;
    ++i;
  }
  return true;
}

void putPath(nlohmann::ordered_json& json, const std::string& key, const std::wstring& path) {
  json[key] = toUtf8(path);
  if (!isWholeUtf16(path)) json[key + "_lossy"] = true;
}

}  // namespace korvel::ctl
