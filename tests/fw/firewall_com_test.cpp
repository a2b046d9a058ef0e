#include "fw/com.h"

#include <gtest/gtest.h>

#include <thread>

#include "fw/firewall_changes.h"
#include "fw/firewall_com.h"
#include "fw/firewall_fixture.h"
#include "fw/firewall_query.h"
#include "fw/memory_watch.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace korvel::fw {
namespace {

/// Counts references; on the stack of its test.
class Counted final : public IDispatch {
 public:
  int references = 1;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
    *out = nullptr;
    if (id != __uuidof(IDispatch)) return E_NOINTERFACE;
    ++references;
    *out = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override {
    ::SetLastError(1234);
    return static_cast<ULONG>(--references);
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return E_NOTIMPL;
  }
};

TEST(ComPtr, ReleasesItsReferenceOnceAndKeepsTheLastError) {
  Counted object;
  ::SetLastError(7);
  {
    ComPtr<IDispatch> pointer(&object);
    ComPtr<IDispatch> moved = std::move(pointer);
    EXPECT_EQ(object.references, 1);
  }
  EXPECT_EQ(object.references, 0);
  EXPECT_EQ(::GetLastError(), 7u);
}

TEST(ComPtr, ReleasesWhatItHeldWhenItReceives) {
  Counted object;
  ComPtr<IDispatch> pointer(&object);
  ComPtr<IDispatch> other;
  EXPECT_EQ(queryInterface(pointer.get(), other), S_OK);
  EXPECT_EQ(object.references, 2);
  EXPECT_EQ(queryInterface(pointer.get(), other), S_OK);
  EXPECT_EQ(object.references, 2);
  ComPtr<IEnumVARIANT> none;
  EXPECT_EQ(queryInterface(pointer.get(), none), E_NOINTERFACE);
  EXPECT_FALSE(none);
}

TEST(ReceivedPointer, IsAFailureWhenItIsNull) {
  Counted object;
  const ComPtr<IDispatch> pointer(&object);
  const ComPtr<IDispatch> none;
  EXPECT_EQ(received(S_OK, none), E_POINTER);
  EXPECT_EQ(received(S_FALSE, none), E_POINTER);
  EXPECT_EQ(received(E_FAIL, none), E_FAIL);
  EXPECT_EQ(received(S_OK, pointer), S_OK);
  EXPECT_EQ(received(S_FALSE, pointer), S_FALSE);
}

TEST(Bstr, CopiesATextWithItsLength) {
  const std::wstring text(L"a\0б", 3);
  EXPECT_EQ(toText(makeBstr(text)), text);
  EXPECT_EQ(toText(makeBstr(L"")), L"");
  EXPECT_TRUE(makeBstr(L""));
  EXPECT_EQ(toText(Bstr()), L"");
}

TEST(Bstr, FreesItsText) {
  const long before = test::taskMemoryBlocks();
  {
    const Bstr text = makeBstr(L"text");
    EXPECT_EQ(test::taskMemoryBlocks(), before + 1);
  }
  EXPECT_EQ(test::taskMemoryBlocks(), before);
}

TEST(Variant, ReleasesItsObjectAtTheEndAndBeforeItReceives) {
  Counted object;
  {
    Variant variant;
    VARIANT* raw = variant.receive();
    V_VT(raw) = VT_DISPATCH;
    V_DISPATCH(raw) = &object;
    EXPECT_EQ(variant.dispatch(), &object);
    object.AddRef();
    variant.receive();
    EXPECT_EQ(object.references, 1);
    EXPECT_EQ(variant.type(), VT_EMPTY);
    raw = variant.receive();
    V_VT(raw) = VT_UNKNOWN;
    V_UNKNOWN(raw) = &object;
    EXPECT_EQ(variant.dispatch(), nullptr);
  }
  EXPECT_EQ(object.references, 0);
}

class FirewallApartment : public test::FirewallTest {
 protected:
  /// The thread's apartment, or CO_E_NOTINITIALIZED.
  static HRESULT apartment(APTTYPE* type = nullptr) {
    APTTYPE found = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier{};
    const HRESULT result = ::CoGetApartmentType(&found, &qualifier);
    if (type != nullptr) *type = found;
    return result;
  }
  /// Runs every operation, good and bad, on a thread of its own that lives in the given apartment.
  void runAll() {
    std::string error;
    queryFirewallStatus();
    EXPECT_TRUE(setProfileEnabled("public,1", &error)) << error;
    EXPECT_TRUE(addApplicationRule("block|both|C:\\a.exe", &error)) << error;
    EXPECT_TRUE(setBlockAllInbound("1", &error)) << error;
    EXPECT_TRUE(removeKorvelRules(&error)) << error;
    EXPECT_FALSE(setBlockAllInbound("x", &error));
    fake_->fail({{"create.policy", 1, test::kDenied}});
    queryFirewallStatus();
    EXPECT_FALSE(removeKorvelRules(&error));
    fake_->fail({});
  }
};

TEST_F(FirewallApartment, IsLeftAgainByEveryOperation) {
  HRESULT before = S_OK, after = S_OK;
  std::thread([&] {
    before = apartment();
    runAll();
    after = apartment();
  }).join();
  EXPECT_EQ(before, CO_E_NOTINITIALIZED);
  EXPECT_EQ(after, CO_E_NOTINITIALIZED);
}

TEST_F(FirewallApartment, OfTheCallerStaysAsItWas) {
  for (const auto& [kind, expected] :
       {std::pair{COINIT_APARTMENTTHREADED, APTTYPE_STA}, std::pair{COINIT_MULTITHREADED, APTTYPE_MTA}}) {
    APTTYPE during = APTTYPE_CURRENT;
    HRESULT after = S_OK;
    std::thread([&, kind = kind] {
      (void)::CoInitializeEx(nullptr, kind);
      runAll();
      (void)apartment(&during);
      ::CoUninitialize();
      after = apartment();
    }).join();
    EXPECT_TRUE(during == expected || (expected == APTTYPE_STA && during == APTTYPE_MAINSTA)) << during;
    EXPECT_EQ(after, CO_E_NOTINITIALIZED);
  }
}

class FirewallRules : public test::FirewallTest {};

TEST_F(FirewallRules, AreWalkedUntilAStopIsRequested) {
  given({test::ruleNamed(L"first"), test::ruleNamed(L"second")});
  const ComApartment apartment;
  ComPtr<INetFwPolicy2> policy;
  ComPtr<INetFwRules> rules;
  ASSERT_EQ(createFirewallPolicy(policy), S_OK);
  ASSERT_EQ(policy->get_Rules(rules.receive()), S_OK);
  StopSource stop;
  RuleWalk walk(stop.get_token());
  ASSERT_EQ(walk.open(*rules.get()), S_OK);
  ComPtr<INetFwRule> rule;
  ASSERT_TRUE(walk.next(rule));
  EXPECT_EQ(ruleName(*rule.get()), L"first");
  stop.request_stop();
  EXPECT_FALSE(walk.next(rule));
}

class FirewallRule : public test::FirewallTest {};

TEST_F(FirewallRule, IsMadeWithoutTheTextsThatAreEmpty) {
  const ComApartment apartment;
  RuleDescription wanted;
  wanted.action = 1;
  wanted.direction = 2;
  wanted.profiles = 5;
  ComPtr<INetFwRule> rule;
  EXPECT_EQ(makeFirewallRule(wanted, rule), S_OK);
  EXPECT_TRUE(rule);
  EXPECT_EQ(fake_->calls(), (std::vector<std::string>{"create.rule()", "rule.put_Action(1)",
                                                      "rule.put_Direction(2)", "rule.put_Protocol(256)",
                                                      "rule.put_Enabled(-1)", "rule.put_Profiles(5)"}));
}

TEST_F(FirewallRule, ThatCannotBeMadeIsNoRuleAndTellsTheFirstFailure) {
  const ComApartment apartment;
  ComPtr<INetFwPolicy2> policy;
  fake_->fail({{"rule.put_Protocol", 1, test::kDenied}, {"rule.put_Profiles", 1, test::kFails}});
  ASSERT_EQ(createFirewallPolicy(policy), S_OK);
  ComPtr<INetFwRule> rule;
  EXPECT_EQ(makeFirewallRule({"n", "d", "a", 0, 1, 7}, rule), static_cast<HRESULT>(test::kDenied));
  EXPECT_FALSE(rule);
  EXPECT_EQ(countCalls("rule.put_Enabled"), 0u);
  policy.reset();
  EXPECT_EQ(fake_->liveObjects(), 0);
}

}  // namespace
}  // namespace korvel::fw
