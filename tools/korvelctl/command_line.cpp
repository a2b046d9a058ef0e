#include "korvelctl/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>

#include "base/version.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/settings_list.h"

namespace korvel::ctl {
namespace {

constexpr const char* kDescription = "Asks and tells the KORVEL protection service through its control pipe.";
constexpr const char* kFooter =
    "Exit codes: 0 done, nothing found; 1 threats found; 2 refused or failed;\n"
    "3 service not reachable; 4 protocol trouble; 64 wrong usage.";

/// A CLI11 validator: empty when `text` is a whole number of at least 1, else the error text. Stricter than
/// the library, which reads a leading 0 as octal and a number beyond 64 bits as the largest one.
std::string wholeNumber(const std::string& text) {
  uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  if (problem == std::errc() && stop == end && text.front() != '0') return {};
  return "not a number from 1 on: " + text;
}

/// The command line's grammar over one Command that it fills in.
class Grammar {
 public:
  Grammar() : app_(kDescription, "korvelctl") {
    app_.footer(kFooter);
    app_.set_version_flag("--version", std::string("korvelctl ") + kServiceVersion);
    app_.require_subcommand(1);
    app_.fallthrough();  // --json may follow the command
    app_.add_flag("--json", command_.json, "Print JSON instead of text");
    addPlain(app_, "status", "Show what the service does", Action::kStatus);
    addPlain(app_, "ping", "Ask whether the service answers", Action::kPing);
    addScan();
    addThreats();
    addQuarantine();
    addConfig();
    addFirewall();
    addUpdate();
    addPlain(*addGroup("shield", "Look at the web shield")->require_subcommand(1), "status",
             "Show whether it is on, and how fresh the signatures are", Action::kShieldStatus);
    addPlain(app_, "reload", "Load the signature files anew", Action::kReload);
    addPlain(app_, "cancel", "End the running scan", Action::kCancel);
    addPlain(app_, "stop", "Stop the service", Action::kStop);
  }

  std::variant<Command, Notice> parse(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them from the back
    try {
      app_.parse(std::move(arguments));
      finishScan();
      finishFirewall();
    } catch (const CLI::ParseError& problem) {
      std::ostringstream text;
      const int code = app_.exit(problem, text, text);
      return Notice{code == 0 ? kExitNothingFound : kExitUsage, text.str()};
    }
    return command_;
  }

 private:
  CLI::App* addPlain(CLI::App& parent, const std::string& name, const std::string& help, Action action) {
    CLI::App* sub = parent.add_subcommand(name, help);
    sub->fallthrough();
    sub->callback([this, action] { command_.action = action; });
    return sub;
  }

  CLI::App* addGroup(const std::string& name, const std::string& help) {
    CLI::App* group = app_.add_subcommand(name, help);
    group->fallthrough();
    group->require_subcommand(0, 1);
    return group;
  }

  void addScan() {
    CLI::App* scan = addPlain(app_, "scan", "Scan and wait for the result", Action::kScan);
    scan->add_option("TARGET", targets_, "quick, full, or folders to scan with everything below them")
        ->required();
    addAll(scan);
    const std::map<std::string, ProgressStyle> styles = {{"auto", ProgressStyle::kAuto},
                                                         {"bar", ProgressStyle::kBar},
                                                         {"lines", ProgressStyle::kLines},
                                                         {"none", ProgressStyle::kNone}};
    scan->add_option("--progress", command_.progress, "How to show progress on the error output")
        ->transform(CLI::CheckedTransformer(styles));
  }

  void addThreats() {
    CLI::App* group = addGroup("threats", "List what the last scan found, or act on it");
    addAll(group);
    group->callback([this, group] {
      if (group->get_subcommands().empty()) command_.action = Action::kListThreats;
    });
    addNumbers(addPlain(*group, "quarantine", "Move files into quarantine", Action::kQuarantineThreats), "N",
               "Number in the list of threats");
    addNumbers(addPlain(*group, "delete", "Delete files for good", Action::kDeleteThreats), "N",
               "Number in the list of threats");
  }

  void addQuarantine() {
    CLI::App* group = addGroup("quarantine", "Look into the quarantine");
    group->require_subcommand(1);
    addPlain(*group, "list", "List the quarantined files", Action::kListQuarantine);
    addNumbers(addPlain(*group, "restore", "Put files back where they were", Action::kRestoreQuarantined),
               "ID", "Id in the list of quarantined files");
    addNumbers(addPlain(*group, "delete", "Delete quarantined files for good", Action::kDeleteQuarantined),
               "ID", "Id in the list of quarantined files");
  }

