// The marked block of blocking entries in the text of a hosts file. Everything outside the block is the
// user's and is kept line for line; only a CR at the end of a line is lost, since the result has LF line
// ends.
//
// A marker is a line that equals the marker's text once blanks are trimmed, in exactly this case. A begin
// marker that is never closed takes the rest of the file into the block. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

/// No further domain is written once the block has more lines than this, its begin and end counted.
inline constexpr uint64_t kHostsBlockLines = 60'000;

/// 1 to 253 letters, digits, "-" and "." after trimming blanks; a "." inside, none at the ends and no two in
/// a row; at least one letter.
bool isValidBlockDomain(std::string_view domain);

/// `hosts` with its block replaced by one for `domains`, in their order. Each valid domain is written in
/// lower case, and as "www." + domain too unless it begins so already. Duplicates are kept; invalid domains
/// and those beyond the line budget are left out.
std::string applyHostsBlock(std::string_view hosts, const std::vector<std::string>& domains);

/// Whether the text of either marker occurs anywhere, be it inside another line.
bool mentionsHostsBlock(std::string_view hosts);

/// `hosts` without its block.
std::string removeHostsBlock(std::string_view hosts);

/// The lines inside the block that are not blank.
uint64_t countHostsBlockEntries(std::string_view hosts);

/// Where a line of a hosts file stands.
enum class HostsLine { kOutside, kBegin, kInside, kEnd };

using HostsLineVisitor = std::function<void(std::string_view line, HostsLine kind)>;

/// Calls `visit` for every line in its order, without its line end.
void visitHostsLines(std::string_view hosts, const HostsLineVisitor& visit);

/// The name that an entry of the block blocks; empty for a line that is none of ours.
std::string_view blockedName(std::string_view line);

}  // namespace korvel
