// The whole engine in this process, on the data directory of the test's own Windows prefix.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "config/settings.h"
#include "engine/scan_worker.h"
#include "support/eventually.h"
#include "support/temp_folder.h"

namespace korvel::test {

/// The data directory is empty before and after each test. The settings that the engine starts with are those
/// in settings_: one signature database of the test's own, and everything that runs by itself switched off.
class EngineTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Writes settings_, then initialises and starts an engine, which ends with the test.
  svc::ScanWorker& startWorker(const svc::LoopTimes& times = {});

  static std::string log();
  static bool logged(const std::string& text) { return logCount(text) > 0; }
  static int logCount(const std::string& text);
  /// Waits until the log holds `text` at least `count` times.
  static bool logGets(const std::string& text, int count = 1) {
    return eventually([&] { return logCount(text) >= count; });
  }
  /// The content of settings.ini.
  static SettingsFields savedSettings();

  TempFolder folder_;
  std::wstring seed_;  // the signature file: folder_\seed.txt
  Settings settings_;
  std::unique_ptr<svc::ScanWorker> worker_;
};

}  // namespace korvel::test
