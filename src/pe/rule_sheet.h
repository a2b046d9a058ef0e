// How rules are evaluated, so that the same evaluation can also be explained: what was measured, against
// which limit, and whether the rule hit. Without a trace nothing is measured for it. Pure; a sheet serves one
// thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "records/finding.h"

namespace korvel {

/// A number or names of the file's own: sections, functions, parts of its path.
using RuleQuantity = std::variant<std::monostate, uint64_t, double, std::vector<std::string>>;

/// What a rule looked at.
struct RuleTerms {
  RuleQuantity value = {};    ///< of the file
  RuleQuantity limit = {};    ///< of the rule; empty where it only looks names up
  std::string sparedBy = {};  ///< what excuses a file whose value alone would hit; usually empty

  bool operator==(const RuleTerms&) const = default;
};

/// What a rule says about a file that it hits: the finding but for its code.
struct RuleHit {
  Severity severity = kSeverityClean;
  std::string title;
  std::string detail;
};

/// One rule applied to one file.
struct RuleCheck {
  std::string code;  ///< as in the finding
  bool hit = false;
  Severity severity = kSeverityClean;  ///< of the finding; 0 without a hit
  RuleTerms terms;

  bool operator==(const RuleCheck&) const = default;
};

using RuleTrace = std::vector<RuleCheck>;

/// Turns hits into findings, and every rule into a line of the trace where one is wanted.
class RuleSheet {
 public:
  /// `trace` may be null; both must outlive this object.
  RuleSheet(std::vector<Finding>& findings, RuleTrace* trace) : findings_(findings), trace_(trace) {}

  /// `tell()` yields the RuleHit and is called for a hit only; `measure()` yields the RuleTerms and is called
  /// for a trace only. Returns `hit`.
  template <typename Tell, typename Measure>
  bool judge(std::string_view code, bool hit, const Tell& tell, const Measure& measure) {
    Severity severity = kSeverityClean;
    if (hit) {
      RuleHit told = tell();
      severity = told.severity;
      findings_.push_back({severity, std::string(code), std::move(told.title), std::move(told.detail)});
    }
    if (trace_ != nullptr) trace_->push_back({std::string(code), hit, severity, measure()});
    return hit;
  }

 private:
  std::vector<Finding>& findings_;
  RuleTrace* const trace_;
};

}  // namespace korvel
