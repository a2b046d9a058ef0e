#include "fw/fake/fake_objects.h"

namespace korvel::test::fwfake {
namespace {

Recorder& recorder() { return Recorder::instance(); }

/// Calls that the product does not need return E_NOTIMPL, so that an unexpected call shows.
class Policy final : public DispatchObject<INetFwPolicy2> {
 public:
  Policy() : DispatchObject("policy") {}

  HRESULT STDMETHODCALLTYPE get_FirewallEnabled(NET_FW_PROFILE_TYPE2 type, VARIANT_BOOL* out) override {
    if (const auto injected = recorder().enter("policy.get_FirewallEnabled", std::to_string(type)))
      return *injected;
    const auto found = recorder().state.profiles.find(type);
    if (found == recorder().state.profiles.end()) return E_INVALIDARG;
    *out = static_cast<VARIANT_BOOL>(found->second);
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE put_FirewallEnabled(NET_FW_PROFILE_TYPE2 type, VARIANT_BOOL value) override {
    const std::string arguments = std::to_string(type) + ", " + std::to_string(value);
    if (const auto injected = recorder().enter("policy.put_FirewallEnabled", arguments)) return *injected;
    recorder().state.profiles[type] = value;
    recorder().save();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE get_Rules(INetFwRules** out) override {
    *out = nullptr;
    if (const auto injected = recorder().enter("policy.get_Rules")) return *injected;
    *out = newRules();
    return S_OK;
  }

  using Type = NET_FW_PROFILE_TYPE2;
  HRESULT STDMETHODCALLTYPE get_CurrentProfileTypes(LONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_ExcludedInterfaces(Type, VARIANT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_ExcludedInterfaces(Type, VARIANT) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_BlockAllInboundTraffic(Type, VARIANT_BOOL*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_BlockAllInboundTraffic(Type, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_NotificationsDisabled(Type, VARIANT_BOOL*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_NotificationsDisabled(Type, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_UnicastResponsesToMulticastBroadcastDisabled(Type, VARIANT_BOOL*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE put_UnicastResponsesToMulticastBroadcastDisabled(Type, VARIANT_BOOL) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE get_ServiceRestriction(INetFwServiceRestriction**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EnableRuleGroup(LONG, BSTR, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsRuleGroupEnabled(LONG, BSTR, VARIANT_BOOL*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE RestoreLocalFirewallDefaults() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_DefaultInboundAction(Type, NET_FW_ACTION*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_DefaultInboundAction(Type, NET_FW_ACTION) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_DefaultOutboundAction(Type, NET_FW_ACTION*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_DefaultOutboundAction(Type, NET_FW_ACTION) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_IsRuleGroupCurrentlyEnabled(BSTR, VARIANT_BOOL*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE get_LocalPolicyModifyState(NET_FW_MODIFY_STATE*) override { return E_NOTIMPL; }
};

}  // namespace

INetFwPolicy2* newPolicy() { return new Policy; }

}  // namespace korvel::test::fwfake
