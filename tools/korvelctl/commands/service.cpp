// service: the registration in Windows, its rights, and starting and stopping.
#include <algorithm>

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/service_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/commands/service_extras.h"
#include "korvelctl/commands/steps.h"
#include "korvelctl/machine/drives.h"
#include "korvelctl/machine/event_log.h"
#include "korvelctl/machine/folder_rights.h"
#include "korvelctl/machine/installation.h"
#include "korvelctl/machine/known_folders.h"
#include "korvelctl/machine/privileges.h"
#include "korvelctl/machine/service_manager.h"
#include "korvelctl/machine/update_server.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/service.h"

namespace korvel::ctl {
namespace {

constexpr uint32_t kStartLimitSeconds = 60;
constexpr uint32_t kStopLimitSeconds = 120;
constexpr uint64_t kNoteEveryMs = 10'000;
constexpr size_t kMostForeignShown = 10;

struct WaitOptions {
  uint64_t startSeconds = kStartLimitSeconds;
  uint64_t stopSeconds = kStopLimitSeconds;
  bool kill = false;
};

struct InstallOptions {
  std::string program;
  std::string server;
  bool noRights = false;
  bool addToPath = false;
  bool purge = false;
};

Failure managerFailure(const Context& context, uint32_t code) {
  switch (code) {
    case ERROR_ACCESS_DENIED:
      return Failure(ErrorKind::kDenied, context.say(words::kNeedsAdministrator),
                     context.say(words::kElevateAdvice), code);
    case ERROR_SERVICE_DOES_NOT_EXIST:
      return Failure(ErrorKind::kNotInstalled, context.say(words::kServiceIsNotInstalled),
                     context.say(words::kInstallAdvice), code);
    case ERROR_SERVICE_DISABLED:
      return Failure(ErrorKind::kRefused, context.say(words::kServiceDisabled),
                     context.say(words::kRepairHint), code);
    default:
      return Failure(ErrorKind::kRefused, context.say(words::kManagerFailed), {}, code);
  }
}

void requireSuccess(const Context& context, uint32_t code) {
  if (code != ERROR_SUCCESS) throw managerFailure(context, code);
}

ServiceFacts askManager(const Context& context) {
  ServiceFacts facts;
  requireSuccess(context, queryService(facts));
  return facts;
}

ServiceFacts askInstalled(const Context& context) {
  ServiceFacts facts = askManager(context);
  if (facts.state == ScmState::kNotInstalled) throw managerFailure(context, ERROR_SERVICE_DOES_NOT_EXIST);
  return facts;
}

/// Says every ten seconds that the wait goes on.
WhileWaiting tellEveryTenSeconds(Context& context, const Text& text) {
  const ULONGLONG begin = ::GetTickCount64();
  return [&context, &text, begin, told = begin](const ServiceFacts&) mutable {
    const ULONGLONG now = ::GetTickCount64();
    if (now - told >= kNoteEveryMs) {
      told = now;
      context.note(context.say(text, {std::to_string((now - begin) / 1000)}) + "\n");
    }
    return true;
  };
}

/// Starts a service that does not run, and waits. False when it ran already.
bool bringUp(Context& context, uint64_t limitSeconds, ServiceFacts& facts) {
  const uint32_t asked = startService();
  if (asked != ERROR_SERVICE_ALREADY_RUNNING) requireSuccess(context, asked);
  const uint32_t waited = waitForService(ScmState::kRunning, static_cast<uint32_t>(limitSeconds * 1000),
                                         facts, tellEveryTenSeconds(context, words::kWaitingStart));
  if (waited == ERROR_SERVICE_NOT_ACTIVE) {
    std::string code = std::to_string(facts.exitCode);
    if (facts.exitCode == ERROR_SERVICE_SPECIFIC_ERROR) code += "/" + std::to_string(facts.specificExitCode);
    throw Failure(ErrorKind::kRefused, context.say(words::kServiceEnded, {code}),
                  context.say(words::kServiceEndedAdvice));
  }
  if (waited == WAIT_TIMEOUT) {
    throw Failure(ErrorKind::kRefused, context.say(words::kStartTimeout, {std::to_string(limitSeconds)}));
  }
  requireSuccess(context, waited);
  return asked == ERROR_SUCCESS;
}

enum class Stopped { kNow, kBefore, kByForce };

/// Asks for the stop. A service that is still starting takes none, and one that is stopping needs none.
uint32_t askToStop(uint32_t limitMs, const WhileWaiting& tell) {
  const uint32_t asked = stopService();
  if (asked != ERROR_SERVICE_CANNOT_ACCEPT_CTRL && asked != ERROR_INVALID_SERVICE_CONTROL) return asked;
  ServiceFacts facts;
  if (const uint32_t failed = queryService(facts); failed != ERROR_SUCCESS) return failed;
  if (facts.state == ScmState::kStopPending || facts.state == ScmState::kStopped) return ERROR_SUCCESS;
  (void)waitForService(ScmState::kRunning, limitMs, facts, tell);
  return stopService();
}

/// Stops the service and waits for the end of its process.
Stopped bringDown(Context& context, const WaitOptions& options) {
  const uint32_t limitMs = static_cast<uint32_t>(options.stopSeconds * 1000);
  const WhileWaiting tell = tellEveryTenSeconds(context, words::kWaitingStop);
  const uint32_t asked = askToStop(limitMs, tell);
  if (asked == ERROR_SERVICE_NOT_ACTIVE) return Stopped::kBefore;
  if (!options.kill || asked == ERROR_ACCESS_DENIED) requireSuccess(context, asked);
  ServiceFacts facts;
  const uint32_t waited = waitForService(ScmState::kStopped, limitMs, facts, tell);
  if (waited != WAIT_TIMEOUT) {
    requireSuccess(context, waited);
    return Stopped::kNow;
  }
  if (!options.kill) {
    throw Failure(ErrorKind::kRefused,
                  context.say(words::kStopTimeout, {std::to_string(options.stopSeconds)}),
                  context.say(words::kStopTimeoutAdvice));
  }
  requireSuccess(context, killService());
  return Stopped::kByForce;
}

void sayStopped(Context& context, Stopped stopped, const WaitOptions& options) {
  switch (stopped) {
    case Stopped::kNow:
      context.print(std::string(context.say(words::kStopped)) + "\n");
      return;
    case Stopped::kBefore:
      context.print(std::string(context.say(words::kAlreadyStopped)) + "\n");
      return;
    case Stopped::kByForce:
      context.print(context.say(words::kKilled, {std::to_string(options.stopSeconds)}) + "\n");
  }
}

const char* stoppedName(Stopped stopped) {
  switch (stopped) {
    case Stopped::kNow:
      return "stopped";
    case Stopped::kBefore:
      return "was_stopped";
    case Stopped::kByForce:
      break;
  }
  return "killed";
}

int state(Context& context) {
  const ServiceFacts facts = askManager(context);
  const std::vector<ServiceFault> faults = serviceFaults(facts, installedProgram());
  context.print(renderService(facts, faults, context.look()));
  if (!faults.empty()) context.note(std::string(context.say(words::kRepairHint)) + "\n");
  context.document("service", serviceJson(facts, faults));
  return facts.state == ScmState::kRunning ? kExitDone : kExitUnreachable;
}

int start(const WaitOptions& options, Context& context) {
  ServiceFacts facts = askInstalled(context);
  const char* result = "dry_run";
  if (context.global().dryRun) {
    context.print(std::string(context.say(words::kWouldStartService)) + "\n");
  } else {
    const bool started = bringUp(context, options.startSeconds, facts);
    result = started ? "started" : "was_running";
    context.print(
        context.say(started ? words::kStarted : words::kAlreadyRuns, {std::to_string(facts.processId)}) +
        "\n");
  }
  context.document("service", {{"action", "start"},
                               {"done", !context.global().dryRun},
                               {"result", result},
                               {"process_id", facts.processId}});
  return kExitDone;
}

int stop(const WaitOptions& options, Context& context) {
  (void)askInstalled(context);
  context.confirm(context.say(words::kStopQuestionService));
  if (context.global().dryRun) {
    context.print(std::string(context.say(words::kWouldStopService)) + "\n");
    context.document("service", {{"action", "stop"}, {"done", false}});
    return kExitDone;
  }
  const Stopped stopped = bringDown(context, options);
  sayStopped(context, stopped, options);
  context.document("service", {{"action", "stop"}, {"done", true}, {"result", stoppedName(stopped)}});
  return kExitDone;
}

int restart(const WaitOptions& options, Context& context) {
  ServiceFacts facts = askInstalled(context);
  if (context.global().dryRun) {
    context.print(std::string(context.say(words::kWouldRestartService)) + "\n");
    context.document("service", {{"action", "restart"}, {"done", false}});
    return kExitDone;
  }
  const Stopped stopped = bringDown(context, options);
  if (stopped != Stopped::kNow) sayStopped(context, stopped, options);
  (void)bringUp(context, options.startSeconds, facts);
  context.print(context.say(words::kStarted, {std::to_string(facts.processId)}) + "\n");
  context.document("service", {{"action", "restart"},
                               {"done", true},
                               {"result", stoppedName(stopped)},
                               {"process_id", facts.processId}});
  return kExitDone;
}

/// The service's program for `install`, as the service will see it. Throws Failure when it is not there or
/// lies where the service cannot start it.
std::wstring programToInstall(const Context& context, const InstallOptions& options) {
  const std::wstring given =
      options.program.empty() ? installedProgram() : wholePath(options.program, context.language());
  const ServicePath seen = pathForService(given);
  if (seen.outcome == DriveOutcome::kShare || seen.outcome == DriveOutcome::kHidden) {
    throw Failure(ErrorKind::kGuard, context.say(words::kProgramNotSeen, {printable(given)}),
                  context.say(words::kProgramNotSeenAdvice));
  }
  const DWORD attributes = ::GetFileAttributesW(forFileApi(seen.path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
    throw Failure(ErrorKind::kUsage, context.say(words::kNoProgram, {printable(seen.path)}));
  return seen.path;
}

/// One of the three folders, with what becomes of it.
struct FolderPlan {
  ProtectedFolder kind;
  const Text& title;
  const char* id;
  std::wstring path;
};

/// In the order in which they are closed: nothing in the data folder is open when the quarantine is closed.
std::vector<FolderPlan> foldersOf(const std::wstring& programFolder, const InstalledFolders& folders) {
  std::vector<FolderPlan> plans = {
      {ProtectedFolder::kProgram, words::kProgramFolder, "program", programFolder},
      {ProtectedFolder::kData, words::kDataFolder, "data", folders.data}};
  if (!folders.ownQuarantine.empty())
    plans.push_back(
        {ProtectedFolder::kQuarantine, words::kQuarantineFolder, "quarantine", folders.ownQuarantine});
  return plans;
}

void reportRights(Context& context, const RightsOutcome& outcome) {
  for (const RightsFailure& failure : outcome.failures) {
    context.report(toUtf8(failure.path),
                   Failure(ErrorKind::kIo, context.say(words::kRightsFailed), {}, failure.win32));
  }
  for (const std::wstring& link : outcome.links) {
    context.report(toUtf8(link), Failure(ErrorKind::kGuard, context.say(words::kIsALink),
                                         context.say(words::kIsALinkAdvice)));
  }
}

void tellForeign(Context& context, const std::vector<std::wstring>& foreign) {
  if (foreign.empty()) return;
  context.print(std::string(context.say(words::kForeignFiles)) + "\n");
  for (size_t i = 0; i < std::min(foreign.size(), kMostForeignShown); ++i)
    context.print("  " + printable(foreign[i]) + "\n");
  if (foreign.size() > kMostForeignShown)
    context.print("  " + context.say(words::kAndMore, {std::to_string(foreign.size() - kMostForeignShown)}) +
                  "\n");
}

void closeFolders(Context& context, const std::vector<FolderPlan>& plans, const std::wstring& quarantine,
                  Steps& steps, std::vector<std::wstring>& foreign) {
  for (const FolderPlan& plan : plans) {
    const std::string path = printable(plan.path);
    if (context.global().dryRun) {
      steps.add(plan.title, plan.id, path, context.say(words::kWouldClose), {{"path", toUtf8(plan.path)}});
      continue;
    }
    const RightsOutcome outcome = protectFolder(
        plan.path, plan.kind, plan.kind == ProtectedFolder::kData ? quarantine : std::wstring());
    reportRights(context, outcome);
    steps.add(plan.title, plan.id, path, context.say(words::kClosedFolder, {std::to_string(outcome.changed)}),
              {{"path", toUtf8(plan.path)}, {"changed", outcome.changed}});
    // The program's files came with whoever installs them.
    if (plan.kind != ProtectedFolder::kProgram)
      foreign.insert(foreign.end(), outcome.foreign.begin(), outcome.foreign.end());
  }
}

void registerSource(Context& context, Steps& steps) {
  const std::string name = toUtf8(kEventSource);
  if (context.global().dryRun) {
    steps.add(words::kEventSourceName, "event_source", {}, context.say(words::kWouldRegisterSource, {name}),
              Json::object());
    return;
  }
  const uint32_t code = registerEventSource(ownProgram());
  if (code != ERROR_SUCCESS) {
    context.report("event_source", Failure(ErrorKind::kIo, context.say(words::kSourceFailed), {}, code));
    return;
  }
  steps.add(words::kEventSourceName, "event_source", {}, context.say(words::kSourceRegistered, {name}),
            Json::object());
}

/// A service that runs would write its own settings over those of the file.
void requireStopped(const Context& context) {
  const ScmState state = askManager(context).state;
  if (state != ScmState::kStopped && state != ScmState::kNotInstalled)
    throw Failure(ErrorKind::kGuard, context.say(words::kServerNeedsStop),
                  context.say(words::kServerNeedsStopAdvice));
}

int install(const InstallOptions& options, Context& context) {
  const bool dryRun = context.global().dryRun;
  const std::wstring program = programToInstall(context, options);
  const std::wstring folder = parentDirectory(program);
  const InstalledFolders folders = installedFolders();
  if (folders.data.empty()) throw Failure(ErrorKind::kIo, context.say(words::kUnknownDataFolder));
  if (!options.noRights && !mayBeProtected(folder, sharedFolders())) {
    throw Failure(ErrorKind::kGuard, context.say(words::kSharedFolder, {printable(folder)}),
                  context.say(words::kSharedFolderAdvice));
  }
  if (!dryRun && !isElevated()) throw managerFailure(context, ERROR_ACCESS_DENIED);
  if (!options.server.empty()) requireStopped(context);

  Steps steps(context);
  std::vector<std::wstring> foreign;
  // The rights first: a service must not be registered in a folder that others may change.
  if (!options.noRights)
    closeFolders(context, foldersOf(folder, folders), folders.quarantine, steps, foreign);
  bool created = true;
  const std::string quoted = printable(servicePlan(program).commandLine);
  if (!dryRun) requireSuccess(context, installService(servicePlan(program), &created));
  steps.add(words::kServiceName, "service", {},
            context.say(dryRun    ? words::kWouldRegister
                        : created ? words::kRegistered
                                  : words::kRepaired,
                        {quoted}),
            {{"program", toUtf8(program)}, {"created", created}});
  registerSource(context, steps);
  if (!options.server.empty()) setUpdateServer(context, options.server, folder, steps);
  if (options.addToPath) addToPath(context, folder, steps);

  steps.print();
  tellForeign(context, foreign);
  if (!dryRun) context.note(std::string(context.say(words::kStartHint)) + "\n");
  Json strangers = Json::array();
  for (const std::wstring& path : foreign) strangers.push_back(toUtf8(path));
  context.document(
      "service",
      {{"action", "install"}, {"done", !dryRun}, {"steps", steps.json()}, {"foreign", std::move(strangers)}});
  return context.exitCode(kExitDone);
}

bool isEmptyOrMissing(const std::wstring& folder) {
  WIN32_FIND_DATAW entry{};
  const UniqueFindHandle find(::FindFirstFileW(forFileApi(joinPath(folder, L"*")).c_str(), &entry));
  if (!find) return ::GetLastError() == ERROR_FILE_NOT_FOUND || ::GetLastError() == ERROR_PATH_NOT_FOUND;
  do {
    const std::wstring name = entry.cFileName;
    if (name != L"." && name != L".." && !lowerWide(name).starts_with(L"quarantine.db")) return false;
  } while (::FindNextFileW(find.get(), &entry));
  return true;
}

void releaseFolders(Context& context, const std::vector<FolderPlan>& plans, Steps& steps) {
  for (const FolderPlan& plan : plans) {
    if (!pathExists(plan.path)) continue;
    const std::string path = printable(plan.path);
    const Json details{{"path", toUtf8(plan.path)}};
    if (plan.kind == ProtectedFolder::kQuarantine && !isEmptyOrMissing(plan.path)) {
      steps.add(plan.title, plan.id, path, context.say(words::kStaysClosed), details);
      continue;
    }
    if (plan.kind == ProtectedFolder::kProgram && !mayBeProtected(plan.path, sharedFolders())) {
      steps.add(plan.title, plan.id, path, context.say(words::kLeftAlone), details);
      continue;
    }
    const uint32_t code = context.global().dryRun ? ERROR_SUCCESS : releaseFolder(plan.path);
    if (code != ERROR_SUCCESS) {
      context.report(toUtf8(plan.path), Failure(ErrorKind::kIo, context.say(words::kRightsFailed), {}, code));
      continue;
    }
    steps.add(plan.title, plan.id, path,
              context.say(context.global().dryRun ? words::kWouldRelease : words::kReleased), details);
  }
}

void removeSource(Context& context, Steps& steps) {
  const bool dryRun = context.global().dryRun;
  const uint32_t code = dryRun ? ERROR_SUCCESS : unregisterEventSource();
  if (code != ERROR_SUCCESS) {
    context.report("event_source", Failure(ErrorKind::kIo, context.say(words::kSourceFailed), {}, code));
    return;
  }
  steps.add(words::kEventSourceName, "event_source", {},
            context.say(dryRun ? words::kWouldRemoveSource : words::kSourceRemoved, {toUtf8(kEventSource)}),
            Json::object());
}

int uninstall(const WaitOptions& waits, const InstallOptions& options, Context& context) {
  const bool dryRun = context.global().dryRun;
  const ServiceFacts before = askManager(context);
  const bool installed = before.state != ScmState::kNotInstalled;
  context.confirm(context.say(options.purge ? words::kPurgeQuestion : words::kUninstallQuestion));
  if (!dryRun && !isElevated()) throw managerFailure(context, ERROR_ACCESS_DENIED);

  Steps steps(context);
  removeFirewallRules(context, steps);
  Stopped stopped = Stopped::kBefore;
  if (installed && !dryRun) {
    try {
      stopped = bringDown(context, waits);
    } catch (const Failure& failure) {
      // The registration goes all the same; Windows forgets it when the process has ended.
      context.report("service", failure);
    }
    requireSuccess(context, removeService());
  }
  steps.add(words::kServiceName, "service", {},
            context.say(!installed ? words::kWasNotInstalled
                        : dryRun   ? words::kServiceWouldRemovePart
                                   : words::kServicePartRemoved),
            {{"was_installed", installed}, {"result", stoppedName(stopped)}});
  // After the stop: a service that runs would put it back.
  removeHostsBlock(context, steps);
  removeSource(context, steps);
  const std::wstring folder = parentDirectory(installed ? programOf(before.commandLine) : installedProgram());
  removeFromPath(context, folder, steps);
  if (options.purge) removeData(context, steps);
  if (!options.noRights) releaseFolders(context, foldersOf(folder, installedFolders()), steps);
  steps.print();
  context.document("service", {{"action", "uninstall"}, {"done", !dryRun}, {"steps", steps.json()}});
  return context.exitCode(kExitDone);
}

void addWaits(Command& command, WaitOptions& options) {
  command.number("--wait", "S", options.stopSeconds, words::kServiceWaitHelp, 1, 3'600)
      .flag("--kill", options.kill, words::kKillHelp);
}

}  // namespace

void addServiceCommands(Command& root) {
  Command& group = root.add("service", words::kServiceHelp);
  const auto waits = std::make_shared<WaitOptions>();
  const auto options = std::make_shared<InstallOptions>();
  group.add("state", words::kServiceStateHelp, state)
      .example("korvelctl service state", words::kServiceStateExample);
  group.add("start", words::kServiceStartHelp, [waits](Context& context) { return start(*waits, context); })
      .number("--wait", "S", waits->startSeconds, words::kServiceWaitHelp, 1, 3'600)
      .example("korvelctl service start", words::kServiceStartExample);
  Command& stopping =
      group.add("stop", words::kServiceStopHelp, [waits](Context& context) { return stop(*waits, context); });
  addWaits(stopping, *waits);
  stopping.example("korvelctl service stop --yes", words::kServiceStopExample).note(words::kServiceStopNote);
  Command& restarting = group.add("restart", words::kServiceRestartHelp,
                                  [waits](Context& context) { return restart(*waits, context); });
  addWaits(restarting, *waits);
  restarting.example("korvelctl service restart", words::kServiceRestartExample);
  group
      .add("install", words::kInstallHelp, [options](Context& context) { return install(*options, context); })
      .text("--path", "FILE", options->program, words::kInstallPathHelp)
      .text("--server", "URL", options->server, words::kServerHelp)
      .flag("--add-to-path", options->addToPath, words::kAddToPathHelp)
      .flag("--no-rights", options->noRights, words::kNoRightsHelp)
      .check([options](const GlobalOptions& global) {
        if (!options->server.empty() && !isServerAddress(options->server))
          throw Failure(ErrorKind::kUsage,
                        filled(words::kNoServerAddress, global.language, {printable(options->server)}));
      })
      .example("korvelctl service install", words::kInstallExample)
      .example("korvelctl service install --path \"D:\\Korvel\\KorvelService.exe\"",
               words::kInstallPathExample)
      .note(words::kInstallNote);
  Command& removing = group.add("uninstall", words::kUninstallHelp, [waits, options](Context& context) {
    return uninstall(*waits, *options, context);
  });
  addWaits(removing, *waits);
  removing.flag("--purge", options->purge, words::kPurgeHelp)
      .flag("--no-rights", options->noRights, words::kNoRightsHelp)
      .example("korvelctl service uninstall --yes", words::kUninstallExample)
      .note(words::kUninstallNote);
}

}  // namespace korvel::ctl
