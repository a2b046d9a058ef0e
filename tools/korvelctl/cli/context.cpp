#include "korvelctl/cli/context.h"

#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/common_words.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

bool saysYes(std::string_view answer) {
  for (const std::string_view yes : {"y", "Y", "yes", "Yes", "YES", "д", "Д", "да", "Да", "ДА"}) {
    if (answer == yes) return true;
  }
  return false;
}

}  // namespace

Look Context::look() const {
  Look look;
  look.language = language();
  look.mode = global_.mode;
  look.columns = around_.out->columns();
  look.colors = around_.colors && !global_.noColor && around_.out->isTerminal();
  look.localTime = around_.localTime;
  return look;
}

void Context::print(std::string_view text) {
  if (!global_.documents()) around_.out->write(text);
}

void Context::note(std::string_view text) {
  if (!global_.documents() && !global_.quiet) around_.err->write(text);
}

void Context::line(const char* type, const Json& fields) {
  if (global_.mode != OutputMode::kNdjson) return;
  Json json{{"type", type}};
  json.update(fields);
  around_.out->write(jsonLine(json));
}

void Context::document(const char* schema, const Json& fields) {
  if (!global_.documents()) return;
  Json json = Json::object();
  if (global_.mode == OutputMode::kNdjson) json["type"] = "end";
  json["schema"] = std::string("korvel.") + schema + "/1";
  json.update(fields);
  if (!json.contains("errors")) json["errors"] = Json::array();
  for (const ItemError& error : errors_) json["errors"].push_back(errorJson(error));
  around_.out->write(global_.mode == OutputMode::kNdjson ? jsonLine(json) : jsonText(json));
}

void Context::report(const std::string& item, const Failure& failure) {
  errors_.push_back(failure.about(item));
  errorExit_ = weightierExit(errorExit_, exitCodeOf(failure.kind()));
  if (!global_.documents()) printError(item, failure);
}

int Context::exitCode(int own) const { return weightierExit(own, errorExit_); }

void Context::confirm(const std::string& question) {
  if (global_.yes || global_.dryRun) return;
  const std::optional<std::string> answer =
      around_.ask ? around_.ask(question + " " + say(words::kQuestionEnd)) : std::nullopt;
  if (!answer) throw Failure(ErrorKind::kUsage, say(words::kNeedsYes, {question}));
  if (!saysYes(*answer)) throw Failure(ErrorKind::kGuard, say(words::kDeclined));
}

int Context::fail(const Failure& failure) {
  const int exitCode = exitCodeOf(failure.kind());
  if (!global_.documents()) {
    printError({}, failure);
    return exitCode;
  }
  Json json = Json::object();
  if (global_.mode == OutputMode::kNdjson) json["type"] = "end";
  json["schema"] = "korvel.error/1";
  Json error{{"kind", errorKindName(failure.kind())}, {"message", failure.what()}};
  if (!failure.advice().empty()) error["advice"] = failure.advice();
  if (failure.win32()) error["win32"] = *failure.win32();
  json["error"] = error;
  json["exit"] = exitCode;
  around_.out->write(global_.mode == OutputMode::kNdjson ? jsonLine(json) : jsonText(json));
  return exitCode;
}

void Context::printError(const std::string& item, const Failure& failure) {
  std::string message = printable(std::string_view(failure.what()));
  if (!item.empty()) message = printable(item) + ": " + message;
  if (failure.win32()) message += " (win32=" + std::to_string(*failure.win32()) + ")";
  const size_t columns = around_.err->columns();
  around_.err->write(wrapped(message, columns, "korvelctl: "));
  if (!failure.advice().empty()) around_.err->write(wrapped(failure.advice(), columns, "           "));
}

}  // namespace korvel::ctl
