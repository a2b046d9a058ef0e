// Texts that korvelctl and korvelsig read or show: lines of the log, a setting as it is typed, the PATH,
// paths on drives, the shield's block, digests that are never published. The first byte chooses.
#include <algorithm>
#include <string>
#include <vector>

#include "base/text.h"
#include "base/utf.h"
#include "config/settings_text.h"
#include "fuzz/payload_input.h"
#include "korvelctl/model/drive_path.h"
#include "korvelctl/model/log_line.h"
#include "korvelctl/model/search_path.h"
#include "korvelctl/model/settings_edit.h"
#include "korvelctl/model/shield_block.h"
#include "korvelctl/render/printable.h"
#include "korvelsig/digest_list.h"
#include "remedy/hosts_block.h"

using namespace korvel;
using fuzz::require;

namespace {

/// The text up to its first NUL, which is taken away with it.
std::string takeText(std::string& input) {
  const size_t end = std::min(input.find('\0'), input.size());
  std::string text = input.substr(0, end);
  input.erase(0, std::min(end + 1, input.size()));
  return text;
}

void checkLog(const std::string& text) {
  std::vector<std::string> lines;
  LineReader reader(text);
  for (std::string_view line; reader.next(line);) {
    const ctl::LogLine parsed = ctl::parseLogLine(line);
    const std::string whole =
        parsed.time.empty() ? parsed.text : parsed.time + " [" + parsed.level + "] " + parsed.text;
    require(whole == line);
    lines.emplace_back(line);
  }
  for (size_t count = 0; count <= lines.size() + 1; ++count) {
    const size_t at = ctl::beginOfLastLines(text, count);
    size_t found = 0;
    LineReader last(std::string_view(text).substr(at));
    for (std::string_view line; last.next(line);) ++found;
    require(found == std::min(count, lines.size()));
    if (count > 8) break;
  }
  ctl::LineCollector whole, pieces;
  const std::vector<std::string> expected = whole.take(text);
  std::vector<std::string> taken;
  for (size_t at = 0, step = 1; at < text.size(); at += step, step = step * 7 % 30 + 1) {
    for (std::string& line : pieces.take(std::string_view(text).substr(at, step)))
      taken.push_back(std::move(line));
  }
  require(taken == expected && whole.rest() == pieces.rest());
  (void)ctl::parseSize(text);
}

void checkShown(const std::string& text, size_t columns) {
  const std::string shown = ctl::printable(text);
  require(ctl::printable(shown) == shown && toUtf8(toWide(shown)) == shown);
  require(std::none_of(shown.begin(), shown.end(), [](char c) { return (c >= 0 && c < 0x20) || c == 0x7F; }));
  const std::string cut = ctl::shortened(shown, columns);
  require(ctl::columnsOf(cut) <= columns && toUtf8(toWide(cut)) == cut);
  require(ctl::columnsOf(shown) > columns || cut == shown);
}

void checkSetting(const std::string& assignment) {
  SettingsFields settings;
  std::string key;
  if (ctl::setSetting(settings, assignment, ctl::Language::kEnglish, &key)) return;
  require(ctl::settingText(settings, key).has_value());
  SettingsFields read;
  parseSettingsText(formatSettingsText(settings), read);
  require(read == settings);  // what may be set survives the file
}

void checkSearchPath(std::string text) {
  std::wstring folder = toWide(takeText(text));
  std::erase(folder, L'"');  // no folder has one
  const std::wstring path = toWide(text);
  const std::wstring with = ctl::withSearchFolder(path, folder);
  require(with.starts_with(path) && ctl::withSearchFolder(with, folder) == with);
  const std::wstring without = ctl::withoutSearchFolder(with, folder);
  require(ctl::withoutSearchFolder(without, folder) == without && without.size() <= with.size());
}

void checkDrives(std::string text) {
  const std::wstring path = toWide(takeText(text));
  std::vector<ctl::DriveFacts> drives;
  while (!text.empty() && drives.size() < 26) {
    const std::wstring fact = toWide(takeText(text));
    const bool remote = fact.starts_with(L"!");
    drives.push_back({remote, remote ? fact.substr(1) : L"", remote ? L"" : fact});
  }
  const auto lookup = [&drives](wchar_t letter) {
    require(letter >= L'A' && letter <= L'Z');
    const auto number = static_cast<size_t>(letter - L'A');
    return number < drives.size() ? drives[number] : ctl::DriveFacts{};
  };
  const ctl::ServicePath seen = ctl::pathForService(path, lookup);
  if (seen.outcome == ctl::DriveOutcome::kSame || seen.outcome == ctl::DriveOutcome::kHidden)
    require(seen.path == path);
}

void checkShield(const std::string& hosts) {
  const ctl::ShieldBlock block = ctl::inspectShieldBlock(hosts);
  require(block.foreignLines.size() <= 10 && block.foreignLines.size() <= block.foreign);
  require(block.duplicates <= block.entries && block.domains <= block.entries);
  require(block.entries + block.foreign + block.userLines <= block.lines);
  const ctl::ShieldBlock after = ctl::inspectShieldBlock(applyHostsBlock(hosts, {"a.example", "b.example"}));
  require(after.blocks == 1 && !after.unclosed && after.entries == 4 && after.foreign == 0);
  require(ctl::inspectShieldBlock(removeHostsBlock(hosts)).blocks == 0);
}

void checkDigests(const std::string& text) {
  sig::DigestList list;
  std::vector<sig::Finding> findings;
  sig::readAllowList(text, list, findings);
  size_t lines = 0;
  LineReader reader(text);
  for (std::string_view line; reader.next(line);) ++lines;
  require(list.size() + findings.size() <= lines);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string text = fuzz::payloadOf(data + 1, size - 1);
  switch (data[0] % 7) {
    case 0:
      checkLog(text);
      break;
    case 1:
      checkShown(text, data[0] / 7);
      break;
    case 2:
      checkSetting(text);
      break;
    case 3:
      checkSearchPath(text);
      break;
    case 4:
      checkDrives(text);
      break;
    case 5:
      checkShield(text);
      break;
    default:
      checkDigests(text);
  }
  return 0;
}
