// shield status: what the hosts file holds of the web shield.
#include "base/clock.h"
#include "base/files.h"
#include "base/long_path.h"
#include "base/sizes.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/shield_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/shield.h"
#include "remedy/hosts_file.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostHostsBytes = 256 * kMiB;

/// Nothing where the service does not answer at once: the file is worth showing without it.
std::optional<bool> shieldSetting(Context& context) {
  context.service().setPatience(0);
  try {
    const bool enabled = askSettings(context.service()).webShield;
    context.service().letGo();
    return enabled;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

uint64_t lastWriteUtc(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!::GetFileAttributesExW(forFileApi(path).c_str(), GetFileExInfoStandard, &data)) return 0;
  return unixSecondsFromFileTime(static_cast<uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32 |
                                 data.ftLastWriteTime.dwLowDateTime);
}

int shieldStatus(const std::string& hosts, Context& context) {
  ShieldReport report;
  report.file = hosts.empty() ? hostsFilePath() : wholePath(hosts, context.language());
  std::string text;
  if (!readWholeFile(report.file, text, kMostHostsBytes)) {
    const DWORD code = ::GetLastError();
    // The service, too, takes a missing file for an empty one.
    if (!hosts.empty() || pathStatusFromError(code) != PathStatus::kMissing)
      throw Failure(ErrorKind::kIo, context.say(words::kShieldUnreadable, {printable(report.file)}), {},
                    code);
  }
  report.bytes = text.size();
  report.block = inspectShieldBlock(text);
  report.writtenUtc = lastWriteUtc(report.file);
  report.now = unixSecondsNow();
  report.enabled = shieldSetting(context);
  context.print(renderShield(report, context.look()));
  context.document("shield", shieldJson(report));
  return kExitDone;
}

}  // namespace

void addShieldCommands(Command& root) {
  const auto hosts = std::make_shared<std::string>();
  root.group("shield", words::kShieldHelp)
      .add("status", words::kShieldStatusHelp,
           [hosts](Context& context) { return shieldStatus(*hosts, context); })
      .text("--hosts", "FILE", *hosts, words::kShieldHostsHelp)
      .example("korvelctl shield status", words::kShieldExample)
      .note(words::kShieldNote);
}

}  // namespace korvel::ctl
