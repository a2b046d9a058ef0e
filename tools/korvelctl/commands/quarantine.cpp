// quarantine list, restore and delete.
#include <algorithm>
#include <charconv>

#include "base/clock.h"
#include "base/files.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/quarantine_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/file_places.h"
#include "korvelctl/machine/quarantine_files.h"
#include "korvelctl/model/decision.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/quarantine.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

struct QuarantineOptions {
  std::vector<std::string> ids;
  bool missing = false;
  bool all = false;
  bool force = false;
  std::string olderThan;
  std::string sort = "time";
};

/// The records, compared with the folder as far as the caller may look into it.
QuarantineCheck lookAtQuarantine(Context& context) {
  const std::vector<QuarantineRecord> records = askQuarantine(context.service());
  const FilePlaces places(askSettings(context.service()).quarantineDir);
  const std::wstring& folder = places.quarantineFolder();
  return checkQuarantine(records, folder, storedFilesIn(folder, Digests::kLeftOut),
                         readIndexIn(folder).state);
}

int list(const QuarantineOptions& options, Context& context) {
  const QuarantineCheck check = lookAtQuarantine(context);
  context.service().letGo();
  std::vector<QuarantineRow> rows = check.rows;
  if (options.missing)
    std::erase_if(rows, [](const QuarantineRow& row) { return row.record.storedFileExists; });
  const auto before = [&options](const QuarantineRow& a, const QuarantineRow& b) {
    if (options.sort == "severity") return a.record.severity > b.record.severity;
    return a.record.time > b.record.time;
  };
  std::stable_sort(rows.begin(), rows.end(), before);
  context.print(renderQuarantine(check, rows, context.look()));
  context.document("quarantine", quarantineJson(check, rows));
  const bool damaged = check.index == IndexState::kDamaged || !check.orphans.empty();
  return context.exitCode(damaged ? kExitFound : kExitDone);
}

uint64_t idOf(const std::string& word, Context& context) {
  uint64_t id = 0;
  const char* end = word.data() + word.size();
  const auto [stop, problem] = std::from_chars(word.data(), end, id);
  if (problem != std::errc() || stop != end || id == 0)
    throw Failure(ErrorKind::kUsage, context.say(words::kNotAnId, {printable(word)}));
  return id;
}

/// The named records. An id without a record is an error of that item.
std::vector<QuarantineRecord> named(const QuarantineOptions& options, Context& context,
                                    const std::vector<QuarantineRecord>& records) {
  std::vector<QuarantineRecord> chosen;
  for (const std::string& word : options.ids) {
    const uint64_t id = idOf(word, context);
    const auto hasId = [id](const QuarantineRecord& record) { return record.id == id; };
    if (std::any_of(chosen.begin(), chosen.end(), hasId)) continue;
    const auto found = std::find_if(records.begin(), records.end(), hasId);
    if (found == records.end())
      context.report(word, Failure(ErrorKind::kRefused, context.say(words::kNoSuchRecord)));
    else
      chosen.push_back(*found);
  }
  return chosen;
}

/// One item of the document; what failed is reported under its id.
template <typename Act>
Json itemOf(Context& context, const QuarantineRecord& record, const char* action, const Act& act) {
  std::string result = context.global().dryRun ? "dry_run" : "ok";
  try {
    act();
  } catch (const Failure& failure) {
    // Without a terminal a question cannot be asked: that is the command's own failure, not the item's.
    result = failure.what();
    context.report(std::to_string(record.id), failure);
  }
  Json item{{"id", jsonNumber(record.id)}};
  putPath(item, "original", record.originalPath);
  item["action"] = action;
  item["result"] = result;
  context.line("action", item);
  return item;
}

void restoreOne(const QuarantineOptions& options, Context& context, const QuarantineRecord& record) {
  const std::string origin = printable(record.originalPath);
  if (!record.storedFileExists) throw Failure(ErrorKind::kRefused, context.say(words::kStoredGone));
  const bool inTheWay = pathStatus(record.originalPath) != PathStatus::kMissing;
  if (context.global().dryRun) {
    context.print(
        context.say(inTheWay && !options.force ? words::kRestoreInTheWay : words::kWouldRestore, {origin}) +
        "\n");
    return;
  }
  if (inTheWay && !options.force) {
    // What would be overwritten is somebody's file: a general --yes is not enough.
    if (context.global().yes || !context.canConfirm())
      throw Failure(ErrorKind::kUsage, context.say(words::kRestoreInTheWay, {origin}));
    context.service().letGo();
    context.confirm(context.say(words::kRestoreQuestion, {origin}));
  }
  context.service().ask(Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(record.id));
  context.print(context.say(words::kRestored, {origin}) + "\n");
}

