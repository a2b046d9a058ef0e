#include "base/unique_resource.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

namespace korvel {
namespace {

constexpr DWORD kCodeBefore = 4711;

/// Numbers that count how often they are closed. Both 0 and -1 mean "none", as with handles. Closing changes
/// the last error, as a real close may.
struct NumberTraits {
  using Value = int;
  static int empty() { return 0; }
  static bool valid(int value) { return value != 0 && value != -1; }
  static void close(int value) {
    closed().push_back(value);
    ::SetLastError(ERROR_INVALID_HANDLE);
  }
  static std::vector<int>& closed() {
    static std::vector<int> numbers;
    return numbers;
  }
};
using UniqueNumber = UniqueResource<NumberTraits>;
using Numbers = std::vector<int>;

class UniqueResourceTest : public testing::Test {
 protected:
  void SetUp() override {
    NumberTraits::closed().clear();
    ::SetLastError(kCodeBefore);
  }
  const Numbers& closed() { return NumberTraits::closed(); }
};

TEST_F(UniqueResourceTest, ClosesOnceAtTheEndOfItsLifeAndKeepsTheLastError) {
  {
    const UniqueNumber owner(7);
    EXPECT_TRUE(owner);
    EXPECT_EQ(owner.get(), 7);
    EXPECT_TRUE(closed().empty());
  }
  EXPECT_EQ(::GetLastError(), kCodeBefore);
  EXPECT_EQ(closed(), Numbers{7});
}

TEST_F(UniqueResourceTest, NeverClosesAnEmptyValue) {
  {
    const UniqueNumber none;
    const UniqueNumber zero(0);
    const UniqueNumber invalid(-1);
    EXPECT_FALSE(none);
    EXPECT_FALSE(zero);
    EXPECT_FALSE(invalid);
  }
  EXPECT_TRUE(closed().empty());
}

TEST_F(UniqueResourceTest, ResetClosesTheOldValueAndKeepsTheLastError) {
  UniqueNumber owner(1);
  owner.reset(2);
  EXPECT_EQ(::GetLastError(), kCodeBefore);
  EXPECT_EQ(closed(), Numbers{1});
  EXPECT_EQ(owner.get(), 2);
  owner.reset();
  EXPECT_EQ(::GetLastError(), kCodeBefore);
  EXPECT_EQ(closed(), (Numbers{1, 2}));
  EXPECT_FALSE(owner);
  owner.reset();
  EXPECT_EQ(closed(), (Numbers{1, 2}));
}

TEST_F(UniqueResourceTest, MovingHandsTheValueOver) {
  UniqueNumber from(3);
  UniqueNumber to(std::move(from));
  EXPECT_FALSE(
      from);  // NOLINT(bugprone-use-after-move): what a moved-from owner holds is part of the contract
  EXPECT_EQ(to.get(), 3);
  EXPECT_TRUE(closed().empty());
}

TEST_F(UniqueResourceTest, MoveAssignmentClosesWhatItHeldAndKeepsTheLastError) {
  UniqueNumber to(1);
  to = UniqueNumber(2);
  EXPECT_EQ(::GetLastError(), kCodeBefore);
  EXPECT_EQ(closed(), Numbers{1});
  EXPECT_EQ(to.get(), 2);
}

TEST_F(UniqueResourceTest, MoveAssignmentToItselfKeepsTheValue) {
  UniqueNumber owner(4);
  UniqueNumber& same = owner;
  owner = std::move(same);
  EXPECT_EQ(owner.get(), 4);
  EXPECT_TRUE(closed().empty());
}

TEST_F(UniqueResourceTest, ReleaseGivesTheValueUpUnclosed) {
  {
    UniqueNumber owner(5);
    EXPECT_EQ(owner.release(), 5);
    EXPECT_FALSE(owner);
  }
  EXPECT_TRUE(closed().empty());
}

TEST_F(UniqueResourceTest, ReceiveEmptiesTheOwnerFirst) {
  UniqueNumber owner(6);
  int* slot = owner.receive();
  EXPECT_EQ(closed(), Numbers{6});
  EXPECT_EQ(*slot, 0);
  *slot = 8;
  EXPECT_EQ(owner.get(), 8);
}

TEST_F(UniqueResourceTest, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<UniqueNumber>);
  EXPECT_FALSE(std::is_copy_assignable_v<UniqueNumber>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<UniqueNumber>);
  EXPECT_TRUE(std::is_nothrow_move_assignable_v<UniqueNumber>);
}

TEST(UniqueHandle, TakesBothEmptyValuesOfTheSystem) {
  EXPECT_FALSE(UniqueHandle(nullptr));
  EXPECT_FALSE(UniqueHandle(INVALID_HANDLE_VALUE));
  EXPECT_FALSE(UniqueFindHandle(INVALID_HANDLE_VALUE));
  EXPECT_FALSE(UniqueLocalMemory(nullptr));
}

TEST(UniqueHandle, ClosesAHandleForGood) {
  HANDLE raw = nullptr;
  {
    const UniqueHandle event(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ASSERT_TRUE(event);
    raw = event.get();
  }
  DWORD flags = 0;
  EXPECT_FALSE(::GetHandleInformation(raw, &flags));
}

TEST(LastErrorKeeper, PutsTheCodeBack) {
  ::SetLastError(kCodeBefore);
  {
    const LastErrorKeeper keep;
    ::SetLastError(1);
  }
  EXPECT_EQ(::GetLastError(), kCodeBefore);
}

}  // namespace
}  // namespace korvel
