#include "engine/held_files.h"

#include <algorithm>

namespace korvel::svc {

bool HeldFiles::afterNotification(const FileVerdict& verdict, uint64_t nowMs) {
  const auto file = waiting_.find(verdict.path);
  const bool waited = file != waiting_.end();
  if (!verdict.held) {
    if (waited) waiting_.erase(file);
    return judge(verdict, waited, nowMs);
  }
  if (!waited && waiting_.size() >= kMostFiles) return judge(verdict, waited, nowMs);
  waiting_[verdict.path] = {nowMs, 0};
  return false;
}

bool HeldFiles::afterTry(const FileVerdict& verdict, bool last, uint64_t nowMs) {
  if (verdict.held && !last) return false;
  waiting_.erase(verdict.path);
  return judge(verdict, /*waited=*/true, nowMs);
}

/// A file that has waited is remembered, since its last notification may still be on the way.
bool HeldFiles::judge(const FileVerdict& verdict, bool waited, uint64_t nowMs) {
  if (wasReported(verdict, nowMs)) return false;
  if (waited && verdict.severity >= kSeverityMedium && reported_.size() < kMostFiles) {
    reported_[verdict.path] = {verdict.held, verdict.size, verdict.lastWriteTime, nowMs + kRememberedMs};
  }
  return true;
}

/// What was reported by its name only is reported again once its content is known.
bool HeldFiles::wasReported(const FileVerdict& verdict, uint64_t nowMs) {
  std::erase_if(reported_, [nowMs](const auto& file) { return file.second.until <= nowMs; });
  const auto file = reported_.find(verdict.path);
  return file != reported_.end() && file->second.size == verdict.size &&
         file->second.lastWriteTime == verdict.lastWriteTime && (verdict.held || !file->second.held);
}

std::optional<HeldFiles::Try> HeldFiles::nextDue(uint64_t nowMs) {
  const auto file = std::find_if(waiting_.begin(), waiting_.end(),
                                 [&](const auto& waiting) { return dueAt(waiting.second) <= nowMs; });
  if (file == waiting_.end()) return std::nullopt;
  const bool last = ++file->second.triesMade == delays_.size();
  Try due{file->first, last};
  if (last) waiting_.erase(file);
  return due;
}

uint32_t HeldFiles::untilNextDue(uint64_t nowMs) const {
  if (waiting_.empty()) return kNoTry;
  uint64_t next = UINT64_MAX;
  for (const auto& [path, file] : waiting_) next = std::min(next, dueAt(file));
  return next <= nowMs ? 0 : static_cast<uint32_t>(next - nowMs);
}

}  // namespace korvel::svc
