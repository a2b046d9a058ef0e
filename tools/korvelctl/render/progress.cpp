#include "korvelctl/render/progress.h"

#include <algorithm>
#include <cmath>

#include "base/utf.h"
#include "korvelctl/cli/words/scan_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

constexpr size_t kBarCells = 20;
constexpr size_t kLeastPathColumns = 16;
constexpr uint64_t kBarIntervalMs = 200;
constexpr uint64_t kLineIntervalMs = 3'000;
constexpr uint64_t kVerboseIntervalMs = 30'000;
constexpr uint64_t kPaceMs = 5'000;
constexpr uint64_t kLongestShownSeconds = uint64_t{99} * 3'600;

std::string phaseText(const std::wstring& phase, Language language) {
  if (phase == scan_phase::kPreparing) return words::kPreparing.in(language);
  if (phase == scan_phase::kCounting) return words::kCounting.in(language);
  if (phase == scan_phase::kScanning) return words::kScanning.in(language);
  if (phase == scan_phase::kFinishing) return words::kFinishing.in(language);
  return printable(phase);
}

std::string barOf(int percent) {
  const size_t filled = kBarCells * static_cast<size_t>(percent) / 100;
  const std::string head = filled < kBarCells ? ">" : "";
  return "[" + std::string(filled, '=') + head + std::string(kBarCells - filled - head.size(), ' ') + "]";
}

}  // namespace

void ScanPace::see(const ScanProgressInfo& progress, uint64_t atMs) {
  if (progress.phase != scan_phase::kScanning) return;
  if (!started_ || progress.bytesDone < startBytes_) {
    started_ = true;
    startMs_ = atMs;
    startBytes_ = progress.bytesDone;
  }
  const uint64_t tookMs = atMs - startMs_;
  secondsLeft_.reset();
  if (tookMs == 0) return;
  bytesPerSecond_ =
      static_cast<double>(progress.bytesDone - startBytes_) * 1000 / static_cast<double>(tookMs);
  if (tookMs < kPaceMs || percentDone(progress) < 1 || bytesPerSecond_ < 1) return;
  if (progress.bytesTotal <= progress.bytesDone) return;
  const double left = static_cast<double>(progress.bytesTotal - progress.bytesDone) / bytesPerSecond_;
  if (left < static_cast<double>(kLongestShownSeconds))
    secondsLeft_ = static_cast<uint64_t>(std::llround(left));
}

int percentDone(const ScanProgressInfo& progress) {
  const bool byBytes = progress.bytesTotal > 0;
  const double done = static_cast<double>(byBytes ? progress.bytesDone : progress.filesDone);
  const double total = static_cast<double>(byBytes ? progress.bytesTotal : progress.filesTotal);
  if (total <= 0) return 0;
  // Files may have grown or appeared since they were counted.
  return static_cast<int>(std::clamp(100.0 * done / total, 0.0, 99.0));
}

std::string progressText(const ScanProgressInfo& progress, const ScanPace& pace, Language language,
                         size_t columns) {
  if (progress.filesTotal == 0) {
    const std::string text =
        phaseText(progress.phase, language) + (language == Language::kRussian ? "…" : "...");
    return columns == 0 ? text : shortened(text, columns);
  }
  const int percent = percentDone(progress);
  std::string line =
      (percent < 10 ? " " : "") + std::to_string(percent) + "% " + barOf(percent) + " " +
      filled(words::kFilesOf, language,
             {numberText(progress.filesDone, language), numberText(progress.filesTotal, language)});
  if (progress.bytesTotal > 0)
    line += "  " + bytesText(progress.bytesDone, language) + "/" + bytesText(progress.bytesTotal, language);
  if (pace.bytesPerSecond() >= 1) line += "  " + speedText(pace.bytesPerSecond(), language);
  if (pace.secondsLeft()) line += "  " + filled(words::kLeft, language, {clockText(*pace.secondsLeft())});
  const std::string path = printable(progress.currentPath);
  if (path.empty()) return columns == 0 ? line : shortened(line, columns);
  if (columns == 0) return line + "  " + path;
  const size_t used = columnsOf(line) + 2;
  if (used + kLeastPathColumns <= columns) line += "  " + shortened(path, columns - used);
  return shortened(line, columns);
}

nlohmann::ordered_json progressJson(const ScanProgressInfo& progress, bool scanning) {
  nlohmann::ordered_json json{{"scanning", scanning},
                              {"phase", toUtf8(progress.phase)},
                              {"percent", percentDone(progress)},
                              {"files_done", jsonNumber(progress.filesDone)},
                              {"files_total", jsonNumber(progress.filesTotal)},
                              {"bytes_done", jsonNumber(progress.bytesDone)},
                              {"bytes_total", jsonNumber(progress.bytesTotal)}};
  putPath(json, "path", progress.currentPath);
  return json;
}

ProgressLine::ProgressLine(Output& output, ProgressStyle style, const GlobalOptions& global)
    : output_(output), style_(style), language_(global.language) {
  intervalMs_ = style_ == ProgressStyle::kLines ? kLineIntervalMs : kBarIntervalMs;
  if (style_ == ProgressStyle::kAuto) {
    style_ = ProgressStyle::kNone;
    if (output.isTerminal() && !global.quiet) {
      style_ = ProgressStyle::kBar;
    } else if (global.verbose) {
      style_ = ProgressStyle::kLines;
      intervalMs_ = kVerboseIntervalMs;
    }
  }
}

void ProgressLine::show(const ScanProgressInfo& progress, uint64_t atMs) {
  pace_.see(progress, atMs);
  if (style_ == ProgressStyle::kNone || style_ == ProgressStyle::kAuto) return;
  const bool newPhase = progress.phase != lastPhase_;
  if (shownOnce_ && !newPhase && atMs - lastMs_ < intervalMs_) return;
  shownOnce_ = true;
  lastMs_ = atMs;
  lastPhase_ = progress.phase;
  const std::string line = progressText(progress, pace_, language_, output_.columns());
  if (style_ == ProgressStyle::kLines) {
    output_.write(line + "\n");
    return;
  }
  const size_t columns = columnsOf(line);
  output_.write("\r" + line + std::string(shownColumns_ - std::min(columns, shownColumns_), ' '));
  shownColumns_ = std::max(columns, shownColumns_);
}

void ProgressLine::interrupt(const std::string& lines) {
  clear();
  output_.write(lines);
}

void ProgressLine::clear() {
  if (shownColumns_ == 0) return;
  output_.write("\r" + std::string(shownColumns_, ' ') + "\r");
  shownColumns_ = 0;
}

}  // namespace korvel::ctl
