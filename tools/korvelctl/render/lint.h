// What 'config lint' says, in every form. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "korvelctl/model/settings_lint.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// The finding in one sentence, printable, without its place.
std::string lintText(const LintFinding& finding, Language language);

/// The fields of the document. `lines` is the number of lines of the file.
nlohmann::ordered_json lintJson(const std::vector<LintFinding>& findings, const std::wstring& file,
                                size_t lines);

/// A list of findings and a line that sums them up.
std::string renderLint(const std::vector<LintFinding>& findings, const std::wstring& file, size_t lines,
                       const Look& look);

}  // namespace korvel::ctl
