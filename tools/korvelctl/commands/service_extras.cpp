#include "korvelctl/commands/service_extras.h"

#include "base/files.h"
#include "base/utf.h"
#include "fw/firewall_changes.h"
#include "korvelctl/cli/words/service_words.h"
#include "korvelctl/machine/data_removal.h"
#include "korvelctl/machine/environment_path.h"
#include "korvelctl/machine/installation.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/machine/update_server.h"
#include "korvelctl/render/printable.h"
#include "remedy/hosts_block.h"
#include "remedy/hosts_file.h"

namespace korvel::ctl {
namespace {

constexpr char kServerStep[] = "update_server";
constexpr char kPathStep[] = "path";
constexpr char kHostsStep[] = "hosts";

PathChange pathChange(const Context& context) {
  return context.global().dryRun ? PathChange::kOnlyLookedAt : PathChange::kMade;
}

/// False after a failure, which is reported.
bool pathDone(Context& context, uint32_t code) {
  if (code != ERROR_SUCCESS)
    context.report(kPathStep, Failure(ErrorKind::kIo, context.say(words::kPathFailed), {}, code));
  return code == ERROR_SUCCESS;
}

void removeOne(Context& context, const std::wstring& path, const Text& title, const char* id, Steps& steps) {
  if (!pathExists(path)) return;
  const Json details{{"path", toUtf8(path)}};
  if (context.global().dryRun) {
    steps.add(title, id, printable(path), context.say(words::kServiceWouldDelete), details);
    return;
  }
  const std::vector<RemovalFailure> failures = removeTree(path);
  for (const RemovalFailure& failure : failures) {
    context.report(toUtf8(failure.path),
                   Failure(ErrorKind::kIo, context.say(words::kNotDeleted), {}, failure.win32));
  }
  if (failures.empty()) steps.add(title, id, printable(path), context.say(words::kDeleted), details);
}

}  // namespace

void setUpdateServer(Context& context, const std::string& url, const std::wstring& programFolder,
                     Steps& steps) {
  const bool dryRun = context.global().dryRun;
  std::string before;
  const ServerChange change = configureUpdateServer(url, programFolder, dryRun, &before);
  switch (change) {
    case ServerChange::kWritten:
      steps.add(words::kServiceUpdateServer, kServerStep, {},
                context.say(dryRun ? words::kServerWouldBeWritten : words::kServerWritten, {printable(url)}),
                {{"server", url}, {"written", !dryRun}});
      return;
    case ServerChange::kKept:
      steps.add(words::kServiceUpdateServer, kServerStep, {},
                context.say(words::kServerStays, {printable(before)}),
                {{"server", before}, {"written", false}});
      return;
    case ServerChange::kUnreadable:
      context.report(kServerStep, Failure(ErrorKind::kIo, context.say(words::kServerUnreadable),
                                          context.say(words::kServerUnreadableAdvice)));
      return;
    case ServerChange::kNotWritten:
      context.report(kServerStep, Failure(ErrorKind::kIo, context.say(words::kServerNotWritten)));
  }
}

void addToPath(Context& context, const std::wstring& programFolder, Steps& steps) {
  bool changed = false;
  if (!pathDone(context, addToEnvironmentPath(programFolder, pathChange(context), &changed))) return;
  steps.add(words::kSearchPath, kPathStep, {},
            context.say(!changed                  ? words::kPathHasIt
                        : context.global().dryRun ? words::kPathWouldGrow
                                                  : words::kPathGrown),
            {{"folder", toUtf8(programFolder)}, {"changed", changed}});
}

void removeFromPath(Context& context, const std::wstring& programFolder, Steps& steps) {
  bool changed = false;
  if (!pathDone(context, removeFromEnvironmentPath(programFolder, pathChange(context), &changed)) || !changed)
    return;
  steps.add(words::kSearchPath, kPathStep, {},
            context.say(context.global().dryRun ? words::kPathWouldShrink : words::kPathShrunk),
            {{"folder", toUtf8(programFolder)}, {"changed", true}});
}

void removeFirewallRules(Context& context, Steps& steps) {
  if (context.global().dryRun) {
    steps.add(words::kFirewallRules, "firewall", {}, context.say(words::kWouldBeRemoved),
              {{"removed", false}});
    return;
  }
  std::string reason;
  if (fw::removeKorvelRules(&reason)) {
    steps.add(words::kFirewallRules, "firewall", {}, context.say(words::kAreRemoved), {{"removed", true}});
    return;
  }
  steps.add(words::kFirewallRules, "firewall", {}, context.say(words::kFirewallNotAsked, {printable(reason)}),
            {{"removed", false}, {"reason", reason}});
}

void removeHostsBlock(Context& context, Steps& steps) {
  std::string text;
  const std::wstring hosts = hostsFilePath();
  if (!readWholeFile(hosts, text) || !mentionsHostsBlock(text)) return;
  const Json details{{"path", toUtf8(hosts)}, {"entries", countHostsBlockEntries(text)}};
  if (context.global().dryRun) {
    steps.add(words::kHostsBlock, kHostsStep, {}, context.say(words::kBlockWouldGo), details);
    return;
  }
  std::string error;
  if (!removeBlocklist(&error)) {
    context.report(kHostsStep, Failure(ErrorKind::kIo, context.say(words::kHostsFailed, {printable(error)})));
    return;
  }
  steps.add(words::kHostsBlock, kHostsStep, {}, context.say(words::kBlockRemoved), details);
}

void removeData(Context& context, Steps& steps) {
  const InstalledFolders folders = installedFolders();
  if (folders.data.empty()) {
    context.report("data", Failure(ErrorKind::kIo, context.say(words::kUnknownDataFolder)));
    return;
  }
  if (folders.ownQuarantine.empty() && pathExists(folders.quarantine)) {
    steps.add(words::kQuarantineFolder, "quarantine", printable(folders.quarantine),
              context.say(words::kLeftAlone), {{"path", toUtf8(folders.quarantine)}});
  }
  removeOne(context, folders.data, words::kDataFolder, "data", steps);
  removeOne(context, folders.data + L"scan.cache", words::kScanCache, "cache", steps);
}

}  // namespace korvel::ctl
