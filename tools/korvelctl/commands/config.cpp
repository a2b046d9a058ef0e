// config list, get and set.
#include <algorithm>

#include "base/files.h"
#include "base/sizes.h"
#include "base/utf.h"
#include "config/settings_text.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/config_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/privileges.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/machine/service_manager.h"
#include "korvelctl/model/settings_edit.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr uint32_t kStopLimitMs = 120'000;
constexpr uint32_t kStartLimitMs = 60'000;
constexpr uint64_t kMostSettingsBytes = 64 * kMiB;

struct ConfigOptions {
  std::vector<std::string> keys;
  std::vector<std::string> assignments;
  bool acceptReset = false;
  bool keepServer = false;
};

/// What the service tells, with the update server from the file where the caller may read it.
struct KnownSettings {
  SettingsFields fields;
  bool serverKnown = false;
};

KnownSettings currentSettings(Context& context) {
  KnownSettings known{askSettings(context.service()), false};
  context.service().letGo();
  if (const std::optional<std::string> server = updateServerInFile()) {
    known.fields.updateServer = *server;
    known.serverKnown = true;
  }
  return known;
}

std::string valueText(const KnownSettings& known, std::string_view key, Context& context) {
  if (key == "UpdateServer" && !known.serverKnown) return context.say(words::kValueUnknown);
  return printable(settingText(known.fields, key).value_or(""));
}

Json valueJson(const KnownSettings& known, std::string_view key) {
  if (key == "UpdateServer" && !known.serverKnown) return nullptr;
  return settingJson(known.fields, key);
}

int list(Context& context) {
  const KnownSettings known = currentSettings(context);
  Listing listing({{"key", words::kKey}, {"value", words::kValue}, {"meaning", words::kMeaning}});
  Json settings = Json::object();
  for (const SettingInfo& info : settingInfos()) {
    const std::string key(info.key);
    listing.addRow({key, valueText(known, key, context), settingMeaning(known.fields, key, context.look())});
    settings[key] = valueJson(known, key);
  }
  context.print(listing.text(context.look()));
  context.document("config", {{"settings", settings}});
  return kExitDone;
}

int get(const ConfigOptions& options, Context& context) {
  std::vector<std::string> keys;
  for (const std::string& word : options.keys) {
    keys.push_back(settingKeyOf(word));
    if (keys.back().empty())
      throw Failure(ErrorKind::kUsage, context.say(words::kUnknownKey, {printable(word)}));
  }
  const KnownSettings known = currentSettings(context);
  Json settings = Json::object();
  for (const std::string& key : keys) {
    const std::string value = valueText(known, key, context);
    std::string line;
    if (keys.size() != 1) line.append(key).append("=");
    context.print(line.append(value).append("\n"));
    settings[key] = valueJson(known, key);
  }
  context.document("config", {{"settings", settings}});
  return kExitDone;
}

/// Applies the command line to `settings`; returns the keys that it names, each once.
std::vector<std::string> applied(const ConfigOptions& options, Context& context, SettingsFields& settings) {
  std::vector<std::string> keys;
  for (const std::string& assignment : options.assignments) {
    std::string key;
    if (const auto refusal = setSetting(settings, assignment, context.language(), &key))
      throw Failure(ErrorKind::kUsage, *refusal);
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(key);
  }
  return keys;
}

/// The update server that a change over the pipe would make the service forget; empty when there is none.
/// Throws Failure of kind kGuard unless the command line says what is to become of it.
std::string serverAtStake(const ConfigOptions& options, Context& context) {
  const std::optional<std::string> server = updateServerInFile();
  if (!server && !options.acceptReset) throw Failure(ErrorKind::kGuard, context.say(words::kServerMayGo));
  if (!server || server->empty()) return {};
  if (!options.acceptReset && !options.keepServer)
    throw Failure(ErrorKind::kGuard, context.say(words::kServerWouldGo, {printable(*server)}));
  if (options.keepServer && !options.acceptReset) {
    if (!isElevated()) throw Failure(ErrorKind::kGuard, context.say(words::kKeepNeedsAdmin));
    ServiceFacts facts;
    if (queryService(facts) != ERROR_SUCCESS || facts.state != ScmState::kRunning)
      throw Failure(ErrorKind::kGuard, context.say(words::kKeepNotOurs));
  }
  return *server;
}

/// Stops the service, writes its update server into the file, and starts it again.
void putServerBack(const std::string& server, Context& context) {
  const auto done = [&](uint32_t code) {
    if (code == ERROR_SUCCESS) return;
    throw Failure(ErrorKind::kIo, context.say(words::kKeepFailed, {printable(server)}), {}, code);
  };
  ServiceFacts facts;
  done(stopService());
  done(waitForService(ScmState::kStopped, kStopLimitMs, facts));
  std::string text;
  const std::wstring path = productSettingsPath();
  SettingsFields settings;
  uint32_t failed = ERROR_SUCCESS;
  if (!readWholeFile(path, text, kMostSettingsBytes)) {
    failed = ::GetLastError();
  } else {
    parseSettingsText(text, settings);
    settings.updateServer = server;
    if (!rewriteTextFile(path, formatSettingsText(settings))) failed = ::GetLastError();
  }
  // The service must run again, whatever became of the file.
  done(startService());
  done(waitForService(ScmState::kRunning, kStartLimitMs, facts));
  done(failed);
}

