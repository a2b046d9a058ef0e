// Judges the structure of a PE image: packer names, the packed mark and the findings with their texts. Pure
// and thread-safe.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "pe/pe_info.h"

namespace korvel {

/// The packer that leaves a section of this name (any ASCII case) behind; empty when none does. A static
/// text.
std::string_view packerOfSection(std::string_view sectionName);

/// The packer of the first section, in header order, that names one; empty when none does. A static text.
std::string_view findPacker(const std::vector<PeSection>& sections);

/// True when a section is writable and executable, takes memory and is almost empty: room to unpack into.
/// Needs the entropies of the sections.
bool hasPackedMark(const PeInfo& info);

/// The findings for an image, in their fixed order. `packer` is empty when none was found; `unixNow` is the
/// current time in Unix seconds. `trace`, when given, gets a line for every rule.
std::vector<Finding> peFindings(const PeInfo& info, std::string_view packer, uint64_t unixNow,
                                RuleTrace* trace = nullptr);

}  // namespace korvel