  void addConfig() {
    CLI::App* group = addGroup("config", "Look at the service's settings");
    group->require_subcommand(1);
    addPlain(*group, "list", "List every setting the service tells", Action::kListConfig);
    addPlain(*group, "get", "Show one setting", Action::kGetConfig)
        ->add_option("KEY", command_.key, "Name of the setting")
        ->required()
        ->check(CLI::IsMember(settingKeys()));
  }

  void addFirewall() {
    CLI::App* group = addGroup("firewall", "Look at Windows Firewall, or change it");
    group->require_subcommand(1);
    addPlain(*group, "status", "Show profiles and rules of programs", Action::kFirewallStatus)
        ->add_flag("--own", command_.ownOnly, "Only rules that KORVEL has made");
    CLI::App* profile = addPlain(*group, "profile", "Switch a profile on or off", Action::kFirewallProfile);
    profile->add_option("PROFILE", firewallProfile_, "domain, private or public")
        ->required()
        ->check(CLI::IsMember({"domain", "private", "public"}));
    profile->add_option("STATE", firewallWord_, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
    addPlain(*group, "inbound", "Block all inbound traffic, or let it in again", Action::kFirewallInbound)
        ->add_option("STATE", firewallWord_, "block or unblock")
        ->required()
        ->check(CLI::IsMember({"block", "unblock"}));
    addFirewallRule(group, "block", "Block a program's traffic");
    addFirewallRule(group, "allow", "Allow a program's traffic");
    addPlain(*group, "reset", "Remove every rule that KORVEL has made", Action::kFirewallReset);
  }

  void addUpdate() {
    CLI::App* group = addGroup("update", "Update now instead of at the next automatic run");
    group->require_subcommand(1);
    const auto add = [this, group](const char* name, const char* help, Action action) {
      addPlain(*group, name, help, action)
          ->add_flag("!--no-wait", command_.wait, "Start only, and do not tell what came of it");
    };
    add("signatures", "Download the live signatures and load them", Action::kUpdateSignatures);
    add("program", "Look for another version and save its installer", Action::kUpdateProgram);
  }

  void addFirewallRule(CLI::App* group, const std::string& name, const std::string& help) {
    CLI::App* sub = group->add_subcommand(name, help);
    sub->fallthrough();
    sub->callback([this, name] {
      command_.action = Action::kFirewallAddRule;
      firewallWord_ = name;
    });
    sub->add_option("PROGRAM", command_.program, "Path of the program")->required();
    CLI::Option_group* directions = sub->add_option_group("Direction", "of the traffic, both unless given");
    directions->require_option(0, 1);
    for (const char* direction : {"in", "out", "both"}) {
      directions->add_flag_callback(std::string("--") + direction,
                                    [this, direction] { firewallDirection_ = direction; });
    }
  }

  void addAll(CLI::App* sub) {
    sub->add_flag("--all", command_.all, "List also what is merely suspicious; JSON always does");
  }

  void addNumbers(CLI::App* sub, const std::string& name, const std::string& help) {
    sub->add_option(name, command_.numbers, help)->required()->check(wholeNumber);
  }

  /// The words "quick" and "full" must stand alone; every other target is a folder.
  void finishScan() {
    if (command_.action != Action::kScan) return;
    const auto isScope = [](const std::string& word) { return word == "quick" || word == "full"; };
    if (std::none_of(targets_.begin(), targets_.end(), isScope)) {
      command_.scope = ScanScope::kCustom;
      command_.folders = targets_;
      return;
    }
    if (targets_.size() > 1) {
      throw CLI::ValidationError("TARGET", "quick and full stand alone (a folder of that name is .\\quick)");
    }
    command_.scope = targets_.front() == "quick" ? ScanScope::kQuick : ScanScope::kFull;
  }

  void finishFirewall() {
    if (command_.action == Action::kFirewallProfile) {
      command_.firewallChange = firewallProfile_ + (firewallWord_ == "on" ? ",1" : ",0");
    } else if (command_.action == Action::kFirewallInbound) {
      command_.firewallChange = firewallWord_ == "block" ? "1" : "0";
    } else if (command_.action == Action::kFirewallAddRule) {
      command_.firewallChange = firewallWord_ + "|" + firewallDirection_ + "|";
    }
  }

  Command command_;
  std::vector<std::string> targets_;
  std::string firewallProfile_;
  std::string firewallWord_;
  std::string firewallDirection_ = "both";
  CLI::App app_;
};

}  // namespace

std::variant<Command, Notice> parseCommandLine(std::vector<std::string> arguments) {
  return Grammar().parse(std::move(arguments));
}

}  // namespace korvel::ctl
