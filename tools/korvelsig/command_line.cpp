#include "korvelsig/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <sstream>

#include "base/version.h"
#include "hash/hex_digest.h"
#include "korvelsig/canonical_text.h"

namespace korvel::sig {
namespace {

constexpr const char* kDescription =
    "Makes, checks and explains signature files of the KORVEL protection service.";
constexpr const char* kFooter =
    "Databases are given in the order in which the service loads them: the seed, then the live file.\n\n"
    "Examples:\n"
    "  korvelsig build -o signatures.txt --version 2026-11-22 --allow never.txt facts.tsv hashes.txt\n"
    "  korvelsig verify signatures.txt\n"
    "  korvelsig lookup signatures.seed.txt signatures.live.txt -- setup.exe "
    "44d88612fea8a8f36de82e1278abb02f\n"
    "  korvelsig why 44d88612fea8a8f36de82e1278abb02f signatures.seed.txt signatures.live.txt\n"
    "  korvelsig diff old.txt new.txt --stat\n"
    "  korvelsig add signatures.txt --file sample.exe --name Win.Worm.Example --family Example --severity "
    "critical\n"
    "  korvelsig feed signatures.txt -o api/v1/signatures\n\n"
    "Exit codes: 0 done, nothing to report; 1 findings, a listed digest, a difference, or refused;\n"
    "2 a file cannot be read or written; 64 wrong usage.";

/// CLI11 validators: empty when the text will do, else the error text.
std::string unixTime(const std::string& text) {
  uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, value);
  if (problem == std::errc() && stop == end && value <= kMaxTime) return {};
  return "not a time in Unix seconds: " + text;
}

std::string plainText(const std::string& text) {
  const auto isPlain = [](char c) { return c > 0x20 && c < 0x7F; };
  if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) return {};
  return "needs printable ASCII without blanks: " + text;
}

std::string fieldText(const std::string& text) {
  if (text.find(':') != std::string::npos) return "a colon ends a field of a signature file: " + text;
  return plainText(text);
}

/// A reference may hold blanks inside, and be empty.
std::string referenceText(const std::string& text) {
  std::string solid = text;
  std::replace(solid.begin(), solid.end(), ' ', '_');
  if (text.starts_with(' ') || text.ends_with(' ')) return "a blank at an end: " + text;
  if (text.find(':') != std::string::npos) {
    return "a colon ends a field of a signature file (leave out the scheme of a link): " + text;
  }
  return solid.empty() ? std::string() : plainText(solid);
}

std::string versionText(const std::string& text) {
  std::string solid = text;
  std::replace(solid.begin(), solid.end(), ' ', '_');
  if (text.starts_with(' ') || text.ends_with(' ')) return "a blank at an end: " + text;
  return plainText(solid);
}

std::string digestText(const std::string& text) {
  return hash::Digest().parse(text) ? std::string()
                                    : "not a digest of 32, 40 or 64 hexadecimal digits: " + text;
}

std::string sha256Text(const std::string& text) {
  return text.size() == 2 * hash::kSha256Bytes ? digestText(text)
                                               : "not a digest of 64 hexadecimal digits: " + text;
}

/// The command line's grammar over one Command that it fills in.
class Grammar {
 public:
  Grammar() : app_(kDescription, "korvelsig") {
    app_.footer(kFooter);
    app_.set_version_flag("--version", std::string("korvelsig ") + kServiceVersion);
    app_.require_subcommand(1);
    app_.add_flag("--json", command_.json, "Print JSON instead of text");
    addBuild();
    addVerify();
    addInfo();
    addLookup();
    addWhy();
    addDiff();
    addAdd();
    addFeed();
  }

  std::variant<Command, Notice> parse(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them from the back
    try {
      splitItems(arguments);
      app_.parse(std::move(arguments));
      finish();
    } catch (const CLI::ParseError& problem) {
      std::ostringstream text;
      const int code = app_.exit(problem, text, text);
      return Notice{code == 0 ? kExitClean : kExitUsage, text.str()};
    }
    return command_;
  }

 private:
  CLI::App* addAction(const std::string& name, const std::string& help, Action action) {
    CLI::App* sub = app_.add_subcommand(name, help);
    sub->callback([this, action] { command_.action = action; });
    sub->fallthrough();  // --json may follow the command
    return sub;
  }

  void addFiles(CLI::App* sub, const std::string& name, const std::string& help) {
    sub->add_option(name, command_.files, help)->required();
  }

  void addOutput(CLI::App* sub) {
    sub->add_option("-o,--output", command_.output, "The file to write")->required();
    sub->add_option("--allow", command_.allow,
                    "A digest that is never published, or a file of them; may be repeated")
        ->take_all()
        ->allow_extra_args(false);
    addSkipBad(sub);
  }

  void addSkipBad(CLI::App* sub) {
    sub->add_flag("--skip-bad", command_.skipBad,
                  "Leave out lines with an error and go on; without it nothing is written");
  }

