#include "engine/engine_fixture.h"

#include "config/data_paths.h"
#include "config/settings_file.h"
#include "runtime/log.h"

namespace korvel::test {
namespace {

void removeData() {
  Log::instance().open(L"NUL");  // closes the log file of the previous test
  removeTree(dataDir());
  removeTree(scanCachePath());
}

}  // namespace

void EngineTest::SetUp() {
  removeData();
  seed_ = folder_.write(L"seed.txt", "KORVELDB/1\n" + std::string(64, 'a') + "\n");
  settings_.signatureDb = seed_;
  settings_.realTimeEnabled = false;
  settings_.scheduledScan = false;
  settings_.webShield = false;
  settings_.liveUpdates = false;
}

void EngineTest::TearDown() {
  worker_.reset();
  removeData();
}

svc::ScanWorker& EngineTest::startWorker(const svc::LoopTimes& times) {
  writeSettingsFile(settings_, settingsPath());
  worker_ = std::make_unique<svc::ScanWorker>(times);
  std::string error;
  EXPECT_TRUE(worker_->init(&error)) << error;
  EXPECT_TRUE(worker_->start(&error)) << error;
  return *worker_;
}

std::string EngineTest::log() { return readFile(logPath()); }

int EngineTest::logCount(const std::string& text) {
  const std::string lines = log();
  int count = 0;
  for (size_t at = lines.find(text); at != std::string::npos; at = lines.find(text, at + 1)) ++count;
  return count;
}

SettingsFields EngineTest::savedSettings() {
  SettingsFields settings;
  EXPECT_TRUE(readSettingsFile(settings, settingsPath()));
  return settings;
}

}  // namespace korvel::test
