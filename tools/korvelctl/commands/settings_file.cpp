// config lint and config fix: the file settings.ini itself, without the service.
#include <algorithm>

#include "base/files.h"
#include "base/long_path.h"
#include "base/sizes.h"
#include "base/text.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/lint_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/machine/service_state.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/model/settings_lint.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/lint.h"
#include "korvelctl/render/printable.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostSettingsBytes = 64 * kMiB;

Failure ioFailure(const Text& text, const std::wstring& path, DWORD code, Context& context) {
  const std::string advice = code == ERROR_ACCESS_DENIED ? context.say(words::kSettingsDeniedAdvice) : "";
  return Failure(ErrorKind::kIo, context.say(text, {printable(path)}), advice, code);
}

/// Indented; what a file holds must not move the cursor.
std::string printableLines(const std::string& text) {
  std::string result;
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) result += "  " + printable(line) + "\n";
  return result;
}

struct SettingsOnDisk {
  std::wstring path;
  bool own = false;  ///< the service's own file
  bool exists = true;
  std::string text;

  size_t lines() const {
    const auto ends = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    return ends + (text.empty() || text.ends_with('\n') ? 0 : 1);
  }
};

SettingsOnDisk readSettings(const std::string& given, Context& context) {
  SettingsOnDisk file;
  file.own = given.empty();
  file.path = file.own ? productSettingsPath() : wholePath(given, context.language());
  if (readWholeFile(file.path, file.text, kMostSettingsBytes)) return file;
  const DWORD code = ::GetLastError();
  file.exists = pathStatusFromError(code) != PathStatus::kMissing;
  if (file.exists || !file.own) throw ioFailure(words::kSettingsUnreadable, file.path, code, context);
  return file;
}

int lint(const std::string& given, Context& context) {
  const SettingsOnDisk file = readSettings(given, context);
  const std::vector<LintFinding> findings = lintSettings(file.text);
  if (file.exists) {
    context.print(renderLint(findings, file.path, file.lines(), context.look()));
  } else {
    context.print(context.say(words::kSettingsMissing, {printable(file.path)}) + "\n");
  }
  Json json = lintJson(findings, file.path, file.lines());
  json["exists"] = file.exists;
  context.document("lint", json);
  return hasLintFindings(findings) ? kExitFound : kExitDone;
}

/// Also true for a service in a console, and for one that is busy with another client.
bool serviceRuns(Context& context) {
  const ServiceState state = serviceState();
  if (state == ServiceState::kRunning || state == ServiceState::kStarting || state == ServiceState::kStopping)
    return true;
  context.service().setPatience(0);
  try {
    (void)context.service().ask(ipc::Opcode::kPing);
    context.service().letGo();
    return true;
  } catch (const Failure& failure) {
    return failure.kind() == ErrorKind::kBusy || failure.kind() == ErrorKind::kDenied;
  }
}

void writeFixed(const SettingsOnDisk& file, const std::string& fixed, const std::wstring& backup,
                Context& context) {
  if (!::CopyFileW(forFileApi(file.path).c_str(), forFileApi(backup).c_str(), /*failIfExists=*/FALSE))
    throw ioFailure(words::kSettingsUnwritable, backup, ::GetLastError(), context);
  if (!rewriteTextFile(file.path, fixed))
    throw ioFailure(words::kSettingsUnwritable, file.path, ::GetLastError(), context);
}

int fix(const std::string& given, Context& context) {
  const SettingsOnDisk file = readSettings(given, context);
  const std::vector<LintFinding> findings = lintSettings(file.text);
  const std::string fixed = fixedSettings(file.text);
  const std::string name = printable(file.path);
  const std::wstring backup = file.path + L".bak";
  const bool needed = file.exists && hasLintFindings(findings) && fixed != file.text;
  const bool dryRun = context.global().dryRun;
  if (needed && !dryRun) {
    if (file.own && serviceRuns(context))
      throw Failure(ErrorKind::kGuard, context.say(words::kFixServiceRuns),
                    context.say(words::kFixServiceRunsAdvice));
    context.confirm(context.say(words::kFixQuestion, {name}));
    writeFixed(file, fixed, backup, context);
  }

  if (!needed) {
    context.print(context.say(words::kFixNothing, {name}) + "\n");
  } else if (dryRun) {
    context.print(context.say(words::kFixWould, {name}) + "\n" + printableLines(fixed));
  } else {
    context.print(context.say(words::kFixDone, {name, printable(backup)}) + "\n");
  }
  Json json = lintJson(findings, file.path, file.lines());
  json["exists"] = file.exists;
  json["changed"] = needed && !dryRun;
  if (needed) json["fixed"] = fixed;
  if (needed && !dryRun) putPath(json, "backup", backup);
  context.document("lint", json);
  return kExitDone;
}

}  // namespace

void addSettingsFileCommands(Command& root) {
  static constexpr Text kGroup{"The service's settings", "Настройки службы"};
  Command& config = root.group("config", kGroup);
  const auto linted = std::make_shared<std::string>();
  config.add("lint", words::kLintHelp, [linted](Context& context) { return lint(*linted, context); })
      .argument("FILE", *linted, words::kLintFileHelp, /*required=*/false)
      .example("korvelctl config lint", words::kLintExample)
      .note(words::kLintNote);
  const auto fixedFile = std::make_shared<std::string>();
  config.add("fix", words::kFixHelp, [fixedFile](Context& context) { return fix(*fixedFile, context); })
      .argument("FILE", *fixedFile, words::kLintFileHelp, /*required=*/false)
      .example("korvelctl config fix --dry-run", words::kFixExample)
      .note(words::kFixNote);
}

}  // namespace korvel::ctl
