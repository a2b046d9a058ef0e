#include "korvelsig/signature_input.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "base/line_assembler.h"
#include "base/sizes.h"
#include "base/text.h"
#include "hash/hex_digest.h"
#include "korvelsig/digest_list.h"
#include "korvelsig/file_check.h"
#include "korvelsig/signature_line.h"
#include "records/severity.h"

namespace korvel::sig {
namespace {

constexpr std::string_view kFactsHead = "digest\tthreat name\tfamily\tseverity\tsource";
constexpr std::string_view kFactsTag = "seed";
constexpr size_t kFactsColumns = 5;
/// A form is decided at the latest after so much of the file.
constexpr size_t kBeginningBytes = 1 * kMiB;
constexpr std::string_view kBlanks = " \t\r\n";

std::string_view withoutCr(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

bool isNoise(std::string_view line) { return line.empty() || line.front() == '#'; }

}  // namespace

class SignatureInputReader::Form {
 public:
  virtual ~Form() = default;
  virtual void feed(std::string_view piece) = 0;
  /// Everything but the table.
  virtual SignatureInput finish() = 0;
};

namespace {

class DatabaseForm : public SignatureInputReader::Form {
 public:
  explicit DatabaseForm(SignatureTableBuilder& table) : check_(&table) {}
  void feed(std::string_view piece) override { check_.feed(piece); }
  SignatureInput finish() override {
    CheckedFile file = check_.finish();
    return {{}, std::move(file.version), file.generated, file.entryLines, std::move(file.findings)};
  }

 private:
  FileCheck check_;
};

/// What facts and lists of hashes share: lines of any length, and which digests repeat.
class LinesForm : public SignatureInputReader::Form {
 public:
  explicit LinesForm(SignatureTableBuilder& table) : table_(table) {}

  void feed(std::string_view piece) override {
    lines_.take(piece, [this](std::string_view line) { countLine(line); });
  }
  SignatureInput finish() override {
    lines_.finish([this](std::string_view line) { countLine(line); });
    return {{}, {}, 0, entryLines_, std::move(findings_)};
  }

 protected:
  virtual void takeLine(std::string_view line) = 0;

  void report(FindingId id, const std::string& text) { findings_.push_back({id, number_, text}); }
  void add(const hash::Digest& digest, const SignatureFields& fields) {
    ++entryLines_;
    table_.add(digest, fields);
  }
  uint64_t number_ = 0;
  std::vector<Finding> findings_;

 private:
  void countLine(std::string_view line) {
    ++number_;
    takeLine(line);
  }

  SignatureTableBuilder& table_;
  LineAssembler lines_;
  uint64_t entryLines_ = 0;
};

class HashesForm : public LinesForm {
 public:
  using LinesForm::LinesForm;

 private:
  void takeLine(std::string_view line) override {
    line = trimmed(line, kBlanks);
    if (isNoise(line)) return;
    const std::string_view word = line.substr(0, line.find_first_of(" \t"));
    hash::Digest digest;
    if (!digest.parse(word)) return findings_.push_back(digestFinding(word, number_));
    SignatureFields generic;
    generic.threatName = generic.family = kGenericThreatName;
    add(digest, generic);
  }
};

class FactsForm : public LinesForm {
 public:
  using LinesForm::LinesForm;

 private:
  using Columns = std::array<std::string_view, kFactsColumns>;

  void takeLine(std::string_view line) override {
    line = withoutCr(line);
    if (isNoise(line) || (!headSeen_ && line == kFactsHead)) {
      headSeen_ = headSeen_ || line == kFactsHead;
      return;
    }
    Columns columns;
    if (!split(line, columns)) return;
    const size_t before = findings_.size();
    hash::Digest digest;
    if (!digest.parse(columns[0])) return findings_.push_back(digestFinding(columns[0], number_));
    const SignatureFields fields = fieldsOf(digest, columns);
    findInTexts(fields, number_, findings_);
    const bool broken = std::any_of(findings_.begin() + static_cast<ptrdiff_t>(before), findings_.end(),
                                    [](const Finding& finding) { return isError(finding.id); });
    if (!broken) add(digest, fields);
    const auto [first, isNew] = firstLines_.try_emplace(digestKey(digest.bytes()), number_);
    if (!isNew) {
      report(FindingId::kRepeated,
             "repeats the digest of line " + std::to_string(first->second) + ", which wins");
    }
  }

