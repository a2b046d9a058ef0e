// The commands that write: build, add, feed.
#include <nlohmann/json.hpp>
#include <optional>

#include "base/sizes.h"
#include "hash/triple_digest.h"
#include "korvelsig/canonical_text.h"
#include "korvelsig/commands.h"
#include "korvelsig/file_check.h"
#include "korvelsig/signature_input.h"

namespace korvel::sig {
namespace {

constexpr std::string_view kAddedTag = "added";
constexpr uint64_t kMaxAllowBytes = 64 * kMiB;

/// Collects what was found in the inputs and tells it at the end, in text or JSON.
class Report {
 public:
  Report(const Command& command, const Surroundings& here, const char* schema)
      : command_(command), here_(here) {
    json_["schema"] = schema;
    json_["findings"] = nlohmann::ordered_json::array();
  }

  void add(const std::string& file, const Finding& finding) {
    errors_ = errors_ || isError(finding.id);
    if (command_.json) {
      nlohmann::ordered_json json{{"file", file}};
      json.update(findingJson(finding));
      json_["findings"].push_back(json);
    } else {
      here_.err(findingText(file, finding));
    }
  }
  void add(const std::string& file, const std::vector<Finding>& findings) {
    for (const Finding& finding : findings) add(file, finding);
  }
  /// A remark that is no finding.
  void note(const std::string& text) {
    if (!command_.json) here_.err("korvelsig: " + text + "\n");
    json_["notes"].push_back(text);
  }

  /// Whether an error stands in the way of writing.
  bool refuses() const { return errors_ && !command_.skipBad; }

  /// `text` says what was done or why nothing was.
  int finish(bool written, const std::string& text, uint64_t entries) {
    const int exitCode = written && !errors_ ? kExitClean : kExitFindings;
    if (command_.json) {
      json_["written"] = written;
      json_["entries"] = entries;
      json_["message"] = text;
      json_["exit"] = exitCode;
      here_.out(dumpJson(json_));
    } else {
      (written ? here_.out : here_.err)((written ? "" : "korvelsig: ") + text + "\n");
    }
    return exitCode;
  }
  int refuse(const std::string& text) { return finish(/*written=*/false, text, 0); }

