#include "korvelctl/progress_line.h"

#include <algorithm>

#include "korvelctl/printable.h"
#include "korvelctl/render.h"

namespace korvel::ctl {
namespace {

constexpr ULONGLONG kLineIntervalMs = 3000;

}  // namespace

ProgressLine::ProgressLine(const Output& output, ProgressStyle style) : output_(output), style_(style) {
  if (style_ == ProgressStyle::kAuto)
    style_ = output.isConsole() ? ProgressStyle::kBar : ProgressStyle::kNone;
}

void ProgressLine::show(const ScanProgressInfo& progress) {
  if (style_ == ProgressStyle::kBar) {
    const std::string line = renderProgress(progress, output_.columns());
    const size_t columns = columnsOf(line);
    output_.write("\r" + line + std::string(shownColumns_ - std::min(columns, shownColumns_), ' '));
    shownColumns_ = std::max(columns, shownColumns_);
  } else if (style_ == ProgressStyle::kLines) {
    const ULONGLONG now = ::GetTickCount64();
    if (progress.phase == lastPhase_ && now - lastLineMs_ < kLineIntervalMs) return;
    lastLineMs_ = now;
    lastPhase_ = progress.phase;
    output_.write(renderProgress(progress, output_.columns()) + "\n");
  }
}

void ProgressLine::interrupt(const std::string& line) {
  clear();
  output_.write(line);
}

void ProgressLine::clear() {
  if (shownColumns_ == 0) return;
  output_.write("\r" + std::string(shownColumns_, ' ') + "\r");
  shownColumns_ = 0;
}

}  // namespace korvel::ctl
