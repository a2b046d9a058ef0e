#include "korvelctl/render/diagnosis.h"

#include <algorithm>
#include <utility>

#include "korvelctl/cli/words/doctor_words.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

constexpr std::pair<const char*, Text> kDoctorTitles[] = {
    {"service", words::kTitleService},
    {"registration", words::kTitleRegistration},
    {"pipe", words::kTitlePipe},
    {"protection", words::kTitleProtection},
    {"database", words::kTitleDatabase},
    {"database_age", words::kTitleDatabaseAge},
    {"update_server", words::kTitleUpdateServer},
    {"settings", words::kTitleSettings},
    {"quarantine", words::kTitleQuarantine},
    {"log", words::kTitleLog},
    {"hosts", words::kTitleHosts},
    {"program_rights", words::kTitleProgramRights},
    {"data_rights", words::kTitleDataRights},
    {"quarantine_rights", words::kTitleQuarantineRights},
    {"clock", words::kTitleClock}};
constexpr std::pair<const char*, Text> kSelftestTitles[] = {
    {"write", words::kStepWrite}, {"scan", words::kStepScan},       {"quarantine", words::kStepQuarantine},
    {"list", words::kStepList},   {"restore", words::kStepRestore}, {"delete", words::kStepDelete}};

template <size_t kCount>
std::string titleOf(const std::pair<const char*, Text> (&titles)[kCount], const std::string& id,
                    Language language) {
  for (const auto& [name, text] : titles) {
    if (id == name) return text.in(language);
  }
  return id;
}

const Text& stateText(DiagnosisState state) {
  switch (state) {
    case DiagnosisState::kOk:
      return words::kStateOk;
    case DiagnosisState::kWarning:
      return words::kStateWarning;
    case DiagnosisState::kFailure:
      return words::kStateFailure;
    case DiagnosisState::kNotLookedAt:
      break;
  }
  return words::kStateNotLookedAt;
}

/// Colours follow the severities: red for a failure, yellow for a warning.
std::string shownState(DiagnosisState state, const std::string& text, const Look& look) {
  if (state == DiagnosisState::kFailure) return colored(text, kSeverityHigh, look);
  if (state == DiagnosisState::kWarning) return colored(text, kSeverityMedium, look);
  return text;
}

std::string padded(std::string text, size_t columns) {
  const size_t used = columnsOf(text);
  if (used < columns) text.append(columns - used, ' ');
  return text;
}

std::string page(const std::vector<Diagnosis>& lines, const DiagnosisTitle& title, const Look& look) {
  size_t stateColumns = 0, titleColumns = 0;
  for (const Diagnosis& line : lines) {
    stateColumns = std::max(stateColumns, columnsOf(stateText(line.state).in(look.language)));
    titleColumns = std::max(titleColumns, columnsOf(title(line.id)));
  }
  const std::string margin(stateColumns + titleColumns + 4, ' ');
  std::string text;
  for (const Diagnosis& line : lines) {
    const std::string state = padded(stateText(line.state).in(look.language), stateColumns);
    const std::string rest = "  " + padded(title(line.id), titleColumns) + "  ";
    // Wrapped with the plain state: a colour takes no room on the screen.
    std::string block = wrapped(line.message, look.columns, state + rest);
    block.replace(0, state.size(), shownState(line.state, state, look));
    text += block;
    if (!line.nextStep.empty()) text += wrapped(line.nextStep, look.columns, margin + "-> ");
  }
  return text;
}

}  // namespace

std::string renderDiagnosis(const std::vector<Diagnosis>& lines, const DiagnosisTitle& title,
                            const Look& look) {
  if (look.mode == OutputMode::kTable) return page(lines, title, look);
  Listing listing({{"state", words::kDoctorColumnState},
                   {"id", words::kColumnCheck},
                   {"message", words::kColumnMessage},
                   {"next_step", words::kColumnNextStep}});
  for (const Diagnosis& line : lines) {
    listing.addRow({Listing::Cell(stateText(line.state).in(look.language), diagnosisStateName(line.state)),
                    Listing::Cell(title(line.id), line.id), line.message, line.nextStep});
  }
  return listing.text(look);
}

nlohmann::ordered_json diagnosisJson(const std::vector<Diagnosis>& lines) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Diagnosis& line : lines) {
    list.push_back({{"id", line.id},
                    {"state", diagnosisStateName(line.state)},
                    {"message", line.message},
                    {"next_step", line.nextStep}});
  }
  return list;
}

std::string doctorTitle(const std::string& id, Language language) {
  return titleOf(kDoctorTitles, id, language);
}
std::string selftestTitle(const std::string& id, Language language) {
  return titleOf(kSelftestTitles, id, language);
}

std::string doctorSummary(const std::vector<Diagnosis>& lines, Language language) {
  const auto count = [&lines](DiagnosisState state) {
    return std::to_string(std::count_if(lines.begin(), lines.end(),
                                        [state](const Diagnosis& line) { return line.state == state; }));
  };
  const std::string all = std::to_string(lines.size());
  if (count(DiagnosisState::kOk) == all) return filled(words::kAllWell, language, {all}) + "\n";
  return filled(words::kSummary, language,
                {all, count(DiagnosisState::kOk), count(DiagnosisState::kWarning),
                 count(DiagnosisState::kFailure), count(DiagnosisState::kNotLookedAt)}) +
         "\n";
}

}  // namespace korvel::ctl
