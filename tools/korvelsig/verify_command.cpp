#include <nlohmann/json.hpp>
#include <set>

#include "korvelsig/commands.h"
#include "korvelsig/file_check.h"
#include "signatures/signature_text.h"

namespace korvel::sig {
namespace {

CheckedFile checkFile(const std::string& path, bool strict, FileAccess& files) {
  FileCheck check(/*table=*/nullptr, strict);
  files.read(path, [&check](std::string_view piece) { check.feed(piece); });
  CheckedFile file = check.finish();
  if (!file.ascending) {
    RepeatedLines repeated;
    files.read(path, [&repeated](std::string_view piece) { repeated.feed(piece); });
    addRepeatedLines(repeated.finish(), file);
  }
  return file;
}

SignatureTable loadTable(const std::string& path, FileAccess& files) {
  SignatureFileParser parser(files.size(path));
  files.read(path, [&parser](std::string_view piece) { parser.feed(piece); });
  return parser.finish().table;
}

/// The digests that have only the generic name in `table` and a name in `other`.
DigestList namedElsewhere(const SignatureTable& table, const SignatureTable& other) {
  DigestList digests;
  for (SignatureCursor at(other); !at.atEnd(); at.next()) {
    SignatureFields fields;
    if (at.isBare() || at.fields().threatName == kGenericThreatName) continue;
    if (!table.fields(at.digest(), fields) || fields.threatName != kGenericThreatName) continue;
    digests.insert(digestKey(at.digest()));
  }
  return digests;
}

/// Finds the first lines of some digests.
class GenericLines {
 public:
  GenericLines(DigestList digests, const std::string& other) : digests_(std::move(digests)), other_(other) {}

  std::vector<Finding> findIn(const std::string& path, FileAccess& files) {
    files.read(path, [this](std::string_view piece) { pieces_.feed(piece); });
    pieces_.finish();
    return std::move(findings_);
  }

  // For the pieces.
  void bareLine(const Sha256Key& key, std::string_view) {
    ++number_;
    take(key);
  }
  void line(std::string_view text) {
    ++number_;
    const SignatureLine line = readSignatureLine(text);
    if (line.kind == LineKind::kEntry) take(line.digest.bytes());
  }

 private:
  void take(std::span<const uint8_t> digest) {
    if (digests_.erase(digestKey(digest)) == 0) return;
    findings_.push_back(
        {FindingId::kGenericName, number_, "the generic name; " + other_ + " has a better one"});
  }

  DigestList digests_;
  const std::string other_;
  LinePieces<GenericLines> pieces_{*this};
  uint64_t number_ = 0;
  std::vector<Finding> findings_;
};

void addGenericNames(const Command& command, FileAccess& files, std::vector<CheckedFile>& checked) {
  if (command.files.size() < 2) return;
  std::vector<SignatureTable> tables;
  for (const std::string& path : command.files) tables.push_back(loadTable(path, files));
  for (size_t file = 0; file < tables.size(); ++file) {
    for (size_t other = 0; other < tables.size(); ++other) {
      if (other == file) continue;
      DigestList digests = namedElsewhere(tables[file], tables[other]);
      if (digests.empty()) continue;
      GenericLines lines(std::move(digests), command.files[other]);
      const std::vector<Finding> found = lines.findIn(command.files[file], files);
      checked[file].findings.insert(checked[file].findings.end(), found.begin(), found.end());
    }
    sortFindings(checked[file].findings);
  }
}

std::string summaryText(const std::string& path, const CheckedFile& file) {
  const uint64_t errors = countErrors(file.findings);
  return path + ": " + std::to_string(file.entryLines) + " entry lines, " +
         std::to_string(file.skippedLines) + " skipped lines, " + std::to_string(errors) + " errors, " +
         std::to_string(file.findings.size() - errors) + " warnings\n";
}

nlohmann::ordered_json fileJson(const std::string& path, const CheckedFile& file) {
  const uint64_t errors = countErrors(file.findings);
  nlohmann::ordered_json json{{"file", path},
                              {"lines", file.lines},
                              {"entry_lines", file.entryLines},
                              {"skipped_lines", file.skippedLines},
                              {"errors", errors},
                              {"warnings", file.findings.size() - errors},
                              {"findings", nlohmann::ordered_json::array()}};
  for (const Finding& finding : file.findings) json["findings"].push_back(findingJson(finding));
  return json;
}

}  // namespace

int runVerify(const Command& command, const Surroundings& here) {
  std::vector<CheckedFile> checked;
  for (const std::string& path : command.files)
    checked.push_back(checkFile(path, command.strict, here.files));
  addGenericNames(command, here.files, checked);
  bool clean = true;
  nlohmann::ordered_json json{{"schema", "korvel.sig.verify/1"}, {"files", nlohmann::ordered_json::array()}};
  for (size_t at = 0; at < checked.size(); ++at) {
    const std::string& path = command.files[at];
    clean = clean && checked[at].findings.empty();
    if (command.json) {
      json["files"].push_back(fileJson(path, checked[at]));
      continue;
    }
    for (const Finding& finding : checked[at].findings) here.out(findingText(path, finding));
    here.out(summaryText(path, checked[at]));
  }
  const int exitCode = clean ? kExitClean : kExitFindings;
  if (command.json) {
    json["exit"] = exitCode;
    here.out(dumpJson(json));
  }
  return exitCode;
}

}  // namespace korvel::sig
