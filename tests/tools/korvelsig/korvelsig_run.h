// Runs korvelsig on files that exist only in memory.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "korvelsig/commands.h"

namespace korvel::test {

class MemoryFiles : public sig::FileAccess {
 public:
  std::map<std::string, std::string> content;
  std::map<std::string, uint64_t> claimedSizes;  ///< in place of the real ones
  size_t pieceBytes = 100;
  bool diskFull = false;

  uint64_t size(const std::string& path) override {
    return claimedSizes.contains(path) ? claimedSizes[path] : found(path).size();
  }

  void read(const std::string& path, const std::function<void(std::string_view)>& take) override {
    const std::string text = found(path);
    for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(std::min(pieceBytes, rest.size()))) {
      take(rest.substr(0, pieceBytes));
    }
  }

  void replace(const std::string& path, const std::function<void(const Append&)>& fill) override {
    std::string text;
    fill([&](std::string_view piece) {
      if (diskFull) throw sig::FileFailure("cannot write " + path + ": disk full");
      text += piece;
    });
    content[path] = text;
  }

 private:
  const std::string& found(const std::string& path) {
    if (!content.contains(path)) throw sig::FileFailure("cannot read " + path + ": no such file");
    return content[path];
  }
};

struct SigRun {
  int exitCode = 0;
  std::string out;
  std::string err;
};

inline SigRun runSig(MemoryFiles& files, const std::vector<std::string>& arguments) {
  SigRun run;
  const sig::Surroundings here{files, [&run](std::string_view text) { run.out += text; },
                               [&run](std::string_view text) { run.err += text; }, /*now=*/1'795'219'200};
  run.exitCode = sig::runKorvelsig(arguments, here);
  return run;
}

inline const std::string kSha256A = std::string(63, '0') + "a";
inline const std::string kSha256B = std::string(63, '0') + "b";
inline const std::string kSha1 = std::string(39, '1') + "c";
inline const std::string kMd5 = std::string(31, '2') + "d";

}  // namespace korvel::test
