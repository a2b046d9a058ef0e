// Paths in JSON documents. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace korvel::ctl {

/// False for a path that UTF-8 cannot hold: it has half of a surrogate pair.
bool isWholeUtf16(std::wstring_view path);

/// `json[key] = path`; where the path cannot be told exactly, `json[key + "_lossy"] = true` as well.
void putPath(nlohmann::ordered_json& json, const std::string& key, const std::wstring& path);

}  // namespace korvel::ctl
