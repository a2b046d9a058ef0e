#include "fw/fake/recorder.h"

#include <cstdio>

#include "base/files.h"
#include "base/paths.h"
#include "base/unique_resource.h"

namespace korvel::test::fwfake {
namespace {

std::string readIfThere(const std::wstring& path) {
  std::string bytes;
  return readWholeFile(path, bytes) ? bytes : std::string();
}

}  // namespace

std::wstring modulePath() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&modulePath), &module);
  std::wstring path(4096, L'\0');
  path.resize(::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

Recorder& Recorder::instance() {
  static Recorder recorder;
  return recorder;
}

std::wstring Recorder::besideModule(const wchar_t* extension) const {
  return joinPath(parentDirectory(modulePath()), std::wstring(L"fwfake.") + extension);
}

void Recorder::begin() {
  state = parseState(readIfThere(besideModule(L"state")));
  faults_ = parseFaults(readIfThere(besideModule(L"faults")));
  counts_.clear();
}

void Recorder::save() {
  const UniqueHandle file(::CreateFileW(besideModule(L"state").c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                        nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  writeAll(file.get(), stateText(state));
}

std::optional<HRESULT> Recorder::enter(const std::string& call, const std::string& arguments) {
  const uint32_t count = ++counts_[call];
  std::optional<HRESULT> result;
  for (const Fault& fault : faults_) {
    if (fault.call == call && (fault.nth == 0 || fault.nth == count))
      result = static_cast<HRESULT>(fault.result);
  }
  std::string line = call + "(" + arguments + ")";
  if (result) {
    char code[16];
    std::snprintf(code, sizeof code, " = %08X", static_cast<unsigned>(*result));
    line += code;
  }
  note(line);
  return result;
}

void Recorder::note(const std::string& line) {
  if (state.quiet) return;
  // Opened anew each time: the test may take the file away between two operations.
  const UniqueHandle file(::CreateFileW(besideModule(L"log").c_str(), FILE_APPEND_DATA,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  writeAll(file.get(), line + "\n");
}

}  // namespace korvel::test::fwfake
