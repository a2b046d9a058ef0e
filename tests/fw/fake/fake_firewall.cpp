#include "fw/fake/fake_firewall.h"

#include <stdexcept>

#include "base/files.h"
#include "base/paths.h"
#include "base/text.h"
#include "support/temp_folder.h"

namespace korvel::test::fwfake {
namespace {

std::wstring besideProgram(const std::wstring& name) {
  std::wstring program(4096, L'\0');
  program.resize(::GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  return joinPath(parentDirectory(program), name);
}

FARPROC exported(HMODULE module, const char* name) {
  const FARPROC function = module == nullptr ? nullptr : ::GetProcAddress(module, name);
  if (function == nullptr)
    throw std::runtime_error(std::string("fwfake.dll beside the program lacks ") + name);
  return function;
}

}  // namespace

bool isWine() { return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

FakeFirewall::FakeFirewall() : module_(::LoadLibraryW(besideProgram(L"fwfake.dll").c_str())) {
  if (exported(module_, "DllRegisterServer")() != S_OK)
    throw std::runtime_error("cannot register fwfake.dll");
  set({});
  fail({});
  clearLog();
}

FakeFirewall::~FakeFirewall() {
  exported(module_, "DllUnregisterServer")();
  for (const wchar_t* extension : {L"state", L"faults", L"log"}) ::DeleteFileW(path(extension).c_str());
  // The module stays loaded: an object that the product leaked would otherwise point nowhere.
}

std::wstring FakeFirewall::path(const wchar_t* extension) const {
  return besideProgram(std::wstring(L"fwfake.") + extension);
}

void FakeFirewall::set(const State& state) { writeFile(path(L"state"), stateText(state)); }

State FakeFirewall::state() const { return parseState(readFile(path(L"state"))); }

void FakeFirewall::fail(const std::vector<Fault>& faults) { writeFile(path(L"faults"), faultsText(faults)); }

void FakeFirewall::clearLog() { writeFile(path(L"log"), ""); }

std::vector<std::string> FakeFirewall::log() const {
  const std::string text = readFile(path(L"log"));
  std::vector<std::string> lines;
  LineReader reader(text);
  for (std::string_view line; reader.next(line);) lines.emplace_back(line);
  return lines;
}

std::vector<std::string> FakeFirewall::calls() const {
  std::vector<std::string> calls;
  for (const std::string& line : log()) {
    const bool life = line[0] == '+' || line[0] == '-' || line[0] == '!';
    if (!life && line.find(".QueryInterface(") == std::string::npos) calls.push_back(line);
  }
  return calls;
}

int FakeFirewall::liveObjects() const {
  int live = 0;
  for (const std::string& line : log()) {
    if (line[0] == '!') return -1;
    if (line[0] == '+') ++live;
    if (line[0] == '-') --live;
  }
  return live;
}

}  // namespace korvel::test::fwfake
