// firewall export and import: the product's own rules as a file.
#include "base/files.h"
#include "base/sizes.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/firewall_file_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/model/firewall_file.h"
#include "korvelctl/render/printable.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr uint64_t kMostFileBytes = 16 * kMiB;

struct RulesExportOptions {
  std::string output;
  bool force = false;
};

struct ImportOptions {
  std::string file;
  bool replace = false;
};

void writeFile(const Context& context, const std::wstring& path, const std::string& text) {
  FileReplacement file(path, path + L".tmp");
  if (!file.open() || !file.write(text) || !file.finish() || !file.commit(/*clearAttributes=*/false)) {
    throw Failure(ErrorKind::kIo, context.say(words::kExportFailed, {printable(path)}), {}, ::GetLastError());
  }
}

int exportRules(const RulesExportOptions& options, Context& context) {
  const FirewallListing listing = askFor(context.service(), Opcode::kFirewallStatus, parseFirewallListing);
  if (!listing.errors.empty()) throw Failure(ErrorKind::kRefused, listing.errors.front());
  size_t leftOut = 0;
  const FirewallFile file = firewallFileOf(listing, leftOut);
  if (options.output.empty()) {
    context.write(formatFirewallFile(file));
    return kExitDone;
  }
  const std::wstring path = wholePath(options.output, context.language());
  const bool dryRun = context.global().dryRun;
  if (!options.force && pathStatus(path) != PathStatus::kMissing) {
    context.service().letGo();
    context.confirm(context.say(words::kExportReplace, {printable(path)}));
  }
  if (!dryRun) {
    writeFile(context, path, formatFirewallFile(file));
    context.print(context.say(words::kExported, {std::to_string(file.rules.size()), printable(path)}) + "\n");
  }
  if (leftOut > 0) context.note(context.say(words::kExportLeftOut, {std::to_string(leftOut)}) + "\n");
  context.document(
      "firewall",
      {{"done", !dryRun}, {"file", toUtf8(path)}, {"rules", file.rules.size()}, {"left_out", leftOut}});
  return kExitDone;
}

FirewallFile readRules(const Context& context, const std::wstring& path) {
  std::string text;
  if (!readWholeFile(path, text, kMostFileBytes)) {
    throw Failure(ErrorKind::kUsage, context.say(words::kImportUnreadable, {printable(path)}), {},
                  ::GetLastError());
  }
  std::string error;
  std::optional<FirewallFile> file = parseFirewallFile(text, context.language(), &error);
  if (!file)
    throw Failure(ErrorKind::kUsage, context.say(words::kImportBad, {printable(path), printable(error)}));
  return std::move(*file);
}

/// Empty, or the firewall's refusal.
std::string refusalOf(Context& context, Opcode opcode, const std::string& argument) {
  const auto reply = askFor(context.service(), opcode, ipc::decodeFirewallChange, ipc::encodeText(argument));
  return reply.ok ? std::string() : reply.text;
}

int importRules(const ImportOptions& options, Context& context) {
  const std::wstring path = wholePath(options.file, context.language());
  const FirewallFile file = readRules(context, path);
  const std::string all = std::to_string(file.rules.size());
  size_t made = 0;
  if (options.replace) context.confirm(context.say(words::kImportReplaceQuestion));
  if (context.global().dryRun) {
    context.print(context.say(words::kWouldImport, {all}) + "\n");
  } else {
    if (options.replace) {
      if (const std::string refusal = refusalOf(context, Opcode::kFirewallRemoveRules, ""); !refusal.empty())
        throw Failure(ErrorKind::kRefused, refusal);
    }
    for (const FirewallProgramRule& rule : file.rules) {
      const std::string refusal = refusalOf(context, Opcode::kFirewallAddRule, rule.request());
      if (refusal.empty()) {
        ++made;
      } else {
        context.report(rule.program, Failure(ErrorKind::kRefused, refusal));
      }
    }
    // Letting traffic in again is left to whoever asks for it.
    if (file.inboundBlocked.value_or(false)) {
      if (const std::string refusal = refusalOf(context, Opcode::kFirewallBlockInbound, "1");
          !refusal.empty())
        context.report("inbound", Failure(ErrorKind::kRefused, refusal));
    }
    context.print(context.say(words::kImported, {std::to_string(made), all}) + "\n");
  }
  context.document("firewall", {{"done", !context.global().dryRun},
                                {"file", toUtf8(path)},
                                {"rules", file.rules.size()},
                                {"made", made}});
  return context.exitCode(kExitDone);
}

}  // namespace

void addFirewallFileCommands(Command& firewall) {
  const auto exporting = std::make_shared<RulesExportOptions>();
  firewall
      .add("export", words::kRulesExportHelp,
           [exporting](Context& context) { return exportRules(*exporting, context); })
      .text("-o,--output", "FILE", exporting->output, words::kExportOutputHelp)
      .flag("--force", exporting->force, words::kRulesExportForceHelp)
      .example("korvelctl firewall export -o rules.json", words::kRulesExportExample);
  const auto importing = std::make_shared<ImportOptions>();
  firewall
      .add("import", words::kImportHelp,
           [importing](Context& context) { return importRules(*importing, context); })
      .argument("FILE", importing->file, words::kImportArgument)
      .flag("--replace", importing->replace, words::kImportReplaceHelp)
      .example("korvelctl firewall import rules.json --dry-run", words::kImportExample)
      .note(words::kImportNote);
}

}  // namespace korvel::ctl
