#include "korvelsig/commands.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <variant>

namespace korvel::sig {
namespace {

int dispatch(const Command& command, const Surroundings& here) {
  switch (command.action) {
    case Action::kBuild:
      return runBuild(command, here);
    case Action::kVerify:
      return runVerify(command, here);
    case Action::kInfo:
      return runInfo(command, here);
    case Action::kLookup:
      return runLookup(command, here);
    case Action::kWhy:
      return runWhy(command, here);
    case Action::kDiff:
      return runDiff(command, here);
    case Action::kAdd:
      return runAdd(command, here);
    case Action::kFeed:
      return runFeed(command, here);
  }
  return kExitInternal;
}

int reportFailure(bool json, const char* kind, const std::string& message, int exitCode,
                  const Surroundings& here) {
  if (json) {
    here.out(dumpJson({{"schema", "korvel.error/1"},
                       {"error", {{"kind", kind}, {"message", message}}},
                       {"exit", exitCode}}));
  } else {
    here.err("korvelsig: " + message + "\n");
  }
  return exitCode;
}

}  // namespace

int runKorvelsig(const std::vector<std::string>& arguments, const Surroundings& here) {
  const std::variant<Command, Notice> parsed = parseCommandLine(arguments);
  if (const auto* notice = std::get_if<Notice>(&parsed)) {
    if (notice->exitCode == kExitClean) {
      here.out(notice->text);
      return kExitClean;
    }
    const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    if (json) return reportFailure(json, "usage", notice->text, notice->exitCode, here);
    here.err(notice->text);
    return notice->exitCode;
  }
  const auto& command = std::get<Command>(parsed);
  try {
    return dispatch(command, here);
  } catch (const FileFailure& failure) {
    return reportFailure(command.json, "io", failure.what(), kExitUnreadable, here);
  } catch (const std::length_error& failure) {  // the service fails to load such a file too
    return reportFailure(command.json, "io", failure.what(), kExitUnreadable, here);
  } catch (const std::bad_alloc&) {
    return reportFailure(command.json, "io", "not enough memory", kExitUnreadable, here);
  } catch (const std::exception& problem) {
    return reportFailure(command.json, "internal", problem.what(), kExitInternal, here);
  }
}

std::string findingText(const std::string& file, const Finding& finding) {
  const std::string line = finding.line == 0 ? "" : ":" + std::to_string(finding.line);
  return file + line + ": " + findingName(finding.id) + " " + finding.text + "\n";
}

nlohmann::ordered_json findingJson(const Finding& finding) {
  nlohmann::ordered_json json{{"id", findingName(finding.id)}};
  json["line"] = finding.line == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(finding.line);
  json["message"] = finding.text;
  return json;
}

std::string dumpJson(const nlohmann::ordered_json& json) {
  return json.dump(2, ' ', /*ensure_ascii=*/false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace korvel::sig
