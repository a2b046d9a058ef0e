#include "engine/settings_in_force.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace korvel::svc {
namespace {

const SettingsInForce::Writer kNowhere = [](const SettingsFields&) {};

TEST(SettingsInForce, EmptyPathsKeepTheValuesInForce) {
  SettingsInForce settings(kNowhere);
  SettingsFields first;
  first.signatureDb = L"C:\\seed.txt";
  first.quarantineDir = L"C:\\q";
  (void)settings.replace(first);
  SettingsFields second;
  second.webShield = false;
  (void)settings.replace(second);
  EXPECT_EQ(settings.get().signatureDb, L"C:\\seed.txt");
  EXPECT_EQ(settings.get().quarantineDir, L"C:\\q");
  EXPECT_FALSE(settings.get().webShield);
}

TEST(SettingsInForce, AReplacementSaysWhatItChanged) {
  SettingsInForce settings(kNowhere);
  SettingsFields fields;
  SettingsInForce::Changes changes = settings.replace(fields);
  EXPECT_FALSE(changes.realTimeEnabled);
  EXPECT_FALSE(changes.webShield);
  fields.realTimeEnabled = !fields.realTimeEnabled;
  changes = settings.replace(fields);
  EXPECT_TRUE(changes.realTimeEnabled);
  EXPECT_FALSE(changes.webShield);
  fields.webShield = !fields.webShield;
  changes = settings.replace(fields);
  EXPECT_FALSE(changes.realTimeEnabled);
  EXPECT_TRUE(changes.webShield);
}

TEST(SettingsInForce, AnUpdateChangesSingleFields) {
  SettingsInForce settings(kNowhere);
  settings.update([](SettingsFields& fields) { fields.lastScanUtc = 7; });
  EXPECT_EQ(settings.get().lastScanUtc, 7u);
}

// Whatever the order in which threads change and save, the last save has every change that came before it.
TEST(SettingsInForce, SavesTakeTurnsAndTheLastOneHasEveryChange) {
  std::vector<uint64_t> saved;  // needs no lock: saves take turns
  SettingsInForce settings(
      [&saved](const SettingsFields& fields) { saved.push_back(fields.lastThreatCount); });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&settings] {
      for (int change = 0; change < 250; ++change) {
        settings.update([](SettingsFields& fields) { ++fields.lastThreatCount; });
        settings.save();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_EQ(saved.size(), 1000u);
  EXPECT_EQ(saved.back(), 1000u);
  EXPECT_TRUE(std::is_sorted(saved.begin(), saved.end()));
}

}  // namespace
}  // namespace korvel::svc
