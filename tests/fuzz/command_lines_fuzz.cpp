// The command lines of the three programs. The first byte chooses the program; words are separated by zero
// bytes. A line is understood, or refused with a text.
#include <string>
#include <vector>

#include "base/utf.h"
#include "fuzz/payload_input.h"
#include "korvelctl/cli/command_line.h"
#include "korvelctl/cli/failure.h"
#include "korvelctl/cli/help.h"
#include "korvelsig/command_line.h"
#include "service/run_mode.h"

using namespace korvel;
using fuzz::require;

namespace {

std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\0', at), text.size());
    words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

bool standsIn(std::wstring_view text, std::wstring_view flag) {
  for (size_t at = 0; at + flag.size() <= text.size(); ++at) {
    if (text.substr(at, flag.size()) == flag) return true;
  }
  return false;
}

void checkService(const std::string& text) {
  const std::wstring tail = toWide(text);
  const CommandLine line = parseCommandLine(tail);
  const RunMode expected = standsIn(tail, L"--ping")           ? RunMode::kPingClient
                           : standsIn(tail, L"--update-check") ? RunMode::kUpdateCheckClient
                           : standsIn(tail, L"--fw")           ? RunMode::kFirewallClient
                           : standsIn(tail, L"--console")      ? RunMode::kConsole
                                                               : RunMode::kService;
  require(line.mode == expected && line.wantsConsole == (expected != RunMode::kService));
}

void checkKorvelsig(const std::string& text) {
  const auto line = sig::parseCommandLine(wordsOf(text));
  if (const auto* notice = std::get_if<sig::Notice>(&line)) {
    require(notice->exitCode == sig::kExitClean || notice->exitCode == sig::kExitUsage);
    require(notice->text.ends_with('\n'));
  }
  require(sig::parseCommandLine(wordsOf(text)).index() == line.index());
}

int nothing(ctl::Context&) { return 0; }

/// A tree of commands with options of each kind.
class Tree {
 public:
  Tree() : root_("korvelctl", kHelp) {
    root_.add("scan", kHelp, nothing)
        .flag("--wait", wait_, kHelp)
        .text("-n,--name", "NAME", name_, kHelp)
        .texts("--also", "NAME", also_, kHelp)
        .number("--count", "N", count_, kHelp, 1, 9)
        .choice("--scope", {"quick", "full"}, scope_, kHelp)
        .arguments("PATH", paths_, kHelp, /*required=*/false);
    ctl::Command& box = root_.add("quarantine", kHelp);
    box.add("list", kHelp, nothing);
    box.add("delete", kHelp, nothing).argument("ID", id_, kHelp);
  }

  void check(const std::vector<std::string>& words) {
    (void)ctl::earlyOptions(words, ctl::Language::kEnglish);
    try {
      const ctl::ParsedLine line = parseCommandLine(root_, words, ctl::Language::kEnglish);
      require(line.version || line.command != nullptr);
      if (line.help) require(!helpText(*line.command, line.global.language, 80).empty());
      require(count_ == 0 || (count_ >= 1 && count_ <= 9));
      require(scope_.empty() || scope_ == "quick" || scope_ == "full");
      for (const std::string& path : paths_) require(std::count(words.begin(), words.end(), path) != 0);
    } catch (const ctl::Failure& failure) {
      const std::string text = failure.what();
      require(failure.kind() == ctl::ErrorKind::kUsage && !text.empty());
    }
  }

 private:
  static constexpr ctl::Text kHelp{"some help", "какая-то справка"};
  ctl::Command root_;
  bool wait_ = false;
  std::string name_, scope_, id_;
  std::vector<std::string> also_, paths_;
  uint64_t count_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string text = fuzz::payloadOf(data + 1, size - 1);
  switch (data[0] % 3) {
    case 0:
      checkService(text);
      break;
    case 1:
      checkKorvelsig(text);
      break;
    default:
      Tree().check(wordsOf(text));
  }
  return 0;
}
