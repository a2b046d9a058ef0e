// quarantine names: where the quarantined files came from, for a question that names them. The service need
// not run.
#include <algorithm>

#include "base/files.h"
#include "base/utf.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/quarantine_names_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/installation.h"
#include "korvelctl/machine/quarantine_files.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "remedy/quarantine_index.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kNoLimit = UINT32_MAX;

struct NamesOptions {
  uint64_t limit = kNoLimit;
  std::string file;
};

/// The newest first. From the index, where the caller may read it; else from the service.
std::vector<QuarantineRecord> quarantined(Context& context) {
  const IndexOnDisk index = readIndexIn(installedFolders().quarantine);
  std::vector<QuarantineRecord> records;
  if (index.text) {
    records = parseQuarantineIndex(*index.text);
  } else if (index.state == IndexState::kNotLookedAt &&
             pathStatus(installedFolders().quarantine) != PathStatus::kMissing) {
    records = askQuarantine(context.service());
    context.service().letGo();
  }
  std::stable_sort(records.begin(), records.end(),
                   [](const QuarantineRecord& a, const QuarantineRecord& b) { return a.time > b.time; });
  return records;
}

/// UTF-16 with its mark and CR LF, which setup programs and scripts of Windows read without a question.
std::string forWindows(const std::string& text) {
  std::wstring wide = L"\xFEFF";
  for (const wchar_t unit : toWide(text)) {
    if (unit == L'\n') wide += L'\r';
    wide += unit;
  }
  return {reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t)};
}

int names(const NamesOptions& options, Context& context) {
  const std::vector<QuarantineRecord> records = quarantined(context);
  const size_t shown = std::min<size_t>(records.size(), options.limit);
  std::string text;
  Json originals = Json::array();
  for (size_t i = 0; i < shown; ++i) {
    text += printable(records[i].originalPath) + "\n";
    originals.push_back(toUtf8(records[i].originalPath));
  }
  if (shown < records.size())
    text += context.say(words::kAndMoreFiles, {std::to_string(records.size() - shown)}) + "\n";
  if (options.file.empty()) {
    context.print(text);
  } else if (!context.global().dryRun) {
    const std::wstring target = wholePath(options.file, context.language());
    if (!rewriteTextFile(target, forWindows(text))) {
      const DWORD code = ::GetLastError();
      throw Failure(ErrorKind::kIo, context.say(words::kNamesNotWritten, {printable(target)}), {}, code);
    }
  }
  context.document("quarantine", {{"names", originals}, {"total", records.size()}});
  return kExitDone;
}

}  // namespace

void addQuarantineNamesCommand(Command& root) {
  const auto options = std::make_shared<NamesOptions>();
  root.group("quarantine", words::kNamesGroup)
      .add("names", words::kNamesHelp, [options](Context& context) { return names(*options, context); })
      .number("--limit", "N", options->limit, words::kNamesLimitHelp, 1)
      .text("-o,--output", "FILE", options->file, words::kNamesFileHelp)
      .example("korvelctl quarantine names --limit 10", words::kNamesExample);
}

}  // namespace korvel::ctl
