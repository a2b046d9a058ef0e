// Digests that are never published: the allow list, which may be shared with the update server's publisher
// and then also names domains. Pure; thread-safe once filled.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "korvelsig/finding.h"

namespace korvel::sig {

/// Digests as binary texts, in the order of SignatureCursor.
using DigestList = std::set<std::string>;

/// The key of a digest in the list.
std::string digestKey(std::span<const uint8_t> digest);

/// Reads a list: one digest (MD5, SHA-1 or SHA-256) per line, anything after the first blank ignored, lines
/// that begin with "#" are comments, names with a dot are domains and passed over. Appends a finding for
/// every other line, since a misspelt digest would be published.
void readAllowList(std::string_view text, DigestList& list, std::vector<Finding>& findings);

}  // namespace korvel::sig
