// What a command is given to work with: how to speak, whom to ask, where errors go. Pure; not thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korvelctl/cli/failure.h"
#include "korvelctl/cli/global_options.h"
#include "korvelctl/cli/service.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// The standard output or the error output.
class Output {
 public:
  virtual ~Output() = default;
  /// `text` is UTF-8 and printable; lines end in LF.
  virtual void write(std::string_view text) = 0;
  virtual bool isTerminal() const = 0;
  /// How many characters fit into a line without wrapping; 0 without a terminal.
  virtual size_t columns() const = 0;
};

/// The machine around a command.
struct Surroundings {
  Output* out = nullptr;
  Output* err = nullptr;
  Service* service = nullptr;
  std::string commandLine;  ///< as it was typed, UTF-8
  bool colors = false;      ///< the terminal shows them, and nobody has switched them off
  /// A line that somebody types, without its end; nothing at the end of the input, or without a terminal on
  /// both the input and the error output.
  std::function<std::optional<std::string>(const std::string& question)> ask;
  bool canAsk = false;  ///< somebody can answer
  LocalTime localTime = nullptr;
};

class Context {
 public:
  Context(const GlobalOptions& global, const Surroundings& surroundings)
      : global_(global), around_(surroundings) {}

  const GlobalOptions& global() const { return global_; }
  Language language() const { return global_.language; }
  const std::string& commandLine() const { return around_.commandLine; }
  Service& service() { return *around_.service; }
  Output& errorOutput() { return *around_.err; }
  /// How to render for the standard output.
  Look look() const;

  const char* say(const Text& text) const { return text.in(language()); }
  std::string say(const Text& text, std::initializer_list<std::string_view> values) const {
    return filled(text, language(), values);
  }

  /// Text for people, ends in LF. Nothing in a JSON mode.
  void print(std::string_view text);
  /// What has no form of its own, such as a script: the same in every mode.
  void write(std::string_view text) { around_.out->write(text); }
  /// Text for people on the error output: hints, what goes on. Nothing in a JSON mode or with --quiet.
  void note(std::string_view text);
  /// One line of --ndjson; nothing in other modes. "type" comes first.
  void line(const char* type, const Json& fields);
  /// The one document of the command in a JSON mode, nothing otherwise. Adds "schema" in front ("korvel." and
  /// "/1" are added to `schema`) and the errors of report() at the end. With --ndjson it is a line of type
  /// "end".
  void document(const char* schema, const Json& fields);

  /// Something went wrong with one item, and the command goes on: the error goes to the error output now,
  /// into the document later, and into the exit code.
  void report(const std::string& item, const Failure& failure);
  const std::vector<ItemError>& errors() const { return errors_; }
  /// The exit code of the command, if `own` is that of what went well.
  int exitCode(int own) const;

  /// Goes on when the user agrees: with --yes, with --dry-run, or when the answer on the terminal is yes.
  /// Throws Failure: kUsage where nobody can be asked, kGuard when the answer is no.
  void confirm(const std::string& question);

  /// Whether confirm() can get an answer.
  bool canConfirm() const { return global_.yes || global_.dryRun || around_.canAsk; }

  /// Tells of a failure that ended the command before it did anything. Returns the exit code.
  int fail(const Failure& failure);

 private:
  void printError(const std::string& item, const Failure& failure);

  const GlobalOptions global_;
  const Surroundings around_;
  std::vector<ItemError> errors_;
  int errorExit_ = 0;
};

}  // namespace korvel::ctl
