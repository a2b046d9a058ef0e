#include "korvelctl/machine/data_removal.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/long_path.h"
#include "base/win.h"
#include "support/temp_folder.h"

namespace korvel::ctl {
namespace {

class DataRemoval : public testing::Test {
 protected:
  test::TempFolder temp_;
};

TEST_F(DataRemoval, AFolderGoesWithEverythingInIt) {
  const std::wstring folder = temp_.at(L"data");
  std::wstring deep = folder;
  for (int i = 0; i < 30; ++i) deep += L"\\a folder with a long name";
  ASSERT_TRUE(createDirectories(deep));
  test::writeFile(deep + L"\\file", "x");
  test::writeFile(folder + L"\\read-only", "x");
  ::SetFileAttributesW((folder + L"\\read-only").c_str(), FILE_ATTRIBUTE_READONLY);
  test::writeFile(temp_.at(L"beside"), "x");
  EXPECT_TRUE(removeTree(folder).empty());
  EXPECT_FALSE(pathExists(folder));
  EXPECT_TRUE(pathExists(temp_.at(L"beside")));
}

TEST_F(DataRemoval, AFileGoesAndNothingIsNoFailure) {
  const std::wstring file = temp_.write(L"scan.cache", "x");
  EXPECT_TRUE(removeTree(file).empty());
  EXPECT_FALSE(pathExists(file));
  EXPECT_TRUE(removeTree(file).empty());
}

TEST_F(DataRemoval, TellsWhatIsHeldAndRemovesTheRest) {
  const std::wstring folder = temp_.at(L"data");
  ASSERT_TRUE(createDirectories(folder));
  const std::wstring held = folder + L"\\held";
  test::writeFile(held, "x");
  test::writeFile(folder + L"\\other", "x");
  const UniqueHandle holder(
      ::CreateFileW(held.c_str(), GENERIC_READ, /*share=*/0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(holder);
  const std::vector<RemovalFailure> failures = removeTree(folder);
  ASSERT_EQ(failures.size(), 2u);
  EXPECT_EQ(failures[0].path, held);
  EXPECT_EQ(failures[0].win32, static_cast<uint32_t>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(failures[1].path, folder);
  EXPECT_FALSE(pathExists(folder + L"\\other"));
}

}  // namespace
}  // namespace korvel::ctl
