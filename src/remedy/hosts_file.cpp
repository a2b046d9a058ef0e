#include "remedy/hosts_file.h"

#include "base/error.h"
#include "base/files.h"
#include "remedy/hosts_block.h"

namespace korvel {
namespace {

bool replaceHosts(const std::wstring& hosts, const std::string& present, const std::string& text,
                  std::string* error, const StopToken& stop) {
  if (text == present) return true;  // a write would only alarm programs that watch the file
  // In the same folder, so that the move stays on one volume.
  FileReplacement file(hosts, hosts + L".korvel.tmp");
  if (!file.open() || !file.write(text) || !file.finish()) return fail(error, "cannot write temp hosts");
  if (!file.commit(/*clearAttributes=*/true, stop)) return failWin32(error, "cannot replace hosts");
  return true;
}

/// A missing file reads as empty. On failure GetLastError() has the reason.
bool readHosts(const std::wstring& hosts, std::string& text) {
  if (readWholeFile(hosts, text)) return true;
  text.clear();
  const LastErrorKeeper keepLastError;
  return pathStatus(hosts) == PathStatus::kMissing;
}

}  // namespace

std::wstring hostsFilePath() {
  wchar_t windows[MAX_PATH] = {};
  const UINT units = ::GetWindowsDirectoryW(windows, MAX_PATH);
  if (units == 0 || units >= MAX_PATH) return L"C:\\Windows\\System32\\drivers\\etc\\hosts";
  return std::wstring(windows, units) + L"\\System32\\drivers\\etc\\hosts";
}

bool applyBlocklist(const std::vector<std::string>& domains, std::string* error, const StopToken& stop) {
  return applyBlocklistTo(hostsFilePath(), domains, error, stop);
}

bool removeBlocklist(std::string* error, const StopToken& stop) {
  return removeBlocklistFrom(hostsFilePath(), error, stop);
}

uint64_t countBlockedEntries() { return countBlockedEntriesIn(hostsFilePath()); }

bool applyBlocklistTo(const std::wstring& hosts, const std::vector<std::string>& domains, std::string* error,
                      const StopToken& stop) {
  std::string text;
  if (!readHosts(hosts, text)) return failWin32(error, "cannot replace hosts");
  return replaceHosts(hosts, text, applyHostsBlock(text, domains), error, stop);
}

bool removeBlocklistFrom(const std::wstring& hosts, std::string* error, const StopToken& stop) {
  std::string text;
  if (!readHosts(hosts, text) || !mentionsHostsBlock(text)) return true;
  return replaceHosts(hosts, text, removeHostsBlock(text), error, stop);
}

uint64_t countBlockedEntriesIn(const std::wstring& hosts) {
  std::string text;
  return readHosts(hosts, text) ? countHostsBlockEntries(text) : 0;
}

}  // namespace korvel
