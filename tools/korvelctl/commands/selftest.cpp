// selftest: the EICAR test file through scan, quarantine and back.
#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/doctor_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/commands/follow.h"
#include "korvelctl/model/diagnosis.h"
#include "korvelctl/render/diagnosis.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/scan_report.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr DWORD kPollMs = 200;
// What the file API says when another protection program has stepped in; the compiler's headers lack them.
constexpr uint32_t kVirusInfected = 225;
constexpr uint32_t kVirusDeleted = 226;

/// The test file that every protection program knows. In two parts, so that none of them takes this program
/// for it.
std::string eicar() {
  const std::string end = "$EICAR-STANDARD-ANTIVIRUS-TEST-FILE!$H+H*";
  return "X5O!P%@AP[4\\PZX54(P^)7CC)7}" + end;
}

struct SelftestOptions {
  bool keep = false;
};

/// A folder of its own, removed at the end with the one file in it.
class TestFolder {
 public:
  explicit TestFolder(bool keep) : keep_(keep) {
    wchar_t base[MAX_PATH + 2] = {};
    const DWORD units = ::GetTempPathW(MAX_PATH + 1, base);
    path_ =
        joinPath(units == 0 ? L"C:\\" : base, L"korvel-selftest-" + std::to_wstring(::GetCurrentProcessId()));
  }
  ~TestFolder() {
    if (keep_ || !made_) return;
    (void)::DeleteFileW(forFileApi(file()).c_str());
    (void)::RemoveDirectoryW(forFileApi(path_).c_str());
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::wstring& path() const { return path_; }
  std::wstring file() const { return joinPath(path_, L"eicar.com"); }

  /// 0, or the Windows code of what failed. A folder of that name must not be there yet.
  uint32_t make() {
    if (!::CreateDirectoryW(forFileApi(path_).c_str(), /*security=*/nullptr)) return ::GetLastError();
    made_ = true;
    const UniqueHandle file(::CreateFileW(forFileApi(this->file()).c_str(), GENERIC_WRITE, /*share=*/0,
                                          /*security=*/nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                                          /*template=*/nullptr));
    return file && writeAll(file.get(), eicar()) ? ERROR_SUCCESS : ::GetLastError();
  }

 private:
  const bool keep_;
  bool made_ = false;
  std::wstring path_;
};

class Selftest {
 public:
  Selftest(Context& context, TestFolder& folder) : context_(context), folder_(folder) {}

  /// Runs the steps up to the first that does not go well.
  void run() {
    using Step = bool (Selftest::*)();
    const std::pair<const char*, Step> steps[] = {
        {"write", &Selftest::write}, {"scan", &Selftest::scan},       {"quarantine", &Selftest::quarantine},
        {"list", &Selftest::list},   {"restore", &Selftest::restore}, {"delete", &Selftest::erase}};
    bool going = true;
    for (const auto& [id, step] : steps) {
      if (going) {
        id_ = id;
        going = (this->*step)();
      } else {
        lines_.push_back({id, DiagnosisState::kNotLookedAt, context_.say(words::kSelftestNotDone), {}});
      }
    }
    forgetRecord();
  }

  const std::vector<Diagnosis>& lines() const { return lines_; }
  const Json& events() const { return events_; }
  bool taken() const { return taken_; }

 private:
  bool done(std::string message) {
    lines_.push_back({id_, DiagnosisState::kOk, std::move(message), {}});
    return true;
  }
  bool done() { return done(context_.say(words::kSelftestDone)); }
  bool failed(std::string message, std::string nextStep = {}) {
    lines_.push_back({id_, DiagnosisState::kFailure, std::move(message), std::move(nextStep)});
    return false;
  }
  /// Another protection program was quicker, so nothing can be said about this one.
  bool takenByAnother(uint32_t code) {
    taken_ = true;
    lines_.push_back({id_, DiagnosisState::kNotLookedAt,
                      context_.say(words::kSelftestTaken, {std::to_string(code)}),
                      context_.say(words::kSelftestTakenStep, {printable(folder_.path())})});
    return false;
  }

  /// The file's bytes, or nothing with the code in `code`.
  std::optional<std::string> content(uint32_t& code) const {
    std::string bytes;
    const bool read = readWholeFile(folder_.file(), bytes);
    code = read ? ERROR_SUCCESS : ::GetLastError();
    return read ? std::optional(bytes) : std::nullopt;
  }

  bool write() {
    const uint32_t failure = folder_.make();
    if (failure == kVirusInfected || failure == kVirusDeleted) return takenByAnother(failure);
    if (failure != ERROR_SUCCESS) throw Failure(ErrorKind::kIo, context_.say(words::kStepWrite), {}, failure);
    uint32_t code = 0;
    if (!content(code)) return takenByAnother(code);
    return done(printable(folder_.file()));
  }

