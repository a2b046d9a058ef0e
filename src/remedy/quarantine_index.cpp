#include "remedy/quarantine_index.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "base/utf.h"

namespace korvel {
namespace {

constexpr char kHeaderLine[] = "KORVELQUARANTINE/1\n";
constexpr size_t kHashCharactersInName = 16;

bool isControl(char c) { return c >= '\0' && c < ' '; }

bool isForbiddenInNames(char c) {
  return isControl(c) || std::string_view("<>:\"/\\|?*").find(c) != std::string_view::npos;
}

/// The digits at the very beginning of `value`; unlike in the settings, no blank and no sign comes before
/// them. 0 without any.
uint64_t leadingNumber(std::string_view value) {
  return parseUnsigned(std::string(value.substr(0, value.find_first_not_of("0123456789"))));
}

/// One value of the block being read; an unknown key is ignored. "ID" is not among them: it starts a block.
void assignField(QuarantineRecord& record, std::string_view key, std::string_view value) {
  if (key == "ORIG") {
    record.originalPath = toWide(value);
  } else if (key == "STORED") {
    record.storedPath = toWide(value);
  } else if (key == "NAME") {
    record.name = toWide(value);
  } else if (key == "SHA256") {
    record.sha256 = value;
  } else if (key == "THREAT") {
    record.threat = value;
  } else if (key == "CODE") {
    record.code = value;
  } else if (key == "SEV") {
    record.severity = parseSeverity(value);
  } else if (key == "SIZE") {
    record.size = leadingNumber(value);
  } else if (key == "TIME") {
    record.time = leadingNumber(value);
  }
}

void appendBlock(std::string& text, const QuarantineRecord& record) {
  // Nothing is escaped: the store takes care that no value has a line feed.
  const auto line = [&text](std::string_view key, std::string_view value) {
    text.append(key).append("=").append(value).append("\n");
  };
  line("ID", std::to_string(record.id));
  line("ORIG", toUtf8(record.originalPath));
  line("STORED", toUtf8(record.storedPath));
  line("NAME", toUtf8(record.name));
  line("SHA256", record.sha256);
  line("THREAT", record.threat);
  line("CODE", record.code);
  line("SEV", severityName(record.severity));
  line("SIZE", std::to_string(record.size));
  line("TIME", std::to_string(record.time));
  text.append("\n");
}

}  // namespace

std::vector<QuarantineRecord> parseQuarantineIndex(std::string_view text) {
  std::vector<QuarantineRecord> records;
  QuarantineRecord current;  // id 0: no block has begun, and whatever it collects is dropped
  const auto endBlock = [&records, &current] {
    if (current.id != 0) records.push_back(std::move(current));
    current = QuarantineRecord();
  };

  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view key = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    if (key == "ID") {
      endBlock();
      current.id = leadingNumber(value);
    } else {
      assignField(current, key, value);
    }
  }
  endBlock();
  return records;
}

std::string formatQuarantineIndex(const std::vector<QuarantineRecord>& records) {
  std::string text = kHeaderLine;
  for (const QuarantineRecord& record : records) appendBlock(text, record);
  return text;
}

std::string recordText(std::string text) {
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

std::wstring recordPath(std::wstring path) {
  std::replace_if(
      path.begin(), path.end(), [](wchar_t c) { return c < L' '; }, L' ');
  return path;
}

std::wstring quarantinedFileName(uint64_t time, const std::string& sha256, const std::wstring& name) {
  std::string hash = sha256.substr(0, kHashCharactersInName);
  std::replace_if(hash.begin(), hash.end(), isForbiddenInNames, '_');
  return std::to_wstring(time) + L"_" + toWide(hash) + L"_" + name;
}

}  // namespace korvel
