// The settings of a fresh installation.
#include "config/settings.h"

#include <gtest/gtest.h>

#include "config/data_paths.h"

namespace korvel {
namespace {

TEST(Settings, StartWithTheDefaults) {
  const Settings settings;
  EXPECT_TRUE(settings.protectionEnabled);
  EXPECT_TRUE(settings.realTimeEnabled);
  EXPECT_FALSE(settings.scanArchives);
  EXPECT_FALSE(settings.scanRemovable);
  EXPECT_TRUE(settings.showThreatModal);
  EXPECT_FALSE(settings.quarantineOnDetect);
  EXPECT_TRUE(settings.scheduledScan);
  EXPECT_EQ(settings.scheduledHour, 4u);
  EXPECT_EQ(settings.lastScanUtc, 0u);
  EXPECT_EQ(settings.lastThreatCount, 0u);
  EXPECT_TRUE(settings.liveUpdates);
  EXPECT_EQ(settings.lastLiveUpdateUtc, 0u);
  EXPECT_TRUE(settings.webShield);
  EXPECT_EQ(settings.updateServer, "");
  EXPECT_EQ(settings.signatureDb, seedSignaturesPath());
  EXPECT_EQ(settings.quarantineDir, defaultQuarantineDir());
}

}  // namespace
}  // namespace korvel