int restore(const QuarantineOptions& options, Context& context) {
  for (const std::string& word : options.ids) (void)idOf(word, context);
  const auto chosen = named(options, context, askQuarantine(context.service()));
  Json items = Json::array();
  for (const QuarantineRecord& record : chosen)
    items.push_back(itemOf(context, record, "restore", [&] { restoreOne(options, context, record); }));
  context.service().letGo();
  context.document("action", {{"action", "restore"}, {"items", items}});
  return context.exitCode(kExitDone);
}

std::vector<QuarantineRecord> chosenForDeletion(const QuarantineOptions& options, Context& context,
                                                const std::vector<QuarantineRecord>& records) {
  if (!options.ids.empty()) return named(options, context, records);
  const uint64_t age = options.olderThan.empty() ? 0 : ageOption(options.olderThan).value_or(0);
  const uint64_t now = unixSecondsNow();
  std::vector<QuarantineRecord> chosen;
  for (const QuarantineRecord& record : records) {
    const bool old = !options.olderThan.empty() && record.time + age < now;
    const bool gone = options.missing && !record.storedFileExists;
    if (options.all || old || gone) chosen.push_back(record);
  }
  return chosen;
}

void deleteOne(Context& context, const QuarantineRecord& record) {
  const std::string origin = printable(record.originalPath);
  if (context.global().dryRun) {
    context.print(context.say(words::kWouldRemove, {origin}) + "\n");
    return;
  }
  context.service().ask(Opcode::kDeleteQuarantined, ipc::encodeQuarantineId(record.id));
  // The service says nothing when the stored file could not be deleted.
  if (pathStatus(record.storedPath) == PathStatus::kExists)
    throw Failure(ErrorKind::kIo, context.say(words::kFileStays, {printable(record.storedPath)}));
  context.print(context.say(words::kRemoved, {origin}) + "\n");
}

int remove(const QuarantineOptions& options, Context& context) {
  const int choices = !options.ids.empty() + options.all + options.missing + !options.olderThan.empty();
  if (choices != 1) throw Failure(ErrorKind::kUsage, context.say(words::kOneChoice));
  if (!options.olderThan.empty() && !ageOption(options.olderThan))
    throw Failure(ErrorKind::kUsage, context.say(words::kBadAge, {printable(options.olderThan)}));
  for (const std::string& word : options.ids) (void)idOf(word, context);
  const auto chosen = chosenForDeletion(options, context, askQuarantine(context.service()));
  if (!chosen.empty()) {
    context.service().letGo();
    context.confirm(context.say(words::kDeleteRecordsQuestion,
                                {countText(chosen.size(), words::kRecords, context.language())}));
  } else if (options.ids.empty()) {
    context.print(std::string(context.say(words::kNothingChosen)) + "\n");
  }
  Json items = Json::array();
  for (const QuarantineRecord& record : chosen)
    items.push_back(itemOf(context, record, "delete", [&] { deleteOne(context, record); }));
  context.service().letGo();
  context.document("action", {{"action", "delete"}, {"items", items}});
  return context.exitCode(kExitDone);
}

}  // namespace

void addQuarantineCommands(Command& root) {
  const auto options = std::make_shared<QuarantineOptions>();
  Command& group = root.group("quarantine", words::kQuarantineHelp);
  group
      .add("list", words::kQuarantineListHelp,
           [options](Context& context) { return list(*options, context); })
      .flag("--missing", options->missing, words::kMissingListHelp)
      .choice("--sort", {"time", "severity"}, options->sort, words::kSortHelp)
      .example("korvelctl quarantine list", words::kQuarantineListExample);
  group
      .add("restore", words::kQuarantineRestoreHelp,
           [options](Context& context) { return restore(*options, context); })
      .arguments("ID", options->ids, words::kQuarantineIds)
      .flag("--force", options->force, words::kRestoreForceHelp)
      .example("korvelctl quarantine restore 1763698260114", words::kQuarantineRestoreExample)
      .note(words::kRestoreNote);
  group
      .add("delete", words::kQuarantineDeleteHelp,
           [options](Context& context) { return remove(*options, context); })
      .arguments("ID", options->ids, words::kQuarantineIds, /*required=*/false)
      .flag("--all", options->all, words::kDeleteAllHelp)
      .text("--older-than", "AGE", options->olderThan, words::kOlderThanHelp)
      .flag("--missing", options->missing, words::kMissingDeleteHelp)
      .example("korvelctl quarantine delete --older-than 30d --yes", words::kQuarantineDeleteExample);
}

}  // namespace korvel::ctl
