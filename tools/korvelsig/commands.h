// What korvelsig does. Not thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "korvelsig/command_line.h"
#include "korvelsig/digest_list.h"
#include "korvelsig/file_access.h"
#include "korvelsig/finding.h"

namespace korvel::sig {

/// What a command works with.
struct Surroundings {
  FileAccess& files;
  std::function<void(std::string_view)> out;  ///< UTF-8, lines end in LF
  std::function<void(std::string_view)> err;
  uint64_t now = 0;  ///< Unix seconds
};

/// The whole program: parses the arguments (UTF-8, without the program's name), runs the command and returns
/// the exit code. With --json a failure is one object too.
int runKorvelsig(const std::vector<std::string>& arguments, const Surroundings& here);

// The commands; each returns its exit code and throws FileFailure.
int runVerify(const Command& command, const Surroundings& here);
int runBuild(const Command& command, const Surroundings& here);
int runAdd(const Command& command, const Surroundings& here);
int runFeed(const Command& command, const Surroundings& here);
int runInfo(const Command& command, const Surroundings& here);
int runLookup(const Command& command, const Surroundings& here);
int runWhy(const Command& command, const Surroundings& here);
int runDiff(const Command& command, const Surroundings& here);

// What the commands share.

/// "FILE:LINE: ID text", with LF.
std::string findingText(const std::string& file, const Finding& finding);
nlohmann::ordered_json findingJson(const Finding& finding);
/// Indented by two blanks, LF at the end. Malformed UTF-8 becomes U+FFFD.
std::string dumpJson(const nlohmann::ordered_json& json);

}  // namespace korvel::sig
