// The command line of korvelsig and the command that it stands for. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "records/severity.h"

namespace korvel::sig {

/// Scripts depend on these numbers.
enum ExitCode : int {
  kExitClean = 0,       ///< done; nothing to report
  kExitFindings = 1,    ///< findings, a listed digest, a difference; or refused because of the content
  kExitUnreadable = 2,  ///< a file cannot be read or written
  kExitUsage = 64,
  kExitInternal = 70,
};

enum class Action { kBuild, kVerify, kInfo, kLookup, kWhy, kDiff, kAdd, kFeed };

/// Paths and texts are UTF-8, as given.
struct Command {
  Action action = Action::kVerify;
  bool json = false;
  std::vector<std::string>
      files;  ///< databases or inputs, in the order of loading; for a difference: old, new

  std::string output;                  ///< build, feed
  std::optional<std::string> version;  ///< build, add
  std::optional<uint64_t> time;        ///< build, add: Unix seconds
  std::vector<std::string> allow;      ///< build, feed: digests, or files that list them
  bool skipBad = false;                ///< build, add, feed: leave lines with errors out and go on

  bool strict = false;  ///< verify
  bool stat = false;    ///< diff: counts only

  std::vector<std::string> items;  ///< lookup, why: digests; lookup: or files

  std::vector<std::string> sha256;   ///< add
  std::vector<std::string> samples;  ///< add: files
  std::string name;                  ///< add, and the next three
  std::string family;
  std::string severity = "high";
  std::string reference;
  bool replace = false;  ///< add: also where the digest is listed already

  bool operator==(const Command&) const = default;
};

/// Help, the version, or a usage error.
struct Notice {
  int exitCode = kExitClean;  ///< kExitClean for help and version, kExitUsage otherwise
  std::string text;           ///< ends in LF
};

/// `arguments` are those after the program's name, UTF-8.
std::variant<Command, Notice> parseCommandLine(std::vector<std::string> arguments);

}  // namespace korvel::sig
