#include "korvelctl/machine/environment_path.h"

#include <vector>

#include "korvelctl/machine/registry_key.h"
#include "korvelctl/model/search_path.h"

namespace korvel::ctl {
namespace {

constexpr wchar_t kEnvironmentKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr wchar_t kValueName[] = L"Path";
constexpr UINT kTellMs = 1'000;  // for each window that does not answer

struct Variable {
  std::wstring text;
  DWORD type = REG_EXPAND_SZ;
};

/// A variable that does not exist reads as empty.
DWORD read(HKEY key, Variable& variable) {
  for (;;) {
    DWORD bytes = 0;
    DWORD result = static_cast<DWORD>(
        ::RegQueryValueExW(key, kValueName, /*reserved=*/nullptr, &variable.type, nullptr, &bytes));
    if (result == ERROR_FILE_NOT_FOUND) {
      variable = {};
      return ERROR_SUCCESS;
    }
    if (result != ERROR_SUCCESS) return result;
    if (variable.type != REG_SZ && variable.type != REG_EXPAND_SZ) return ERROR_INVALID_DATATYPE;
    std::vector<wchar_t> text(bytes / sizeof(wchar_t) + 1);
    bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    result = static_cast<DWORD>(::RegQueryValueExW(key, kValueName, /*reserved=*/nullptr, &variable.type,
                                                   reinterpret_cast<BYTE*>(text.data()), &bytes));
    if (result == ERROR_MORE_DATA) continue;  // it has grown meanwhile
    if (result != ERROR_SUCCESS) return result;
    variable.text.assign(text.data(), bytes / sizeof(wchar_t));
    while (!variable.text.empty() && variable.text.back() == L'\0') variable.text.pop_back();
    return ERROR_SUCCESS;
  }
}

DWORD write(HKEY key, const Variable& variable) {
  return static_cast<DWORD>(::RegSetValueExW(
      key, kValueName, /*reserved=*/0, variable.type, reinterpret_cast<const BYTE*>(variable.text.c_str()),
      static_cast<DWORD>((variable.text.size() + 1) * sizeof(wchar_t))));
}

/// The shell then gives the new variable to the programs that it starts.
void announce() {
  DWORD_PTR ignored = 0;
  (void)::SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, reinterpret_cast<LPARAM>(L"Environment"),
                              SMTO_ABORTIFHUNG, kTellMs, &ignored);
}

using Edit = std::wstring (*)(std::wstring_view path, std::wstring_view folder);

uint32_t edit(Edit edited, const std::wstring& folder, PathChange change, bool* changed) {
  *changed = false;
  const bool makes = change == PathChange::kMade;
  HKEY opened = nullptr;
  DWORD result = static_cast<DWORD>(
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kEnvironmentKey, /*options=*/0, KEY_QUERY_VALUE, &opened));
  if (result != ERROR_SUCCESS) return result;
  const UniqueRegistryKey looking(opened);
  Variable variable;
  if (result = read(looking.get(), variable); result != ERROR_SUCCESS) return result;
  std::wstring text = edited(variable.text, folder);
  if (text == variable.text) return ERROR_SUCCESS;
  if (makes) {
    variable.text = std::move(text);
    result = static_cast<DWORD>(
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kEnvironmentKey, /*options=*/0, KEY_SET_VALUE, &opened));
    if (result != ERROR_SUCCESS) return result;
    const UniqueRegistryKey writing(opened);
    if (result = write(writing.get(), variable); result != ERROR_SUCCESS) return result;
    announce();
  }
  *changed = true;
  return ERROR_SUCCESS;
}

}  // namespace

uint32_t addToEnvironmentPath(const std::wstring& folder, PathChange change, bool* changed) {
  return edit(withSearchFolder, folder, change, changed);
}

uint32_t removeFromEnvironmentPath(const std::wstring& folder, PathChange change, bool* changed) {
  return edit(withoutSearchFolder, folder, change, changed);
}

}  // namespace korvel::ctl
