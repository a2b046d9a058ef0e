// fwfake.dll: an in-process COM server that takes the place of Windows Firewall for an unmodified program.
// See fake_state.h for the files that control it and record what happened.
//
// regsvr32 fwfake.dll puts it in, regsvr32 /u fwfake.dll puts back what was there. Only for throw-away Wine
// prefixes: it changes the machine's own registration of the firewall classes.
#include <iterator>

#include "fw/fake/fake_objects.h"

namespace korvel::test::fwfake {
namespace {

constexpr const wchar_t* kServerKeys[] = {
    L"Software\\Classes\\CLSID\\{E2B3C97F-6AE1-41AC-817A-F6F92166D7DD}\\InprocServer32",  // policy
    L"Software\\Classes\\CLSID\\{2C5BC43E-3369-4C33-AB0C-BE9469677AF4}\\InprocServer32",  // rule
};
constexpr HRESULT kNotRegistered = static_cast<HRESULT>(0x80040201);  // SELFREG_E_CLASS
constexpr wchar_t kReplacedValue[] = L"KorvelTestReplaced";

class Factory final : public ComObject<IClassFactory> {
 public:
  enum class Product { kPolicy, kRule };
  explicit Factory(Product product) : ComObject("factory"), product_(product) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** out) override {
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    const bool policy = product_ == Product::kPolicy;
    if (policy) Recorder::instance().begin();
    if (const auto injected = Recorder::instance().enter(policy ? "create.policy" : "create.rule"))
      return *injected;
    IUnknown* const object = policy ? static_cast<IUnknown*>(newPolicy()) : newRule(Element{});
    const HRESULT result = object->QueryInterface(id, out);
    object->Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  Product product_;
};

IClassFactory* factoryFor(REFCLSID id) {
  if (id == __uuidof(NetFwPolicy2)) return new Factory(Factory::Product::kPolicy);
  if (id == __uuidof(NetFwRule)) return new Factory(Factory::Product::kRule);
  return nullptr;
}

LSTATUS setText(const wchar_t* key, const wchar_t* value, const std::wstring& text) {
  return ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, value, REG_SZ, text.c_str(),
                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::wstring getText(const wchar_t* key, const wchar_t* value) {
  wchar_t text[1024];
  DWORD size = sizeof text;
  const LSTATUS result =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, key, value, RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND,
                     nullptr, text, &size);
  return result == ERROR_SUCCESS ? std::wstring(text) : std::wstring();
}

}  // namespace
}  // namespace korvel::test::fwfake

using namespace korvel::test::fwfake;

STDAPI DllGetClassObject(REFCLSID classId, REFIID id, void** out) {
  *out = nullptr;
  IClassFactory* const factory = factoryFor(classId);
  if (factory == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
  const HRESULT result = factory->QueryInterface(id, out);
  factory->Release();
  return result;
}

/// Never: tests still look at objects that were released.
STDAPI DllCanUnloadNow() { return S_FALSE; }

STDAPI DllRegisterServer() {
  for (const wchar_t* key : kServerKeys) {
    const std::wstring before = getText(key, nullptr);
    if (before != modulePath()) {
      if (setText(key, kReplacedValue, before) != ERROR_SUCCESS) return kNotRegistered;
    }
    if (setText(key, nullptr, modulePath()) != ERROR_SUCCESS) return kNotRegistered;
    if (before.empty() && setText(key, L"ThreadingModel", L"Both") != ERROR_SUCCESS) return kNotRegistered;
  }
  return S_OK;
}

STDAPI DllUnregisterServer() {
  for (const wchar_t* key : kServerKeys) {
    if (getText(key, nullptr) != modulePath()) continue;
    const std::wstring before = getText(key, kReplacedValue);
    const LSTATUS result =
        before.empty() ? ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key) : setText(key, nullptr, before);
    if (result != ERROR_SUCCESS) return kNotRegistered;
    (void)::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, kReplacedValue);  // fails when the key is deleted
  }
  return S_OK;
}
