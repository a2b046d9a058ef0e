// The service's registration, and what an installation did, as text and JSON. Pure and thread-safe.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "korvelctl/model/service_plan.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// "runs, process 1234".
std::string serviceStateText(const ServiceFacts& facts, Language language);
/// The name of a fault for scripts: "not_quoted" and so on. A static text.
const char* serviceFaultName(ServiceFault fault);
std::string serviceFaultText(ServiceFault fault, Language language);

std::string renderService(const ServiceFacts& facts, const std::vector<ServiceFault>& faults,
                          const Look& look);
nlohmann::ordered_json serviceJson(const ServiceFacts& facts, const std::vector<ServiceFault>& faults);

}  // namespace korvel::ctl
