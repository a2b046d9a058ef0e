#include "engine/signatures_in_force.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace korvel::svc {
namespace {

/// A pointer that owns `number` and is never looked into.
SignaturesInForce::Pointer database(const std::shared_ptr<int>& number) {
  return {number, reinterpret_cast<const SignatureDatabase*>(number.get())};
}

TEST(SignaturesInForce, AreNoneUntilADatabaseIsLoaded) {
  SignaturesInForce signatures;
  EXPECT_EQ(signatures.current(), nullptr);
  const auto number = std::make_shared<int>(1);
  signatures.replace(database(number));
  EXPECT_EQ(signatures.current(), database(number));
  signatures.replace(nullptr);
  EXPECT_EQ(signatures.current(), nullptr);
}

TEST(SignaturesInForce, TheOldDatabaseLivesUntilItsLastUserReleasesIt) {
  SignaturesInForce signatures;
  auto number = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = number;
  signatures.replace(database(std::exchange(number, nullptr)));
  SignaturesInForce::Pointer inUse = signatures.current();
  signatures.replace(database(std::make_shared<int>(2)));
  EXPECT_FALSE(watched.expired());
  inUse.reset();
  EXPECT_TRUE(watched.expired());
}

TEST(SignaturesInForce, ThreadsReadWhileOneReplaces) {
  SignaturesInForce signatures;
  signatures.replace(database(std::make_shared<int>(0)));
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&signatures] {
      for (int round = 0; round < 2'000; ++round) EXPECT_NE(signatures.current(), nullptr);
    });
  }
  for (int round = 0; round < 2'000; ++round) signatures.replace(database(std::make_shared<int>(round)));
  for (std::thread& reader : readers) reader.join();
}

}  // namespace
}  // namespace korvel::svc
