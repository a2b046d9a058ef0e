// The options that every command takes. A plain value.
#pragma once

#include <cstdint>
#include <string>

#include "korvelctl/cli/text.h"

namespace korvel::ctl {

enum class OutputMode {
  kTable,
  kList,    ///< one "name: value" line per field
  kCsv,     ///< UTF-8 without a byte-order mark; English keys
  kJson,    ///< one document
  kNdjson,  ///< one document per line
};

struct GlobalOptions {
  OutputMode mode = OutputMode::kTable;
  Language language = Language::kEnglish;
  bool noColor = false;
  bool quiet = false;            ///< no hints, no progress
  bool verbose = false;          ///< progress lines also without a terminal
  bool yes = false;              ///< the answer to every question
  bool dryRun = false;           ///< change nothing, say what would change
  uint64_t timeoutSeconds = 10;  ///< for getting a connection
  std::string pipe;              ///< name of the pipe; empty = the service's own
  std::string trace;             ///< file for every exchange; empty = none

  bool documents() const { return mode == OutputMode::kJson || mode == OutputMode::kNdjson; }
};

}  // namespace korvel::ctl