  bool scan() {
    Service& service = context_.service();
    service.ask(Opcode::kStartScan, ipc::encodeStartScan({ScanScope::kCustom, {folder_.path()}}));
    ScanReport report = askProgress(service);
    for (; report.scanning; report = askProgress(service)) {
      keepEvents(report);
      service.breathe();
      ::Sleep(kPollMs);
    }
    keepEvents(report);
    for (const ThreatRecord& threat : askResults(service)) {
      if (lowerWide(threat.path) != lowerWide(folder_.file())) continue;
      threat_ = threat;
      return done(context_.say(words::kSelftestFound, {printable(threat.name)}));
    }
    uint32_t code = 0;
    if (!content(code)) return takenByAnother(code);
    return failed(
        context_.say(words::kSelftestNotFound, {std::to_string(report.lastSummary.filesScanned), "1"}),
        context_.say(words::kSelftestNotFoundStep));
  }

  bool quarantine() {
    takeIntoQuarantine();
    if (pathExists(folder_.file())) return failed(context_.say(words::kSelftestNotTaken));
    return done();
  }

  bool list() {
    const std::optional<QuarantineRecord> record = findRecord();
    if (!record || !record->storedFileExists) return failed(context_.say(words::kSelftestNotListed));
    recordId_ = record->id;
    return done(std::to_string(record->id));
  }

  bool restore() {
    context_.service().ask(Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(recordId_));
    recordId_ = 0;
    uint32_t code = 0;
    const std::optional<std::string> bytes = content(code);
    if (!bytes) return takenByAnother(code);
    if (*bytes != eicar()) return failed(context_.say(words::kSelftestAltered));
    return done();
  }

  bool erase() {
    takeIntoQuarantine();
    const std::optional<QuarantineRecord> record = findRecord();
    if (!record) return failed(context_.say(words::kSelftestNotListed));
    recordId_ = record->id;
    forgetRecord();
    if (findRecord() || pathExists(record->storedPath))
      return failed(context_.say(words::kSelftestNotDeleted));
    return done();
  }

  void takeIntoQuarantine() {
    context_.service().ask(Opcode::kThreatDecision,
                           ipc::encodeThreatDecision({ipc::kActionQuarantine, threat_}));
  }

  /// The newest record of the test's file.
  std::optional<QuarantineRecord> findRecord() {
    std::optional<QuarantineRecord> found;
    for (const QuarantineRecord& record : askQuarantine(context_.service())) {
      if (lowerWide(record.originalPath) == lowerWide(folder_.file())) found = record;
    }
    return found;
  }

  void forgetRecord() {
    if (recordId_ == 0) return;
    const uint64_t id = std::exchange(recordId_, 0);
    context_.service().ask(Opcode::kDeleteQuarantined, ipc::encodeQuarantineId(id));
  }

  /// The service delivers each event once, so those that come meanwhile are passed on.
  void keepEvents(const ScanReport& report) {
    for (const ThreatEvent& event : report.events) events_.push_back(eventJson(seenNow(event)));
  }

  Context& context_;
  TestFolder& folder_;
  const char* id_ = "";
  std::vector<Diagnosis> lines_;
  Json events_ = Json::array();
  ThreatRecord threat_;
  uint64_t recordId_ = 0;
  bool taken_ = false;
};

int selftest(const SelftestOptions& options, Context& context) {
  TestFolder folder(options.keep);
  Selftest test(context, folder);
  if (!context.global().dryRun) {
    context.service().ask(
        Opcode::kPing);  // without the service there is nothing to test, and no file is made
    test.run();
  }
  const bool passed = !context.global().dryRun && !hasFindings(test.lines()) && !test.taken();
  const Language language = context.language();
  context.print(renderDiagnosis(
      test.lines(), [language](const std::string& id) { return selftestTitle(id, language); },
      context.look()));
  if (context.global().mode == OutputMode::kTable && !context.global().dryRun && !test.taken())
    context.print("\n" + std::string(context.say(passed ? words::kSelftestPassed : words::kSelftestFailed)) +
                  "\n");
  if (options.keep && !context.global().dryRun)
    context.note(context.say(words::kSelftestLeft, {printable(folder.path())}) + "\n");
  context.document("selftest", {{"done", !context.global().dryRun},
                                {"passed", passed},
                                {"folder", toUtf8(folder.path())},
                                {"steps", diagnosisJson(test.lines())},
                                {"events", test.events()}});
  if (passed || context.global().dryRun) return kExitDone;
  return test.taken() ? kExitIncomplete : kExitRefused;
}

}  // namespace

void addSelftestCommand(Command& root) {
  const auto options = std::make_shared<SelftestOptions>();
  root.add("selftest", words::kSelftestHelp,
           [options](Context& context) { return selftest(*options, context); })
      .flag("--keep", options->keep, words::kSelftestKeepHelp)
      .example("korvelctl selftest", words::kSelftestExample)
      .note(words::kSelftestNote);
}

}  // namespace korvel::ctl