  bool split(std::string_view line, Columns& columns) {
    const auto count = static_cast<size_t>(std::count(line.begin(), line.end(), '\t')) + 1;
    if (count != kFactsColumns) {
      report(FindingId::kInvalidDigest, std::to_string(count) + " columns in place of 5, separated by tabs");
      return false;
    }
    for (std::string_view& column : columns) {
      const size_t tab = std::min(line.find('\t'), line.size());
      column = line.substr(0, tab);
      line.remove_prefix(std::min(tab + 1, line.size()));
    }
    return true;
  }

  SignatureFields fieldsOf(const hash::Digest& digest, const Columns& columns) {
    const auto& [text, name, family, word, source] = columns;
    const bool isMd5 = digest.size() == hash::kMd5Bytes;
    SignatureFields fields{kFactsTag, name, family, source, parseSeverity(word)};
    if (name.empty() || family.empty())
      report(FindingId::kEmptyName, "the threat name or the family is empty");
    if (fields.severity == kSeverityClean) {
      report(FindingId::kUnknownSeverity, "unknown severity " + inQuotes(word));
    } else if (isMd5 && fields.severity != kSeverityHigh) {
      report(FindingId::kUnknownSeverity, "an MD5 line is always read as high, not as " + inQuotes(word));
    }
    for (const std::string_view field : {name, family, source}) {
      if (field.find(':') == std::string_view::npos) continue;
      report(FindingId::kLostFields, "a colon ends every field, so none can be in " + inQuotes(field));
      break;
    }
    if (isMd5 && family == "SIGNATURE" && name != family) {
      report(FindingId::kLostFields, "the family SIGNATURE of an MD5 line is read as the threat name");
    }
    if (fields.severity == kSeverityLow) report(FindingId::kNeverListed, "severity low is never listed");
    if (isMd5) fields.tag = fields.reference = {};
    return fields;
  }

  bool headSeen_ = false;
  std::map<std::string, uint64_t> firstLines_;  ///< of each digest; facts are few, written by people
};

std::unique_ptr<SignatureInputReader::Form> makeForm(InputForm form, SignatureTableBuilder& table) {
  if (form == InputForm::kFacts) return std::make_unique<FactsForm>(table);
  if (form == InputForm::kHashes) return std::make_unique<HashesForm>(table);
  return std::make_unique<DatabaseForm>(table);
}

}  // namespace

const char* inputFormName(InputForm form) {
  return form == InputForm::kFacts    ? "facts"
         : form == InputForm::kHashes ? "list of hashes"
                                      : "signature file";
}

InputForm inputFormOf(std::string_view beginning) {
  LineReader lines(beginning);
  for (std::string_view line; lines.next(line);) {
    line = withoutCr(line);
    if (isNoise(trimmed(line, kBlanks))) continue;
    if (line == kFactsHead) return InputForm::kFacts;
    const LineKind kind = readSignatureLine(line).kind;
    if (kind != LineKind::kEntry && kind != LineKind::kSkipped) return InputForm::kDatabase;
    return line.find(':') == std::string_view::npos ? InputForm::kHashes : InputForm::kDatabase;
  }
  return InputForm::kDatabase;
}

SignatureInputReader::SignatureInputReader(uint64_t fileBytes) { builder_.expect(fileBytes); }

SignatureInputReader::~SignatureInputReader() = default;

void SignatureInputReader::feed(std::string_view piece) {
  if (form_ != nullptr) return form_->feed(piece);
  beginning_ += piece;
  if (beginning_.size() >= kBeginningBytes) decideForm();
}

SignatureInput SignatureInputReader::finish() {
  if (form_ == nullptr) decideForm();
  SignatureInput input = form_->finish();
  input.table = builder_.finish();
  return input;
}

void SignatureInputReader::decideForm() {
  form_ = makeForm(inputFormOf(beginning_), builder_);
  form_->feed(beginning_);
  beginning_ = {};
}

}  // namespace korvel::sig
