// What is wrong with a settings.ini, judged as the service reads it: exactly, without trimming anything. Pure
// and thread-safe. Texts are UTF-8 and unchanged: they may hold control characters.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::ctl {

enum class LintLevel {
  kError,    ///< the service does not start
  kWarning,  ///< the service reads something else than what stands there
  kNote,     ///< harmless; does not count as a finding
};

enum class LintRule {
  kBadHour,         ///< ScheduledHour does not begin with a number, or the number is beyond 32 bits
  kCarriageReturn,  ///< a CR before the end of the line belongs to the value; reported once, for all lines
  kByteOrderMark,   ///< it belongs to the first line's key
  kNul,             ///< not a text file of this encoding (reported once)
  kUnknownKey,
  kKeySpelling,  ///< a key in another case or with blanks around it
  kDuplicateKey,
  kBoolean,      ///< neither 1 nor true, nor plainly 0 or false
  kHourWraps,    ///< ScheduledHour outside 0 to 23, or text behind the number
  kNumber,       ///< a counter that is not a plain number
  kValueBlanks,  ///< blanks around a text
  kEmptyPath,
  kRelativePath,
  kServerScheme,  ///< UpdateServer without http:// or https://
  kComment,       ///< a line without "=", which the next save drops
};

/// "hour", "carriage_return", "unknown_key" and so on. A static text.
const char* lintRuleName(LintRule rule);
LintLevel lintLevel(LintRule rule);
/// "error", "warning", "note". A static text.
const char* lintLevelName(LintLevel level);

struct LintFinding {
  LintRule rule = LintRule::kComment;
  size_t line = 0;     ///< from 1
  std::string key;     ///< as it stands there
  std::string value;   ///< as it stands there; of kComment, the line
  std::string meant;   ///< of kKeySpelling and kUnknownKey: the key that is probably meant; may be empty
  std::string readAs;  ///< how the service reads the value; empty where it ignores the line or does not start
  size_t times = 1;    ///< of kCarriageReturn and kNul: in how many lines

  bool operator==(const LintFinding&) const = default;
};

/// In the order of the lines.
std::vector<LintFinding> lintSettings(std::string_view text);

/// Whether there is more than notes.
bool hasLintFindings(const std::vector<LintFinding>& findings);

/// The text as it was probably meant, in the service's own form: the header line, then each known key once,
/// in the order of the service's own file, LF line ends. Spelling, blanks and CRs are put right; a value that
/// says nothing is left out, so that the service's default counts; a number that the service reads in an odd
/// way becomes what it reads. A key that is not there stays away. Lines that the service ignores are lost.
std::string fixedSettings(std::string_view text);

}  // namespace korvel::ctl
