#include <cstring>
#include <type_traits>

#include "base/utf.h"
#include "fw/fake/fake_objects.h"

namespace korvel::test::fwfake {
namespace {

std::optional<HRESULT> enter(const char* call, const std::string& argument = {}) {
  return Recorder::instance().enter(std::string("rule.") + call, argument);
}

HRESULT getText(const char* call, const Element::Text& text, BSTR* out) {
  *out = nullptr;
  if (const auto injected = enter(call)) return *injected;
  if (text) *out = ::SysAllocStringLen(text->data(), static_cast<UINT>(text->size()));
  return S_OK;
}

HRESULT putText(const char* call, Element::Text& text, BSTR value) {
  const std::wstring wide = value == nullptr ? std::wstring() : std::wstring(value, ::SysStringLen(value));
  if (const auto injected = enter(call, toUtf8(wide))) return *injected;
  text = wide;
  return S_OK;
}

template <typename Number>
HRESULT getNumber(const char* call, int32_t value, Number* out) {
  if (const auto injected = enter(call)) return *injected;
  if constexpr (std::is_enum_v<Number>) {
    static_assert(sizeof *out == sizeof value);
    std::memcpy(out, &value, sizeof value);  // also values that the enumeration does not name
  } else {
    *out = static_cast<Number>(value);
  }
  return S_OK;
}

HRESULT putNumber(const char* call, int32_t& to, int32_t value) {
  if (const auto injected = enter(call, std::to_string(value))) return *injected;
  to = value;
  return S_OK;
}

/// Calls that the product does not need return E_NOTIMPL, so that an unexpected call shows.
class Rule final : public DispatchObject<INetFwRule> {
 public:
  explicit Rule(const Element& properties) : DispatchObject("rule"), it_(properties) {}
  const Element& properties() const { return it_; }

  HRESULT STDMETHODCALLTYPE get_Name(BSTR* out) override { return getText("get_Name", it_.name, out); }
  HRESULT STDMETHODCALLTYPE put_Name(BSTR value) override { return putText("put_Name", it_.name, value); }
  HRESULT STDMETHODCALLTYPE get_Description(BSTR* out) override {
    return getText("get_Description", it_.description, out);
  }
  HRESULT STDMETHODCALLTYPE put_Description(BSTR value) override {
    return putText("put_Description", it_.description, value);
  }
  HRESULT STDMETHODCALLTYPE get_ApplicationName(BSTR* out) override {
    return getText("get_ApplicationName", it_.application, out);
  }
  HRESULT STDMETHODCALLTYPE put_ApplicationName(BSTR value) override {
    return putText("put_ApplicationName", it_.application, value);
  }
  HRESULT STDMETHODCALLTYPE get_Protocol(LONG* out) override {
    return getNumber("get_Protocol", it_.protocol, out);
  }
  HRESULT STDMETHODCALLTYPE put_Protocol(LONG value) override {
    return putNumber("put_Protocol", it_.protocol, value);
  }
  HRESULT STDMETHODCALLTYPE get_Direction(NET_FW_RULE_DIRECTION* out) override {
    return getNumber("get_Direction", it_.direction, out);
  }
  HRESULT STDMETHODCALLTYPE put_Direction(NET_FW_RULE_DIRECTION value) override {
    return putNumber("put_Direction", it_.direction, value);
  }
  HRESULT STDMETHODCALLTYPE get_Enabled(VARIANT_BOOL* out) override {
    return getNumber("get_Enabled", it_.enabled, out);
  }
  HRESULT STDMETHODCALLTYPE put_Enabled(VARIANT_BOOL value) override {
    return putNumber("put_Enabled", it_.enabled, value);
  }
  HRESULT STDMETHODCALLTYPE get_Profiles(LONG* out) override {
    return getNumber("get_Profiles", it_.profiles, out);
  }
  HRESULT STDMETHODCALLTYPE put_Profiles(LONG value) override {
    return putNumber("put_Profiles", it_.profiles, value);
  }
  HRESULT STDMETHODCALLTYPE get_Action(NET_FW_ACTION* out) override {
    return getNumber("get_Action", it_.action, out);
  }
  HRESULT STDMETHODCALLTYPE put_Action(NET_FW_ACTION value) override {
    return putNumber("put_Action", it_.action, value);
  }

  HRESULT STDMETHODCALLTYPE get_ServiceName(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_ServiceName(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_LocalPorts(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_LocalPorts(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_RemotePorts(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_RemotePorts(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_LocalAddresses(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_LocalAddresses(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_RemoteAddresses(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_RemoteAddresses(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_IcmpTypesAndCodes(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_IcmpTypesAndCodes(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Interfaces(VARIANT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_Interfaces(VARIANT) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_InterfaceTypes(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_InterfaceTypes(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Grouping(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_Grouping(BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_EdgeTraversal(VARIANT_BOOL*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_EdgeTraversal(VARIANT_BOOL) override { return E_NOTIMPL; }

 private:
  Element it_;
};

}  // namespace

INetFwRule* newRule(const Element& properties) { return new Rule(properties); }

const Element& propertiesOf(INetFwRule* rule) { return static_cast<Rule*>(rule)->properties(); }

}  // namespace korvel::test::fwfake
