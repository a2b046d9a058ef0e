#include <algorithm>

#include "base/utf.h"
#include "fw/fake/fake_objects.h"

namespace korvel::test::fwfake {
namespace {

constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070002);

Recorder& recorder() { return Recorder::instance(); }

/// An object with a dispatch interface that is not a rule.
class Foreign final : public DispatchObject<IDispatch> {
 public:
  Foreign() : DispatchObject("foreign") {}
};

void putElement(const Element& element, VARIANT* out) {
  ::VariantInit(out);
  switch (element.kind) {
    case Element::Kind::kRule:
      V_VT(out) = VT_DISPATCH;
      V_DISPATCH(out) = newRule(element);
      return;
    case Element::Kind::kForeignDispatch:
      V_VT(out) = VT_DISPATCH;
      V_DISPATCH(out) = new Foreign;
      return;
    case Element::Kind::kNullDispatch:
      V_VT(out) = VT_DISPATCH;
      return;
    case Element::Kind::kUnknown:
      V_VT(out) = VT_UNKNOWN;
      V_UNKNOWN(out) = newRule(element);
      return;
    case Element::Kind::kBstr:
      V_VT(out) = VT_BSTR;
      V_BSTR(out) = ::SysAllocString(L"no rule");
      return;
    case Element::Kind::kEmpty:
      return;
  }
}

/// Walks the elements as they are at each step: a caller that removes rules on the way skips some.
class Enumerator final : public ComObject<IEnumVARIANT> {
 public:
  Enumerator() : ComObject("enum") {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* out, ULONG* fetched) override {
    *fetched = 0;  // like enumerators that rely on a valid pointer here
    if (const auto injected = recorder().enter("enum.Next", std::to_string(count))) return *injected;
    if (count != 1) return E_INVALIDARG;
    const std::vector<Element>& elements = recorder().state.elements;
    if (at_ >= elements.size()) return S_FALSE;
    putElement(elements[at_++], out);
    *fetched = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT**) override { return E_NOTIMPL; }

 private:
  size_t at_ = 0;
};

class Rules final : public DispatchObject<INetFwRules> {
 public:
  Rules() : DispatchObject("rules") {}

  HRESULT STDMETHODCALLTYPE get_Count(LONG*) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE Add(INetFwRule* rule) override {
    const Element& properties = propertiesOf(rule);
    if (const auto injected = recorder().enter("rules.Add", toUtf8(properties.name.value_or(L""))))
      return *injected;
    recorder().state.elements.push_back(properties);
    recorder().save();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Remove(BSTR name) override {
    const std::wstring wanted(name, ::SysStringLen(name));
    if (const auto injected = recorder().enter("rules.Remove", toUtf8(wanted))) return *injected;
    std::vector<Element>& elements = recorder().state.elements;
    const auto found =
        std::find_if(elements.begin(), elements.end(), [&](const Element& e) { return e.name == wanted; });
    if (found == elements.end()) return kNotFound;
    elements.erase(found);
    recorder().save();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Item(BSTR, INetFwRule**) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** out) override {
    *out = nullptr;
    if (const auto injected = recorder().enter("rules.get__NewEnum")) return *injected;
    *out = new Enumerator;
    return S_OK;
  }
};

}  // namespace

INetFwRules* newRules() { return new Rules; }

}  // namespace korvel::test::fwfake
