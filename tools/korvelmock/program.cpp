#include "korvelmock/program.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <variant>

#include "korvelmock/player.h"
#include "korvelmock/scenes.h"

namespace korvel::mock {
namespace {

/// Why a script cannot be played.
struct ScriptFailure {
  std::string text;
};

std::string scriptText(const Options& options, System& system) {
  if (!options.script.empty()) {
    if (auto text = system.readFile(options.script)) return std::move(*text);
    throw ScriptFailure{"cannot read " + options.script};
  }
  if (const Scene* scene = findScene(options.scene)) return std::string(scene->text);
  throw ScriptFailure{"there is no scene " + options.scene + "; korvelmock --scenes lists them"};
}

Script scriptIn(const std::string& text) {
  try {
    return parseScript(text);
  } catch (const std::invalid_argument& problem) {
    throw ScriptFailure{problem.what()};
  }
}

int listScenes(System& system) {
  for (const Scene& scene : builtInScenes()) {
    constexpr size_t kColumn = 15;
    std::string line(scene.name);
    line.resize(std::max(line.size() + 1, kColumn), ' ');
    system.out(line + parseScript(scene.text).about + "\n");
  }
  return kExitDone;
}

int serveListener(const Options& options, const Script& script, Player& player, System& system,
                  const Surroundings& around) {
  if (script.absentMs != 0) system.sleep(script.absentMs);
  std::string error;
  const auto listener = system.listen(options.pipe, &error);
  if (!listener) {
    system.err("korvelmock: " + error + "\n");
    return kExitPipe;
  }
  // Whoever started this program may wait for this line.
  system.out("korvelmock: " + options.pipe + " is open\n");
  if (script.busyMs != 0) listener->keepBusy(script.busyMs);
  for (uint64_t served = 0; options.connections == 0 || served < options.connections; ++served) {
    Channel* const client = listener->accept();
    if (client == nullptr) return kExitPipe;
    around.tell("a client has connected");
    const SessionEnd end = serveClient(*client, player, around);
    listener->disconnect();
    around.tell("the client is disconnected");
    if (end == SessionEnd::kStopped) break;
  }
  return kExitDone;
}

int run(const Options& options, System& system) {
  if (options.scenes) return listScenes(system);
  const std::string text = scriptText(options, system);
  const Script script = scriptIn(text);
  if (options.print) system.out(text);
  if (options.print || options.check) return kExitDone;

  Player player(script);
  const Surroundings around{[&system](uint32_t milliseconds) { system.sleep(milliseconds); },
                            [&](std::string_view line) {
                              if (!options.quiet) system.err(std::string(line) + "\n");
                            }};
  if (!options.standardStreams) return serveListener(options, script, player, system, around);
  serveClient(system.standardStreams(), player, around);
  return kExitDone;
}

}  // namespace

int runKorvelmock(std::vector<std::string> arguments, System& system) {
  const auto parsed = parseCommandLine(std::move(arguments));
  if (const auto* notice = std::get_if<Notice>(&parsed)) {
    notice->exitCode == kExitDone ? system.out(notice->text) : system.err(notice->text);
    return notice->exitCode;
  }
  try {
    return run(std::get<Options>(parsed), system);
  } catch (const ScriptFailure& failure) {
    system.err("korvelmock: " + failure.text + "\n");
    return kExitScript;
  }
}

}  // namespace korvel::mock