 private:
  const Command& command_;
  const Surroundings& here_;
  nlohmann::ordered_json json_;
  bool errors_ = false;
};

SignatureInput readInput(const std::string& path, FileAccess& files) {
  SignatureInputReader reader(files.size(path));
  files.read(path, [&reader](std::string_view piece) { reader.feed(piece); });
  return reader.finish();
}

/// The entries of all inputs, merged in their order as the service would.
SignatureInput readInputs(const Command& command, FileAccess& files, Report& report) {
  std::optional<SignatureInput> all;
  for (const std::string& path : command.files) {
    SignatureInput input = readInput(path, files);
    std::erase_if(input.findings, [](const Finding& finding) {
      return finding.id == FindingId::kNoHeader || finding.id == FindingId::kTooManyForFeed;
    });
    report.add(path, input.findings);
    if (input.entryLines > input.table.size() && !hasErrors(input.findings)) {
      report.note(path + ": " + std::to_string(input.entryLines - input.table.size()) +
                  " lines repeat a digest of the same file; the first one of each counts");
    }
    if (!all) {
      all = std::move(input);
    } else {
      all->table = mergedTable(std::move(input.table), all->table);
    }
  }
  return std::move(*all);
}

DigestList readAllowed(const Command& command, FileAccess& files, Report& report) {
  DigestList list;
  for (const std::string& allow : command.allow) {
    hash::Digest digest;
    if (digest.parse(allow)) {
      list.insert(digestKey(digest.bytes()));
      continue;
    }
    if (files.size(allow) > kMaxAllowBytes)
      throw FileFailure("cannot read " + allow + ": larger than 64 MiB");
    std::string text;
    files.read(allow, [&text](std::string_view piece) { text += piece; });
    std::vector<Finding> findings;
    readAllowList(text, list, findings);
    report.add(allow, findings);
  }
  return list;
}

std::string refusal(const Command& command) {
  return "nothing written: the errors above must be cured first" +
         std::string(command.action == Action::kAdd ? "" : ", or left out with --skip-bad");
}

uint64_t writeTo(const std::string& path, const SignatureTable& table, const DatabaseHead& head,
                 const DigestList& leftOut, FileAccess& files) {
  uint64_t entries = 0;
  files.replace(
      path, [&](const FileAccess::Append& append) { entries = writeDatabase(table, head, leftOut, append); });
  return entries;
}

std::string sha256Of(const std::string& path, FileAccess& files) {
  hash::TripleDigest digest;
  files.read(path, [&digest](std::string_view piece) {
    digest.update(reinterpret_cast<const uint8_t*>(piece.data()), piece.size());
  });
  return hash::encodeHex(digest.digests().sha256);
}

/// `table` and the new entries, which win.
SignatureTable withEntries(const SignatureTable& table, const std::vector<hash::Digest>& added,
                           const SignatureFields& fields) {
  SignatureTableBuilder builder;
  for (const hash::Digest& digest : added) builder.add(digest, fields);
  for (SignatureCursor at(table); !at.atEnd(); at.next()) {
    hash::Digest digest;
    digest.parse(hash::encodeHex(at.digest()));
    builder.add(digest, at.fields());
  }
  return builder.finish();
}

}  // namespace

int runBuild(const Command& command, const Surroundings& here) {
  Report report(command, here, "korvel.sig.build/1");
  const DigestList leftOut = readAllowed(command, here.files, report);
  const SignatureInput input = readInputs(command, here.files, report);
  if (report.refuses()) return report.refuse(refusal(command));
  const uint64_t time = command.time.value_or(here.now);
  const DatabaseHead head{command.version.value_or(defaultVersion(time)), time};
  const uint64_t entries = writeTo(command.output, input.table, head, leftOut, here.files);
  return report.finish(/*written=*/true,
                       command.output + ": " + std::to_string(entries) + " entries, version " + head.version,
                       entries);
}

int runFeed(const Command& command, const Surroundings& here) {
  Report report(command, here, "korvel.sig.feed/1");
  const DigestList leftOut = readAllowed(command, here.files, report);
  const SignatureInput input = readInputs(command, here.files, report);
  if (report.refuses()) return report.refuse(refusal(command));
  const uint64_t lines = countFeed(input.table, leftOut);
  if (lines == 0)
    return report.refuse("nothing written: no SHA-256 digest, and the service refuses an empty feed");
  if (lines > kMaxFeedLines) {
    report.add(command.output, Finding{FindingId::kTooManyForFeed, 0,
                                       std::to_string(lines) + " lines: the service reads " +
                                           std::to_string(kMaxFeedLines) + " (128 MiB)"});
    return report.refuse("nothing written: the feed would be too long");
  }
  if (lines < input.table.size()) {
    report.note(std::to_string(input.table.size() - lines) +
                " entries are not in the feed: MD5, SHA-1, or allowed");
  }
  here.files.replace(command.output,
                     [&](const FileAccess::Append& append) { writeFeed(input.table, leftOut, append); });
  return report.finish(/*written=*/true, command.output + ": " + std::to_string(lines) + " lines", lines);
}

int runAdd(const Command& command, const Surroundings& here) {
  Report report(command, here, "korvel.sig.add/1");
  const std::string& path = command.files.front();
  SignatureInput input = readInputs(command, here.files, report);
  if (report.refuses()) return report.refuse(refusal(command));
  std::vector<std::string> texts = command.sha256;
  for (const std::string& sample : command.samples) texts.push_back(sha256Of(sample, here.files));
  std::vector<hash::Digest> added(texts.size());
  for (size_t at = 0; at < texts.size(); ++at) {
    added[at].parse(texts[at]);
    SignatureFields held;
    if (!input.table.fields(added[at].bytes(), held) || command.replace) continue;
    return report.refuse("nothing written: " + texts[at] + " is listed already as " +
                         inQuotes(held.threatName) + "; --replace gives it the new texts");
  }
  const SignatureFields fields{kAddedTag, command.name, command.family, command.reference,
                               parseSeverity(command.severity)};
  std::vector<Finding> findings;
  if (fields.severity == kSeverityLow)
    findings.push_back({FindingId::kNeverListed, 0, "severity low is never listed"});
  report.add(path, findings);
  const SignatureTable table = withEntries(input.table, added, fields);
  const uint64_t time = command.time.value_or(here.now);
  const std::string version = input.version.empty() ? defaultVersion(time) : input.version;
  const uint64_t entries =
      writeTo(path, table, {command.version.value_or(version), time}, /*leftOut=*/{}, here.files);
  return report.finish(/*written=*/true,
                       path + ": " + std::to_string(entries) + " entries, " + std::to_string(added.size()) +
                           " of them given now",
                       entries);
}

}  // namespace korvel::sig
