// The lines of a diagnosis as a page, a list, CSV and JSON. Pure and thread-safe.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "korvelctl/model/diagnosis.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// What people read in place of a line's id.
using DiagnosisTitle = std::function<std::string(const std::string& id)>;

/// Without a summary.
std::string renderDiagnosis(const std::vector<Diagnosis>& lines, const DiagnosisTitle& title,
                            const Look& look);
nlohmann::ordered_json diagnosisJson(const std::vector<Diagnosis>& lines);

std::string doctorTitle(const std::string& id, Language language);
/// "12 checks: 9 ok, ...", ends in LF.
std::string doctorSummary(const std::vector<Diagnosis>& lines, Language language);
std::string selftestTitle(const std::string& id, Language language);

}  // namespace korvel::ctl