/// Counters move on by themselves; everything else must be what was asked for.
bool taken(SettingsFields asked, const SettingsFields& now) {
  asked.lastScanUtc = now.lastScanUtc;
  asked.lastThreatCount = now.lastThreatCount;
  asked.lastLiveUpdateUtc = now.lastLiveUpdateUtc;
  asked.updateServer = now.updateServer;
  return asked == now;
}

void tellChanges(const std::vector<std::string>& keys, const SettingsFields& before,
                 const SettingsFields& after, Context& context, Json& changes) {
  for (const std::string& key : keys) {
    const std::string old = settingText(before, key).value_or("");
    const std::string now = settingText(after, key).value_or("");
    const bool changed = old != now;
    const auto effect =
        std::find_if(settingInfos().begin(), settingInfos().end(), [&key](const SettingInfo& info) {
          return info.key == key;
        })->effect;
    const bool restart = changed && effect == SettingEffect::kAtNextStart;
    changes.push_back({{"key", key},
                       {"before", settingJson(before, key)},
                       {"after", settingJson(after, key)},
                       {"changed", changed},
                       {"restart_needed", restart}});
    if (!changed) {
      context.print(context.say(words::kSettingSame, {key, printable(now)}) + "\n");
      continue;
    }
    const Text& text = context.global().dryRun ? words::kWouldChangeSetting : words::kSettingChanged;
    context.print(context.say(text, {key, printable(old), printable(now)}) + "\n");
    const std::string meaning = settingMeaning(after, key, context.look());
    if (!meaning.empty()) context.print("  " + printable(meaning) + "\n");
    if (restart) context.note(context.say(words::kRestartNeeded, {key}) + "\n");
  }
}

int set(const ConfigOptions& options, Context& context) {
  SettingsFields trial;
  (void)applied(options, context, trial);  // refuses before anybody is asked
  SettingsFields before = askSettings(context.service());
  SettingsFields after = before;
  const std::vector<std::string> keys = applied(options, context, after);
  Json changes = Json::array();
  const bool differs = !(after == before);
  const bool sends = differs && !context.global().dryRun;
  std::string server;
  if (differs) {
    context.service().letGo();
    server = serverAtStake(options, context);
    // Read and written within one connection: a scan that ends meanwhile must not get its counters back.
    before = askSettings(context.service());
    after = before;
    (void)applied(options, context, after);
  }
  if (sends) {
    context.service().ask(Opcode::kSetConfig, ipc::encodeSettings(after));
    if (!taken(after, askSettings(context.service())))
      context.report("settings", Failure(ErrorKind::kRefused, context.say(words::kNotTaken)));
  }
  context.service().letGo();
  tellChanges(keys, before, after, context, changes);
  Json document{{"changes", changes}, {"done", sends && context.errors().empty()}};
  if (sends && !server.empty()) {
    const bool keeps = options.keepServer && !options.acceptReset;
    if (keeps) {
      try {
        putServerBack(server, context);
        context.note(context.say(words::kServerKept, {printable(server)}) + "\n");
      } catch (const Failure& failure) {
        context.report("UpdateServer", failure);
      }
    } else {
      context.note(context.say(words::kServerForgotten, {printable(server)}) + "\n");
    }
    document["update_server"] = {{"before", server}, {"kept", keeps && context.errors().empty()}};
  }
  context.document("config", document);
  return context.exitCode(kExitDone);
}

}  // namespace

void addConfigCommands(Command& root) {
  const auto options = std::make_shared<ConfigOptions>();
  Command& group = root.group("config", words::kConfigHelp);
  group.add("list", words::kConfigListHelp, list).example("korvelctl config list", words::kConfigListExample);
  group.add("get", words::kConfigGetHelp, [options](Context& context) { return get(*options, context); })
      .arguments("KEY", options->keys, words::kConfigKeys)
      .example("korvelctl config get WebShield", words::kConfigGetExample);
  group.add("set", words::kConfigSetHelp, [options](Context& context) { return set(*options, context); })
      .arguments("KEY=VALUE", options->assignments, words::kConfigAssignments)
      .flag("--accept-server-reset", options->acceptReset, words::kAcceptResetHelp)
      .flag("--keep-server", options->keepServer, words::kKeepServerHelp)
      .example("korvelctl config set ScheduledHour=22", words::kConfigSetExample)
      .example("korvelctl config set WebShield=on --keep-server", words::kConfigSetExampleKeep)
      .note(words::kConfigSetNote);
}

}  // namespace korvel::ctl
