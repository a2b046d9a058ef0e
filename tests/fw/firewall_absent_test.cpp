// Machines without a usable firewall: Wine's own, which implements next to nothing, and none at all.
#include <gtest/gtest.h>

#include <stdexcept>

#include "base/win.h"
#include "fw/firewall_changes.h"
#include "fw/firewall_fixture.h"
#include "fw/firewall_query.h"

namespace korvel::fw {
namespace {

const std::wstring kClasses = L"Software\\Classes\\CLSID\\";
constexpr wchar_t kPolicyClass[] = L"{E2B3C97F-6AE1-41AC-817A-F6F92166D7DD}";
constexpr wchar_t kRuleClass[] = L"{2C5BC43E-3369-4C33-AB0C-BE9469677AF4}";

/// Takes a class out of the registry and puts it back at the end.
class AbsentClass {
 public:
  explicit AbsentClass(const wchar_t* id)
      : key_(kClasses + id), saved_(std::wstring(L"Software\\KorvelTestSaved\\") + id) {
    copyTree(key_, saved_);
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key_.c_str());
  }
  ~AbsentClass() {
    copyTree(saved_, key_);
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, saved_.c_str());
  }
  AbsentClass(const AbsentClass&) = delete;
  AbsentClass& operator=(const AbsentClass&) = delete;

 private:
  static void copyTree(const std::wstring& from, const std::wstring& to) {
    HKEY target = nullptr;
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, to.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &target,
                      nullptr);
    EXPECT_EQ(::RegCopyTreeW(HKEY_LOCAL_MACHINE, from.c_str(), target), ERROR_SUCCESS);
    ::RegCloseKey(target);
  }

  std::wstring key_;
  std::wstring saved_;
};

class UnusableFirewall : public testing::Test {
 protected:
  void SetUp() override {
    if (!test::fwfake::isWine()) GTEST_SKIP() << "would change this machine's firewall";
    // Its destructor also puts back the registration that a crashed run left replaced.
    const test::fwfake::FakeFirewall gone;
  }
  std::string error_;
};

TEST_F(UnusableFirewall, OfWineGivesErrorLinesOnly) {
  EXPECT_EQ(queryFirewallStatus(),
            "blockin,off\n"
            "error,не удалось прочитать профиль domain: код 0x80004001\n"
            "error,не удалось прочитать профиль private: код 0x80004001\n"
            "error,не удалось прочитать профиль public: код 0x80004001\n"
            "error,не удалось перечислить правила: код 0x80004001\n");
}

TEST_F(UnusableFirewall, OfWineRefusesEveryChange) {
  EXPECT_FALSE(setProfileEnabled("public,1", &error_));
  EXPECT_EQ(error_, "не удалось изменить состояние профиля: код 0x80004001");
  EXPECT_FALSE(addApplicationRule("block|in|C:\\a.exe", &error_));
  EXPECT_EQ(error_, "не удалось получить набор правил: код 0x80004001");
  EXPECT_FALSE(setBlockAllInbound("1", &error_));
  EXPECT_EQ(error_, "не удалось получить набор правил: код 0x80004001");
  EXPECT_FALSE(removeKorvelRules(&error_));
  EXPECT_EQ(error_, "не удалось получить набор правил: код 0x80004001");
}

TEST_F(UnusableFirewall, WithoutItsClassIsUnavailable) {
  const AbsentClass absent(kPolicyClass);
  EXPECT_EQ(queryFirewallStatus(),
            "error,брандмауэр недоступен: не удалось обратиться к API брандмауэра: код 0x80040154");
  EXPECT_FALSE(setProfileEnabled("", &error_));
  EXPECT_EQ(error_, "брандмауэр недоступен: код 0x80040154");
  EXPECT_FALSE(addApplicationRule("", &error_));
  EXPECT_EQ(error_, "брандмауэр недоступен: код 0x80040154");
  EXPECT_FALSE(setBlockAllInbound("", &error_));
  EXPECT_EQ(error_, "брандмауэр недоступен: код 0x80040154");
  EXPECT_FALSE(removeKorvelRules(&error_));
  EXPECT_EQ(error_, "брандмауэр недоступен: код 0x80040154");
}

TEST_F(UnusableFirewall, IsBackAfterTheseTests) {
  { const AbsentClass absent(kPolicyClass); }
  { const test::fwfake::FakeFirewall fake; }
  EXPECT_EQ(queryFirewallStatus().rfind("blockin,off\nerror,", 0), 0u);
}

class FirewallWithoutRuleClass : public test::FirewallTest {};

TEST_F(FirewallWithoutRuleClass, CannotBuildRules) {
  const AbsentClass absent(kRuleClass);
  std::string error;
  EXPECT_FALSE(addApplicationRule("block|in|C:\\a.exe", &error));
  EXPECT_EQ(error, "не удалось собрать правило: код 0x80040154");
  EXPECT_FALSE(setBlockAllInbound("1", &error));
  EXPECT_EQ(error, "не удалось собрать правило: код 0x80040154");
  EXPECT_TRUE(setBlockAllInbound("0", &error)) << error;
}

}  // namespace
}  // namespace korvel::fw
