// The command line of korvelmock. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace korvel::mock {

inline constexpr int kExitDone = 0;
inline constexpr int kExitScript = 2;  ///< the script cannot be read
inline constexpr int kExitPipe = 3;    ///< the pipe cannot be made
inline constexpr int kExitUsage = 64;

struct Options {
  std::string script;  ///< path of a script; empty: a scene
  std::string scene;
  std::string pipe = "KorvelAV";
  bool standardStreams = false;  ///< speaks over standard input and output instead of a pipe
  uint64_t connections = 0;      ///< ends after so many; 0: never
  bool quiet = false;
  bool check = false;   ///< only reads the script
  bool print = false;   ///< only prints the script of the scene
  bool scenes = false;  ///< only lists the scenes
};

/// What to print instead of running, and the exit code.
struct Notice {
  int exitCode = kExitDone;
  std::string text;
};

/// `arguments` are UTF-8, without the program's name.
std::variant<Options, Notice> parseCommandLine(std::vector<std::string> arguments);

}  // namespace korvel::mock
