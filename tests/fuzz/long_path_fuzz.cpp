// A resolved path is clean, resolves to itself and stays below its root.
#include "base/long_path.h"
#include "fuzz/payload_input.h"

using korvel::extendedPath;
using korvel::fuzz::require;

namespace {

/// The path without its prefix, spelled as it would be without one.
std::wstring plainPath(const std::wstring& extended, bool network) {
  return network ? L"\\\\" + extended.substr(8) : extended.substr(4);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::wstring path;
  for (size_t i = 0; i < size; ++i) path.push_back(static_cast<wchar_t>(data[i]));
  const std::wstring extended = extendedPath(path);
  require(extendedPath(extended) == extended || !extended.starts_with(L"\\\\"));

  const auto relative = korvel::splitRelative(path);
  if (relative) {
    require(relative->rest.size() <= path.size() && path.ends_with(relative->rest));
    return 0;
  }
  if (extended == path) return 0;  // empty, a device path
  const bool network = extended.starts_with(L"\\\\?\\UNC\\");
  require(network || (extended.starts_with(L"\\\\?\\") && extended.substr(5, 2) == L":\\"));
  const std::wstring names = extended.substr(network ? 8 : 7);
  require(names.find(L'/') == std::wstring::npos);
  require(names.find(L"\\\\") == std::wstring::npos);
  // The names of a server and a share are not looked at.
  if (!network) {
    require((L"\\" + names + L"\\").find(L"\\..\\") == std::wstring::npos);
    require((L"\\" + names + L"\\").find(L"\\.\\") == std::wstring::npos);
  }
  if (!network || (!names.starts_with(L".") && !names.starts_with(L"?"))) {
    require(extendedPath(plainPath(extended, network)) == extended);
  }
  return 0;
}
