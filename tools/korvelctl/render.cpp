#include "korvelctl/render.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "korvelctl/printable.h"
#include "korvelctl/table.h"

namespace korvel::ctl {
namespace {

constexpr size_t kBarCells = 20;
/// The last second of the year 9999: later stamps come from a damaged index and are shown as numbers.
constexpr uint64_t kLastShownSecond = 253'402'300'799;

const char* onOff(bool value) { return value ? "on" : "off"; }
const char* yesNo(bool value) { return value ? "yes" : "no"; }

std::string counted(uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string oneDecimal(double value, const char* unit) {
  char text[48];
  std::snprintf(text, sizeof text, "%.1f %s", value, unit);
  return text;
}

std::string renderReason(const Finding& finding) {
  std::string line = "       " + printable(finding.code) + " (" + severityName(finding.severity) + "): ";
  line += printable(finding.title);
  if (!finding.detail.empty()) line += " - " + printable(finding.detail);
  return line;
}

}  // namespace

std::string renderStatus(const EngineStatus& status) {
  const auto line = [](const char* label, const std::string& value) { return label + value + "\n"; };
  std::string text;
  text += line("version:        ", printable(status.serviceVersion));
  text += line("signatures:     ", renderSignatures(status));
  text += line("protection:     ", onOff(status.protectionEnabled));
  text += line("real-time:      ", onOff(status.realTimeActive));
  text += line("minifilter:     ",
               status.minifilterConnected
                   ? "connected, " + counted(status.minifilterHandled, "query", "queries") + " answered"
                   : std::string("not connected"));
  text += line("scan:           ", status.scanRunning ? "running" : "none");
  text += line("live update:    ", status.liveUpdateRunning ? "running" : "none");
  std::string update = status.updateCheckRunning ? "running" : "none";
  if (!status.updateCheckError.empty()) update = "failed: " + printable(status.updateCheckError);
  if (!status.updateCheckInstaller.empty()) update = "saved: " + printable(status.updateCheckInstaller);
  return text + line("update check:   ", update);
}

std::string renderSignatures(const EngineStatus& status) {
  if (status.signatureCount == 0) return "none loaded";
  return std::to_string(status.signatureCount) + " (" + printable(status.signatureVersion) + ")";
}

std::string renderShield(const SettingsFields& settings, const EngineStatus& status) {
  const std::string last = settings.lastLiveUpdateUtc == 0 ? "never" : renderUtc(settings.lastLiveUpdateUtc);
  return std::string("web shield:        ") + onOff(settings.webShield) +
         "\nlive updates:      " + onOff(settings.liveUpdates) + "\nlast live update:  " + last +
         "\nsignatures:        " + renderSignatures(status) + "\n";
}

std::string renderThreats(const std::vector<ThreatRecord>& threats, Severity least) {
  if (threats.empty()) return "no threats\n";
  Table table({{"#", Table::Align::kRight},
               {"severity"},
               {"threat"},
               {"code"},
               {"size", Table::Align::kRight},
               {"file"}});
  uint64_t left = threats.size();
  for (size_t i = 0; i < threats.size(); ++i) {
    const ThreatRecord& threat = threats[i];
    if (threat.severity < least) continue;
    --left;
    table.addRow({std::to_string(i + 1), severityName(threat.severity), printable(threat.name),
                  printable(threat.code), renderBytes(threat.size), printable(threat.path)});
    for (const Finding& finding : threat.reasons) table.addNote(renderReason(finding));
  }
  std::string text = left < threats.size() ? table.text() : "";
  if (left > 0) {
    text += counted(left, "suspicious file", "suspicious files") + " below severity " + severityName(least) +
            " not shown; --all lists them\n";
  }
  return text;
}

std::string renderQuarantine(const std::vector<QuarantineRecord>& records) {
  if (records.empty()) return "the quarantine is empty\n";
  Table table({{"id"},
               {"severity"},
               {"threat"},
               {"code"},
               {"size", Table::Align::kRight},
               {"quarantined"},
               {"stored"},
               {"original file"}});
  for (const QuarantineRecord& record : records) {
    table.addRow({std::to_string(record.id), severityName(record.severity), printable(record.threat),
                  printable(record.code), renderBytes(record.size), renderUtc(record.time),
                  yesNo(record.storedFileExists), printable(record.originalPath)});
  }
  return table.text();
}

std::string renderSummary(const ScanSummary& summary, size_t listed) {
  return counted(summary.filesScanned, "file", "files") + " (" + renderBytes(summary.bytesScanned) +
         ") scanned in " + renderMilliseconds(summary.elapsedMs) + ": " +
         counted(summary.threats, "threat", "threats") + ", " + std::to_string(summary.suspicious) +
         " suspicious, " + std::to_string(listed) + " listed\n";
}

int percentDone(const ScanProgressInfo& progress) {
  const bool byBytes = progress.bytesTotal > 0;
  const double done = static_cast<double>(byBytes ? progress.bytesDone : progress.filesDone);
  const double total = static_cast<double>(byBytes ? progress.bytesTotal : progress.filesTotal);
  if (total <= 0) return 0;
  // Files may have grown or appeared since they were counted.
  return static_cast<int>(std::clamp(100.0 * done / total, 0.0, 100.0));
}

std::string renderProgress(const ScanProgressInfo& progress, size_t columns) {
  std::string line = printable(progress.phase);
  if (progress.filesTotal > 0) {
    const int percent = percentDone(progress);
    const size_t filled = kBarCells * static_cast<size_t>(percent) / 100;
    line += " [" + std::string(filled, '#') + std::string(kBarCells - filled, '.') + "] " +
            std::to_string(percent) + "% " + std::to_string(progress.filesDone) + "/" +
            std::to_string(progress.filesTotal);
  }
  const size_t used = columnsOf(line);
  if (used + 2 < columns && !progress.currentPath.empty()) {
    line += "  " + shortened(printable(progress.currentPath), columns - used - 2);
  }
  return shortened(line, columns);
}

std::string renderBytes(uint64_t bytes) {
  static constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  if (bytes < 1024) return std::to_string(bytes) + " B";
  double value = static_cast<double>(bytes) / 1024;
  size_t unit = 0;
  // 1023.95 would print as "1024.0".
  while (value >= 1023.95 && unit + 1 < std::size(kUnits)) {
    value /= 1024;
    ++unit;
  }
  return oneDecimal(value, kUnits[unit]);
}

std::string renderMilliseconds(uint64_t ms) {
  if (ms < 1000) return std::to_string(ms) + " ms";
  if (ms < 60'000) return oneDecimal(static_cast<double>(ms - ms % 100) / 1000, "s");
  return std::to_string(ms / 60'000) + " min " + std::to_string(ms / 1000 % 60) + " s";
}

std::string renderUtc(uint64_t unixSeconds) {
  if (unixSeconds > kLastShownSecond) return std::to_string(unixSeconds);
  const std::chrono::sys_seconds time{std::chrono::seconds(static_cast<int64_t>(unixSeconds))};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

}  // namespace korvel::ctl
