// The answer of 'check' in every form. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "korvelctl/model/checked_file.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// The fields of the document, without its schema and its errors. The rules are there with or without
/// `explain`.
nlohmann::ordered_json checkJson(const CheckDocument& document);

/// A paragraph for each file, then the summary; one CSV row for each file in that mode.
std::string renderCheck(const CheckDocument& document, const Look& look);

/// Why a file was not examined: "it is empty". Empty for one that was.
std::string readingText(FileReading reading, Language language);

}  // namespace korvel::ctl
