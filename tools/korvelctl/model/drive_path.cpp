#include "korvelctl/model/drive_path.h"

#include <optional>

namespace korvel::ctl {
namespace {

constexpr std::wstring_view kLongPrefix = L"\\\\?\\";
constexpr std::wstring_view kLongSharePrefix = L"\\\\?\\UNC\\";
/// How the system writes a path inside its own name space; subst stores its folders like this.
constexpr std::wstring_view kObjectPrefix = L"\\??\\";
constexpr std::wstring_view kObjectSharePrefix = L"\\??\\UNC\\";
constexpr int kLetters = 26;

std::optional<wchar_t> letterOf(std::wstring_view path) {
  if (path.size() < 2 || path[1] != L':') return std::nullopt;
  const wchar_t upper = path[0] >= L'a' && path[0] <= L'z' ? static_cast<wchar_t>(path[0] - 32) : path[0];
  if (upper < L'A' || upper > L'Z') return std::nullopt;
  return upper;
}

/// The folder that a letter of subst stands for.
std::optional<std::wstring> folderOf(std::wstring_view device) {
  if (device.starts_with(kObjectSharePrefix)) {
    return L"\\\\" + std::wstring(device.substr(kObjectSharePrefix.size()));
  }
  if (device.starts_with(kObjectPrefix) && letterOf(device.substr(kObjectPrefix.size()))) {
    return std::wstring(device.substr(kObjectPrefix.size()));
  }
  return std::nullopt;
}

/// The share behind a redirector: "\Device\Name\;Z:0123\server\share", with one or more parts that begin with
/// a semicolon.
std::wstring shareOf(std::wstring_view device) {
  size_t at = device.rfind(L"\\;");
  if (at == std::wstring_view::npos) return {};
  at = device.find(L'\\', at + 2);
  if (at == std::wstring_view::npos || at + 1 == device.size()) return {};
  return L"\\" + std::wstring(device.substr(at));
}

std::wstring joined(std::wstring folder, std::wstring_view rest) {
  while (folder.ends_with(L'\\')) folder.pop_back();
  folder += rest;
  return folder.ends_with(L':') ? folder + L'\\' : folder;
}

}  // namespace

ServicePath pathForService(std::wstring_view given, const DriveLookup& lookup) {
  if (given.starts_with(kLongSharePrefix)) return {DriveOutcome::kShare, std::wstring(given)};
  std::wstring path(given.starts_with(kLongPrefix) ? given.substr(kLongPrefix.size()) : given);
  DriveOutcome outcome = DriveOutcome::kSame;
  for (int steps = 0; steps <= kLetters; ++steps) {
    if (path.starts_with(L"\\\\")) {
      return {path.starts_with(L"\\\\.\\") ? outcome : DriveOutcome::kShare, std::move(path)};
    }
    const std::optional<wchar_t> letter = letterOf(path);
    if (!letter) return {outcome, outcome == DriveOutcome::kSame ? std::wstring(given) : path};
    const DriveFacts facts = lookup(*letter);
    const std::wstring_view rest = std::wstring_view(path).substr(2);
    if (const std::optional<std::wstring> folder = folderOf(facts.device)) {
      outcome = DriveOutcome::kFolder;
      path = joined(*folder, rest);
      continue;
    }
    const std::wstring share = !facts.share.empty() ? facts.share : shareOf(facts.device);
    if (!share.empty()) return {DriveOutcome::kShare, joined(share, rest)};
    if (facts.remote) return {DriveOutcome::kHidden, std::wstring(given)};
    return {outcome, outcome == DriveOutcome::kSame ? std::wstring(given) : path};
  }
  return {DriveOutcome::kHidden, std::wstring(given)};
}

}  // namespace korvel::ctl
