// What korvelsig has to say about a line of a signature file or about the whole file. The ids are stable:
// scripts and docs/signatures.md name them. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace korvel::sig {

enum class FindingId {
  kInvalidDigest,        // E01
  kWrongLength,          // E02
  kKeywordWithoutValue,  // E03
  kEmptyName,            // E04
  kUnknownSeverity,      // E05
  kLostFields,           // E06
  kMd5LongForm,          // W01
  kRepeated,             // W02
  kSizeDiffers,          // W03
  kNoHeader,             // W04
  kBlankInField,         // W05
  kGenericName,          // W06
  kNotAscii,             // W07
  kNeverListed,          // W08
  kTooManyForFeed,       // W09
  kNotCanonical,         // C01
};

/// "E01" and so on. A static string.
const char* findingName(FindingId id);

/// Whether the service skips the line or reads another entry than the line seems to say. The others are
/// warnings.
bool isError(FindingId id);

struct Finding {
  FindingId id;
  uint64_t line;     ///< counted from 1; 0 for the file as a whole
  std::string text;  ///< printable ASCII, one line

  bool operator==(const Finding&) const = default;
};

bool hasErrors(const std::vector<Finding>& findings);
uint64_t countErrors(const std::vector<Finding>& findings);

/// By line and id, those of the whole file last.
void sortFindings(std::vector<Finding>& findings);

/// `text` in double quotes, fit for a terminal: every byte that is not printable ASCII becomes \xNN, and what
/// follows the first 60 bytes becomes "...".
std::string inQuotes(std::string_view text);

/// The same without the quotes and without a limit.
std::string printableAscii(std::string_view text);

}  // namespace korvel::sig
