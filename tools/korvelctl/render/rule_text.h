// One rule of a verdict in words. Pure and thread-safe.
#pragma once

#include <string>

#include "korvelctl/render/look.h"
#include "pe/rule_sheet.h"

namespace korvel::ctl {

/// What the rule measured and against what: "highest section entropy 6.91, limit > 7.2". A rule that this
/// client does not know gets its bare value and limit. Printable, no line end.
std::string ruleText(const RuleCheck& rule, const Look& look);

}  // namespace korvel::ctl
