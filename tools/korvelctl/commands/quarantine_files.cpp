// quarantine verify and quarantine export: the stored files, read with the caller's own rights.
#include <charconv>

#include "base/files.h"
#include "base/long_path.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/verify_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/quarantine_files.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/quarantine_check.h"
#include "korvelctl/render/texts.h"
#include "remedy/quarantine_index.h"

namespace korvel::ctl {
namespace {

struct ExportOptions {
  std::string id;
  std::string file;
  bool force = false;
};

/// With a folder of its own the service is not asked: its index is read as the service would read it.
int verify(const std::string& dir, Context& context) {
  std::wstring folder;
  std::vector<QuarantineRecord> records;
  if (dir.empty()) {
    folder = askSettings(context.service()).quarantineDir;
    records = askQuarantine(context.service());
    context.service().letGo();
  } else {
    folder = wholePath(dir, context.language());
  }
  const IndexOnDisk index = readIndexIn(folder);
  const auto files = storedFilesIn(folder);
  const std::vector<QuarantineRecord> indexed = parseQuarantineIndex(index.text.value_or(""));
  if (dir.empty()) {
    fillInDigests(records, indexed);
  } else {
    if (!files) {
      const DWORD code = ::GetLastError();
      throw Failure(ErrorKind::kIo, context.say(words::kFolderNotListed, {printable(folder)}), {}, code);
    }
    records = indexed;
    for (QuarantineRecord& record : records) record.storedFileExists = pathExists(record.storedPath);
  }
  const QuarantineCheck check = checkQuarantine(records, folder, files, index.state);
  context.print(renderQuarantineCheck(check, context.look()));
  context.document("quarantine", quarantineCheckJson(check));
  return check.hasFindings() ? kExitFound : kExitDone;
}

QuarantineRecord recordOf(const std::string& id, Context& context) {
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
  if (error != std::errc() || end != id.data() + id.size())
    throw Failure(ErrorKind::kUsage, context.say(words::kExportNoNumber, {printable(id)}));
  for (const QuarantineRecord& record : askQuarantine(context.service())) {
    if (record.id == number) return record;
  }
  throw Failure(ErrorKind::kRefused, context.say(words::kExportNoRecord, {id}));
}

int exportFile(const ExportOptions& options, Context& context) {
  const std::wstring target = wholePath(options.file, context.language());
  const QuarantineRecord record = recordOf(options.id, context);
  context.service().letGo();
  const bool dryRun = context.global().dryRun;
  const bool exists = pathExists(target);
  if (exists && !options.force) context.confirm(context.say(words::kExportQuestion, {printable(target)}));

  const std::optional<std::string> sha256 = sha256Of(record.storedPath);
  if (!sha256)
    throw Failure(ErrorKind::kIo, context.say(words::kExportUnreadable, {printable(record.storedPath)}), {},
                  ::GetLastError());
  const bool altered = !sha256->starts_with(recordedDigest(record));
  if (!dryRun && !::CopyFileW(forFileApi(record.storedPath).c_str(), forFileApi(target).c_str(),
                              /*failIfExists=*/exists ? FALSE : TRUE)) {
    throw Failure(ErrorKind::kIo, context.say(words::kExportUnwritable, {printable(target)}), {},
                  ::GetLastError());
  }
  if (altered)
    context.report(options.id, Failure(ErrorKind::kIo, context.say(words::kExportAltered, {*sha256})));
  context.print((dryRun
                     ? context.say(words::kExportWould, {printable(record.originalPath), printable(target)})
                     : context.say(words::kExportDone, {printable(record.originalPath), printable(target),
                                                        bytesText(record.size, context.language())})) +
                "\n");
  Json json{{"action", "export"}, {"id", jsonNumber(record.id)}};
  putPath(json, "original", record.originalPath);
  putPath(json, "file", target);
  json["sha256"] = *sha256;
  json["altered"] = altered;
  json["done"] = !dryRun;
  context.document("action", json);
  return context.exitCode(kExitDone);
}

}  // namespace

void addQuarantineFileCommands(Command& root) {
  static constexpr Text kGroup{"Files in quarantine", "Файлы в карантине"};
  Command& quarantine = root.group("quarantine", kGroup);
  const auto dir = std::make_shared<std::string>();
  quarantine.add("verify", words::kVerifyHelp, [dir](Context& context) { return verify(*dir, context); })
      .text("--dir", "FOLDER", *dir, words::kVerifyDirHelp)
      .example("korvelctl quarantine verify", words::kVerifyExample)
      .example("korvelctl quarantine verify --dir D:\\copy\\Quarantine", words::kVerifyDirExample)
      .note(words::kVerifyNote);
  const auto options = std::make_shared<ExportOptions>();
  quarantine
      .add("export", words::kExportHelp,
           [options](Context& context) { return exportFile(*options, context); })
      .argument("ID", options->id, words::kExportIdHelp)
      .text("-o,--output", "FILE", options->file, words::kExportFileHelp)
      .flag("--force", options->force, words::kExportForceHelp)
      .check([options](const GlobalOptions& global) {
        if (options->file.empty()) throw Failure(ErrorKind::kUsage, words::kExportNoFile.in(global.language));
      })
      .example("korvelctl quarantine export 1763698260114 -o sample.bin", words::kExportExample)
      .note(words::kExportNote);
}

}  // namespace korvel::ctl