  void addHead(CLI::App* sub) {
    sub->add_option("--version", version_, "The VERSION of the file")->check(versionText);
    sub->add_option("--time", time_, "The GENERATED of the file, in Unix seconds; without it, now")
        ->check(unixTime);
  }

  void addBuild() {
    CLI::App* sub = addAction(
        "build", "Write a signature file from facts, lists of hashes and signature files", Action::kBuild);
    addOutput(sub);
    addHead(sub);
    addFiles(sub, "INPUT", "Facts (tab-separated), lists of hashes, signature files");
  }

  void addVerify() {
    CLI::App* sub = addAction(
        "verify", "Name every line that the service would skip, lose or read differently", Action::kVerify);
    sub->add_flag("--strict", command_.strict, "Also find what is not in the form that build writes");
    addFiles(sub, "FILE", "Signature files");
  }

  void addInfo() {
    addFiles(addAction("info", "Show version, time and counts", Action::kInfo), "FILE", "Signature files");
  }

  void addLookup() {
    CLI::App* sub =
        addAction("lookup", "Answer as the service would: lookup DB... -- DIGEST|FILE...", Action::kLookup);
    addFiles(sub, "DB", "Signature files, then -- and the digests or files to look up");
  }

  void addWhy() {
    CLI::App* sub =
        addAction("why", "Show which line of which file won the merge, which lost, and why", Action::kWhy);
    sub->add_option("DIGEST", digest_, "MD5, SHA-1 or SHA-256")->required()->check(digestText);
    addFiles(sub, "DB", "Signature files in the order of loading");
  }

  void addDiff() {
    CLI::App* sub = addAction("diff", "Show what changed between two signature files", Action::kDiff);
    sub->add_flag("--stat", command_.stat, "Only count");
    sub->add_option("OLD", old_, "A signature file")->required();
    sub->add_option("NEW", new_, "A signature file")->required();
  }

  void addAdd() {
    CLI::App* sub = addAction("add", "Add entries to a signature file and write it anew", Action::kAdd);
    sub->add_option("DB", old_, "The signature file")->required();
    const auto repeated = [sub](const char* name, std::vector<std::string>& values, const char* help) {
      return sub->add_option(name, values, help)->take_all()->allow_extra_args(false);
    };
    repeated("--sha256", command_.sha256, "A digest to list; may be repeated")->check(sha256Text);
    repeated("--file", command_.samples, "A file whose SHA-256 to list; may be repeated");
    sub->add_option("--name", command_.name, "The threat name")->required()->check(fieldText);
    sub->add_option("--family", command_.family, "The family; without it, the threat name")->check(fieldText);
    sub->add_option("--severity", command_.severity, "low, medium, high or critical")
        ->check(CLI::IsMember({"low", "medium", "high", "critical"}))
        ->capture_default_str();
    sub->add_option("--ref", command_.reference, "A link without its scheme, or another reference")
        ->check(referenceText);
    sub->add_flag("--replace", command_.replace, "Also where the digest is listed already");
    addHead(sub);
    addSkipBad(sub);
  }

  void addFeed() {
    CLI::App* sub =
        addAction("feed", "Write the bare SHA-256 lines that an update server serves", Action::kFeed);
    addOutput(sub);
    addFiles(sub, "DB", "Signature files");
  }

  /// What follows "--" after "lookup" are the items. `arguments` are in reverse.
  void splitItems(std::vector<std::string>& arguments) {
    const auto isOption = [](const std::string& argument) { return argument.starts_with('-'); };
    const auto name = std::find_if_not(arguments.rbegin(), arguments.rend(), isOption);
    if (name == arguments.rend() || *name != "lookup") return;
    const auto split = std::find(arguments.rbegin(), arguments.rend(), "--");
    if (split == arguments.rend()) return;
    command_.items.assign(split + 1, arguments.rend());
    arguments.erase(arguments.begin(), split.base());
  }

  void finish() {
    if (!version_.empty()) command_.version = version_;
    if (!time_.empty()) command_.time = std::stoull(time_);
    switch (command_.action) {
      case Action::kLookup:
        if (command_.items.empty())
          throw CLI::ValidationError("lookup", "-- and a digest or a file must follow");
        return;
      case Action::kWhy:
        command_.items = {digest_};
        return;
      case Action::kDiff:
        command_.files = {old_, new_};
        return;
      case Action::kAdd:
        command_.files = {old_};
        if (command_.sha256.empty() && command_.samples.empty()) {
          throw CLI::ValidationError("add", "--sha256 or --file is needed");
        }
        if (command_.family.empty()) command_.family = command_.name;
        return;
      default:
        return;
    }
  }

  Command command_;
  std::string version_;
  std::string time_;
  std::string digest_;
  std::string old_;
  std::string new_;
  CLI::App app_;
};

}  // namespace

std::variant<Command, Notice> parseCommandLine(std::vector<std::string> arguments) {
  return Grammar().parse(std::move(arguments));
}

}  // namespace korvel::sig
