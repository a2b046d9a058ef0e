#include "remedy/domain_set.h"

#include <gtest/gtest.h>

#include <string>

namespace korvel {
namespace {

TEST(DomainSet, TakesEachDomainOnce) {
  DomainSet set;
  EXPECT_TRUE(set.insert("a.com"));
  EXPECT_TRUE(set.insert("b.com"));
  EXPECT_FALSE(set.insert("a.com"));
  EXPECT_EQ(set.size(), 2u);
}

TEST(DomainSet, TellsADomainFromItsBeginningsAndEnds) {
  DomainSet set;
  for (const char* domain : {"a.com", "a.co", "a.comm", ".com", "com", "", "A.com"}) {
    EXPECT_TRUE(set.insert(domain)) << domain;
    EXPECT_FALSE(set.insert(domain)) << domain;
  }
}

TEST(DomainSet, KeepsAllThroughEveryGrowthAndAcrossPieces) {
  DomainSet set;
  const auto domain = [](int i) {
    return "d" + std::to_string(i) + std::string(static_cast<size_t>(i % 30), 'x');
  };
  for (int i = 0; i < 100'000; ++i) EXPECT_TRUE(set.insert(domain(i))) << i;
  for (int i = 0; i < 100'000; ++i) EXPECT_FALSE(set.insert(domain(i))) << i;
  EXPECT_EQ(set.size(), 100'000u);
}

TEST(DomainSet, TakesATextLongerThanItsPieces) {
  DomainSet set;
  const std::string longText(3 * kMiB + 5, ' ');
  EXPECT_TRUE(set.insert(longText + "a.com"));
  EXPECT_TRUE(set.insert(longText + "b.com"));
  EXPECT_FALSE(set.insert(longText + "a.com"));
}

}  // namespace
}  // namespace korvel
