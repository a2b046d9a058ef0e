// What is written down of a simulated week: what has happened, which promises were broken, which settings
// were saved.
#pragma once

#include <optional>
#include <string>

#include "engine/simulation/made_up_machine.h"
#include "engine/simulation/simulated_week.h"
#include "records/settings_fields.h"

namespace korvel::test {

class WeekJournal {
 public:
  WeekJournal(uint64_t seed, const Timeline& time) : seed_(seed), time_(time) {}

  void broken(const std::string& promise) {
    if (report_.broken.size() < kMostBroken) {
      report_.broken.push_back("seed " + std::to_string(seed_) + ", " + std::to_string(time_.awake()) +
                               " ms: " + promise);
    }
  }
  void promise(bool kept, const char* text) {
    if (!kept) broken(text);
  }
  void happened(const std::string& what) {
    ++report_.happened[what];
    report_.trace = report_.trace * 1'099'511'628'211 + time_.clock() + what.size();
  }
  void saved(const SettingsFields& settings) { saved_ = settings; }
  const std::optional<SettingsFields>& saved() const { return saved_; }
  const WeekReport& report() const { return report_; }

 private:
  static constexpr size_t kMostBroken = 20;

  const uint64_t seed_;
  const Timeline& time_;
  WeekReport report_;
  std::optional<SettingsFields> saved_;
};

}  // namespace korvel::test
