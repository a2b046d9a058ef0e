// check: judges files in this process; needs no service.
#include "base/files.h"
#include "base/sizes.h"
#include "base/text.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/check_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/console.h"
#include "korvelctl/machine/file_check.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/check.h"
#include "korvelctl/render/printable.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostListBytes = 64 * kMiB;

struct CheckOptions {
  std::vector<std::string> files;
  std::string from;
  bool explain = false;
  std::vector<std::string> databases;
  std::string failOn = "high";
};

/// One name a line; blank lines do not count.
std::vector<std::string> namesIn(const std::string& text) {
  std::vector<std::string> names;
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    if (names.empty() && line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!line.empty()) names.emplace_back(line);
  }
  return names;
}

std::vector<std::string> listedNames(const std::string& from, Context& context) {
  const auto unreadable = [&](std::optional<uint32_t> code) {
    return Failure(ErrorKind::kIo, context.say(words::kCheckListUnreadable, {printable(from)}), {}, code);
  };
  std::string text;
  if (from == "-") {
    const std::optional<std::string> input = readStandardInput();
    if (!input) throw unreadable(std::nullopt);
    text = *input;
  } else if (!readWholeFile(wholePath(from, context.language()), text, kMostListBytes)) {
    throw unreadable(::GetLastError());
  }
  return namesIn(text);
}

std::vector<std::wstring> filesToCheck(const CheckOptions& options, Context& context) {
  std::vector<std::string> names = options.files;
  if (!options.from.empty()) {
    for (std::string& name : listedNames(options.from, context)) names.push_back(std::move(name));
  }
  if (names.empty()) throw Failure(ErrorKind::kUsage, context.say(words::kCheckNoFiles));
  std::vector<std::wstring> paths;
  for (const std::string& name : names) {
    paths.push_back(wholePath(name, context.language()));
    if (isFolder(paths.back()))
      throw Failure(ErrorKind::kUsage, context.say(words::kCheckIsFolder, {printable(paths.back())}));
  }
  return paths;
}

std::vector<std::wstring> databasesOf(const CheckOptions& options, Context& context) {
  if (options.databases.empty()) return serviceDatabases();
  std::vector<std::wstring> databases;
  for (const std::string& given : options.databases)
    databases.push_back(wholePath(given, context.language()));
  return databases;
}

void reportUnreadable(const CheckedFile& file, Context& context) {
  const FileReading reading = file.trace.reading;
  if (reading != FileReading::kMissing && reading != FileReading::kNotOpened &&
      reading != FileReading::kBroken)
    return;
  context.report(toUtf8(file.verdict.path),
                 Failure(ErrorKind::kIo, readingText(reading, context.language()), {}, file.trace.win32));
}

int check(const CheckOptions& options, Context& context) {
  const std::vector<std::wstring> paths = filesToCheck(options, context);
  FileCheck checker(databasesOf(options, context));
  CheckDocument document;
  document.explain = options.explain;
  document.failOn = parseSeverity(options.failOn);
  document.databases = checker.databases();
  document.signatureCount = checker.info().entryCount;
  document.signatureVersion = checker.info().version;
  for (const UsedDatabase& database : document.databases) {
    // A file that was named must be there; the service's own may be absent.
    if (database.loaded || options.databases.empty()) continue;
    context.report(toUtf8(database.path), Failure(ErrorKind::kIo, context.say(words::kCheckDbUnreadable,
                                                                              {printable(database.path)})));
  }
  if (document.signatureCount == 0)
    context.note("korvelctl: " + std::string(context.say(words::kCheckNoDatabase)) + "\n");
  for (const std::wstring& path : paths) {
    document.files.push_back(checker.check(path));
    reportUnreadable(document.files.back(), context);
  }

  context.print(renderCheck(document, context.look()));
  context.document("check", checkJson(document));
  const CheckResult result = resultOf(document);
  int own = kExitDone;
  if (result.notExamined > result.unreadable) own = kExitIncomplete;
  if (result.found > 0) own = kExitFound;
  return context.exitCode(own);
}

}  // namespace

void addCheckCommand(Command& root) {
  const auto options = std::make_shared<CheckOptions>();
  root.add("check", words::kCheckHelp, [options](Context& context) { return check(*options, context); })
      .arguments("FILE", options->files, words::kCheckFilesHelp, /*required=*/false)
      .text("--from", "FILE", options->from, words::kCheckFromHelp)
      .flag("--explain", options->explain, words::kCheckExplainHelp)
      .texts("--db", "FILE", options->databases, words::kCheckDbHelp)
      .choice("--fail-on", {"medium", "high", "critical"}, options->failOn, words::kCheckFailOnHelp)
      .example("korvelctl check setup.exe", words::kCheckExample)
      .example("korvelctl check --explain setup.exe", words::kCheckExplainExample)
      .example("korvelctl check --from names.txt --json", words::kCheckFromExample)
      .note(words::kCheckNote);
}

}  // namespace korvel::ctl
