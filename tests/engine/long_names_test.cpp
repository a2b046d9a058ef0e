#include "engine/long_names.h"

#include <gtest/gtest.h>

#include "base/utf.h"
#include "base/win.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

class LongNames : public testing::Test {
 protected:
  /// The short form of a path below the folder.
  std::wstring shortName(const std::wstring& name) const {
    const std::wstring path = folder_.at(name);
    wchar_t buffer[MAX_PATH + 1] = {};
    if (::GetShortPathNameW(path.c_str(), buffer, MAX_PATH) == 0) return L"";
    size_t separators = 1;
    for (const wchar_t unit : name) separators += unit == L'\\' ? 1 : 0;
    const std::wstring all = buffer;
    size_t begin = all.size();
    for (; separators > 0; --separators) begin = all.rfind(L'\\', begin - 1);
    return all.substr(begin + 1);
  }

  test::TempFolder folder_;
};

TEST_F(LongNames, TakeThePlaceOfShortOnesInEveryComponent) {
  const std::wstring name = L"a folder with a name\\deeper, too\\invoice.pdf.exe";
  folder_.write(name, "x");
  const std::wstring reported = shortName(name);
  if (reported == name || reported.empty()) GTEST_SKIP() << "this file system makes no short names";
  ASSERT_EQ(reported.find(L"invoice.pdf.exe"), std::wstring::npos) << toUtf8(reported);
  EXPECT_EQ(withLongNames(folder_.path(), reported), name);
}

TEST_F(LongNames, OfAFileThatIsGoneTheRestIsMadeLong) {
  const std::wstring folder = L"a folder with a name";
  folder_.write(folder + L"\\other.txt", "x");
  const std::wstring reported = shortName(folder);
  if (reported == folder || reported.empty()) GTEST_SKIP() << "this file system makes no short names";
  EXPECT_EQ(withLongNames(folder_.path(), reported + L"\\GONE~1.EXE"), folder + L"\\GONE~1.EXE");
}

TEST_F(LongNames, AreLeftAsTheyAre) {
  folder_.write(L"sub\\tilde~1.exe", "x");
  for (const wchar_t* name : {L"sub\\tilde~1.exe", L"sub\\missing.exe", L"GONE~1\\GONE~2.EXE", L"a", L""}) {
    EXPECT_EQ(withLongNames(folder_.path(), name), name);
  }
}

}  // namespace
}  // namespace korvel::svc
