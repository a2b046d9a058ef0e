// What a hosts file holds of the web shield. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::ctl {

/// Resolving names becomes slow for every program beyond this many lines.
inline constexpr uint64_t kManyHostsLines = 10'000;

struct ShieldBlock {
  uint64_t blocks = 0;    ///< more than one: the next update joins them
  bool unclosed = false;  ///< a begin without an end: everything below it counts as part of the block
  uint64_t entries = 0;   ///< lines of the block that are the shield's own
  uint64_t domains = 0;   ///< different names among them, "www." left out
  uint64_t duplicates = 0;
  uint64_t foreign = 0;                   ///< other lines inside the block, which the next update removes
  std::vector<std::string> foreignLines;  ///< the first ten of them, unchanged
  uint64_t userLines = 0;                 ///< lines outside, blank ones and comments left out; untouched
  uint64_t leftBehind = 0;                ///< entries of the shield that stand outside the block
  uint64_t lines = 0;                     ///< of the whole file

  bool present() const { return blocks > 0; }
  bool operator==(const ShieldBlock&) const = default;
};

ShieldBlock inspectShieldBlock(std::string_view hosts);

}  // namespace korvel::ctl
