// What changed between two databases, entry by entry. Pure and thread-safe.
#pragma once

#include <functional>
#include <optional>
#include <span>

#include "signatures/signature_table.h"

namespace korvel::sig {

/// One digest that the tables do not agree on; the fields live as long as the tables.
struct EntryChange {
  std::span<const uint8_t> digest;
  std::optional<SignatureFields> older;  ///< none: added
  std::optional<SignatureFields> newer;  ///< none: removed
};

/// Calls `take` for every change, in the order of the digests. Tags do not count: they are never shown.
void compareTables(const SignatureTable& older, const SignatureTable& newer,
                   const std::function<void(const EntryChange&)>& take);

}  // namespace korvel::sig
