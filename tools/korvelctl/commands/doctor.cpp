// doctor: looks at everything that an installation consists of, and changes nothing.
#include <exception>

#include "base/clock.h"
#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/sizes.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/doctor_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/folder_rights.h"
#include "korvelctl/machine/installation.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/machine/server_probe.h"
#include "korvelctl/machine/service_manager.h"
#include "korvelctl/model/doctor.h"
#include "korvelctl/model/quarantine_check.h"
#include "korvelctl/model/settings_lint.h"
#include "korvelctl/model/shield_block.h"
#include "korvelctl/render/diagnosis.h"
#include "remedy/hosts_file.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr uint64_t kMostTextBytes = 256 * kMiB;

struct DoctorOptions {
  bool offline = false;
};

/// 0, or the Windows code with which the file could not be read.
uint32_t readText(const std::wstring& path, std::string& text) {
  return readWholeFile(path, text, kMostTextBytes) ? ERROR_SUCCESS : ::GetLastError();
}

bool isMissing(uint32_t code) { return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND; }

void lookAtService(DoctorFacts& facts) {
  facts.serviceError = queryService(facts.service);
  if (facts.serviceError == ERROR_SUCCESS)
    facts.serviceFaults = serviceFaults(facts.service, installedProgram());
}

/// Every question is asked within one connection; what is not answered stays empty.
void askService(Context& context, DoctorFacts& facts, std::vector<QuarantineRecord>& records) {
  Service& service = context.service();
  try {
    (void)service.ask(Opcode::kPing);
    const ULONGLONG begin = ::GetTickCount64();
    facts.status = askStatus(service);
    facts.roundTripMs = ::GetTickCount64() - begin;
    facts.settings = askSettings(service);
    records = askQuarantine(service);
    facts.quarantineKnown = true;
  } catch (const Failure& failure) {
    facts.pipeError = failure.what();
    facts.pipeAdvice = failure.advice();
  }
  service.letGo();
}

void lookAtSettings(DoctorFacts& facts) {
  const std::wstring path = productSettingsPath();
  facts.settingsPath = toUtf8(path);
  std::string text;
  const uint32_t failed = readText(path, text);
  facts.settingsMissing = isMissing(failed);
  facts.settingsError = failed;
  if (failed != ERROR_SUCCESS) return;
  for (const LintFinding& finding : lintSettings(text)) {
    if (lintLevel(finding.rule) == LintLevel::kError) facts.settingsErrors += finding.times;
    if (lintLevel(finding.rule) == LintLevel::kWarning) facts.settingsWarnings += finding.times;
  }
}

void lookAtServer(const DoctorOptions& options, DoctorFacts& facts) {
  facts.updateServer = updateServerInFile();
  if (facts.settingsMissing) facts.updateServer = std::string();  // the service starts with none
  if (options.offline || !facts.updateServer || facts.updateServer->empty()) return;
  std::string address = *facts.updateServer;
  while (address.ends_with('/')) address.pop_back();
  const ServerAnswer answer = probeServer(address + "/api/v1/signatures");
  facts.server = {answer.status, answer.win32, answer.dateUtc, answer.elapsedMs};
}

std::optional<std::vector<StoredFile>> filesIn(const std::wstring& folder) {
  WIN32_FIND_DATAW entry{};
  const UniqueFindHandle find(::FindFirstFileW(forFileApi(joinPath(folder, L"*")).c_str(), &entry));
  if (!find) return std::nullopt;
  std::vector<StoredFile> files;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    files.push_back({entry.cFileName, uint64_t{entry.nFileSizeHigh} << 32 | entry.nFileSizeLow});
  } while (::FindNextFileW(find.get(), &entry));
  return files;
}

DoctorFacts::Index indexOf(const std::wstring& folder) {
  std::string text;
  const uint32_t failed = readText(joinPath(folder, L"quarantine.db"), text);
  if (failed != ERROR_SUCCESS && !isMissing(failed)) return DoctorFacts::Index::kNotLookedAt;
  switch (indexStateOf(failed == ERROR_SUCCESS ? std::optional(text) : std::nullopt)) {
    case IndexState::kWhole:
      return DoctorFacts::Index::kWhole;
    case IndexState::kMissing:
      return DoctorFacts::Index::kMissing;
    case IndexState::kDamaged:
      return DoctorFacts::Index::kDamaged;
    case IndexState::kNotLookedAt:
      break;
  }
  return DoctorFacts::Index::kNotLookedAt;
}

