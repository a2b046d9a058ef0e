// These tests change the PATH of all users and put it back; they run only where nothing is of value.
#include "korvelctl/machine/environment_path.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/files.h"
#include "base/win.h"

namespace korvel::ctl {
namespace {

constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr wchar_t kFolder[] = L"C:\\Program Files\\Korvel";

struct Value {
  std::wstring text;
  DWORD type = 0;  // REG_NONE: there is no such value
  bool operator==(const Value&) const = default;
};

class EnvironmentPath : public testing::Test {
 protected:
  void SetUp() override {
    if (!pathExists(L"C:\\korvel-test-machine")) GTEST_SKIP() << "not a machine for tests";
    ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ | KEY_WRITE, &key_), ERROR_SUCCESS);
    before_ = get();
  }
  void TearDown() override {
    if (key_ == nullptr) return;
    set(before_);
    ::RegCloseKey(key_);
  }

  Value get() const {
    std::vector<wchar_t> text(100'000);
    DWORD bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t)), type = 0;
    if (::RegQueryValueExW(key_, L"Path", nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &bytes) !=
        ERROR_SUCCESS)
      return {};
    return {std::wstring(text.data()), type};
  }
  void set(const Value& value) const {
    if (value.type == REG_NONE) {
      ::RegDeleteValueW(key_, L"Path");
      return;
    }
    ::RegSetValueExW(key_, L"Path", 0, value.type, reinterpret_cast<const BYTE*>(value.text.c_str()),
                     static_cast<DWORD>((value.text.size() + 1) * sizeof(wchar_t)));
  }
  bool add(PathChange change = PathChange::kMade) const {
    bool changed = false;
    EXPECT_EQ(addToEnvironmentPath(kFolder, change, &changed), 0u);
    return changed;
  }
  bool remove(PathChange change = PathChange::kMade) const {
    bool changed = false;
    EXPECT_EQ(removeFromEnvironmentPath(kFolder, change, &changed), 0u);
    return changed;
  }

  HKEY key_ = nullptr;
  Value before_;
};

TEST_F(EnvironmentPath, KeepsItsTypeAndItsReferences) {
  for (const DWORD type : {DWORD{REG_SZ}, DWORD{REG_EXPAND_SZ}}) {
    const Value first{L"%SystemRoot%\\system32;%NO_SUCH%\\x", type};
    set(first);
    EXPECT_TRUE(add());
    EXPECT_EQ(get(), (Value{first.text + L";" + kFolder, type}));
    EXPECT_FALSE(add()) << "twice is once";
    EXPECT_TRUE(remove());
    EXPECT_EQ(get(), first);
    EXPECT_FALSE(remove());
  }
}

TEST_F(EnvironmentPath, ALongOneIsNotCut) {
  const Value first{std::wstring(9'000, L'p'), REG_EXPAND_SZ};
  set(first);
  EXPECT_TRUE(add());
  EXPECT_EQ(get().text, first.text + L";" + kFolder);
  EXPECT_TRUE(remove());
  EXPECT_EQ(get(), first);
}

TEST_F(EnvironmentPath, AMissingOneIsMade) {
  set({});
  EXPECT_FALSE(remove());
  EXPECT_EQ(get(), Value());
  EXPECT_TRUE(add());
  EXPECT_EQ(get(), (Value{kFolder, REG_EXPAND_SZ}));
}

TEST_F(EnvironmentPath, IsOnlyLookedAtInADryRun) {
  const Value first{L"a;b", REG_EXPAND_SZ};
  set(first);
  EXPECT_TRUE(add(PathChange::kOnlyLookedAt));
  EXPECT_EQ(get(), first);
}

TEST_F(EnvironmentPath, AValueThatIsNoTextIsLeftAlone) {
  const DWORD number = 7;
  ::RegSetValueExW(key_, L"Path", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
  bool changed = true;
  EXPECT_EQ(addToEnvironmentPath(kFolder, PathChange::kMade, &changed),
            static_cast<uint32_t>(ERROR_INVALID_DATATYPE));
  EXPECT_FALSE(changed);
}

}  // namespace
}  // namespace korvel::ctl