void lookAtQuarantine(const std::wstring& folder, const std::vector<QuarantineRecord>& records,
                      DoctorFacts& facts) {
  facts.quarantined = records.size();
  for (const QuarantineRecord& record : records) facts.storedMissing += record.storedFileExists ? 0 : 1;
  facts.quarantineIndex = indexOf(folder);
  const auto files = filesIn(folder);
  // Without the service's records every file would look like one without a record.
  if (!files || !facts.quarantineKnown) return;
  facts.orphans = checkQuarantine(records, folder, files, IndexState::kWhole).orphans.size();
}

void lookAtLog(DoctorFacts& facts) {
  const std::wstring path = joinPath(productDataFolder(), L"korvel.log");
  facts.logPath = toUtf8(path);
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (::GetFileAttributesExW(forFileApi(path).c_str(), GetFileExInfoStandard, &data)) {
    facts.logBytes = uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
  } else {
    facts.logMissing = isMissing(::GetLastError());
  }
}

void lookAtHosts(DoctorFacts& facts) {
  std::string text;
  const uint32_t failed = readText(hostsFilePath(), text);
  if (failed != ERROR_SUCCESS && !isMissing(failed)) {
    facts.hostsError = failed;
    return;
  }
  const ShieldBlock block = inspectShieldBlock(text);
  facts.hostsBlock = block.present();
  facts.hostsUnclosed = block.unclosed;
  facts.hostsEntries = block.entries;
  facts.hostsLines = block.lines;
}

FolderLook lookAtRights(const std::wstring& folder, ProtectedFolder kind) {
  FolderLook look;
  look.path = toUtf8(folder);
  AccessList list;
  look.win32 = readAccessList(folder, list);
  look.missing = isMissing(look.win32);
  if (look.win32 != ERROR_SUCCESS) return look;
  for (const AccessProblem& problem : accessProblems(list, kind)) {
    look.problems.push_back({problem.fault, problem.account.empty() ? "" : accountName(problem.account)});
  }
  return look;
}

int doctor(const DoctorOptions& options, Context& context) {
  DoctorFacts facts;
  std::vector<QuarantineRecord> records;
  facts.now = unixSecondsNow();
  lookAtService(facts);
  askService(context, facts, records);
  lookAtSettings(facts);
  lookAtServer(options, facts);
  const InstalledFolders folders = installedFolders();
  lookAtQuarantine(folders.quarantine, records, facts);
  lookAtLog(facts);
  lookAtHosts(facts);
  facts.program = lookAtRights(parentDirectory(installedProgram()), ProtectedFolder::kProgram);
  facts.data = lookAtRights(folders.data, ProtectedFolder::kData);
  facts.quarantine = lookAtRights(folders.quarantine, ProtectedFolder::kQuarantine);

  const std::vector<Diagnosis> lines = diagnose(facts, context.language());
  const Language language = context.language();
  const Look look = context.look();
  context.print(renderDiagnosis(
      lines, [language](const std::string& id) { return doctorTitle(id, language); }, look));
  if (look.mode == OutputMode::kTable) context.print("\n" + doctorSummary(lines, language));
  context.document("doctor", {{"findings", hasFindings(lines)}, {"lines", diagnosisJson(lines)}});
  return hasFindings(lines) ? kExitFound : kExitDone;
}

}  // namespace

void addDoctorCommand(Command& root) {
  const auto options = std::make_shared<DoctorOptions>();
  root.add("doctor", words::kDoctorHelp, [options](Context& context) { return doctor(*options, context); })
      .flag("--offline", options->offline, words::kDoctorOfflineHelp)
      .example("korvelctl doctor", words::kDoctorExample)
      .example("korvelctl doctor --json", words::kDoctorAdminExample)
      .note(words::kDoctorNote);
}

}  // namespace korvel::ctl
