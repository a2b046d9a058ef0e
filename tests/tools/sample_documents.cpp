#include "sample_documents.h"

#include "remedy/hosts_block.h"

namespace korvel::test {
namespace {

using namespace ctl;

Finding downloaded() {
  return {kSeverityMedium, "FS.DOWNLOADED_EXE", "Исполняемый файл из папки загрузок",
          "Программы, скачанные из интернета, стоит проверять до запуска"};
}
Finding apis(const char* names) {
  return {kSeverityMedium, "PE.INJECTION_APIS", "Опасные системные вызовы",
          std::string("Файл импортирует: ") + names};
}

ReportedThreat threat(uint64_t number, const std::wstring& path, std::vector<Finding> reasons,
                      uint64_t size) {
  ReportedThreat threat;
  threat.number = number;
  threat.record.path = path;
  threat.record.name = reasons.front().title;
  threat.record.code = reasons.front().code;
  threat.record.severity = reasons.front().severity;
  threat.record.size = size;
  threat.record.sha256 =
      "9f2c47b1d0e85a6633c1f0a97be4d25c88f10e6ab7d3945e021fc6ba8d7740e" + std::to_string(number % 10);
  threat.record.labels = {reasons.front().title};
  threat.record.reasons = std::move(reasons);
  threat.action = "report";
  return threat;
}

ReportedThreat listed(uint64_t number, const std::wstring& path, const std::string& name,
                      const std::string& family, Severity severity, uint64_t size) {
  const std::string level = severityName(severity);
  ReportedThreat result = threat(
      number, path, {{severity, "SIG.MATCH", "Обнаружено в базе: " + name, "Уровень: " + level}}, size);
  result.record.name = name;
  result.record.code = family;
  result.record.labels = {"Точное совпадение в базе угроз"};
  return result;
}

}  // namespace

uint64_t sampleLocalTime(uint64_t utc) { return utc + 3 * 3600; }

ScanDocument ordinaryScan() {
  ScanDocument document;
  document.toolVersion = "1.2.0";
  document.serviceVersion = "1.2.0";
  document.host = "OFFICE-17";
  document.commandLine = "korvelctl scan user --action quarantine --report scan.html";
  document.scope = "user";
  document.targets = {L"C:\\Users\\Anna\\Downloads", L"C:\\Users\\Anna\\Desktop",
                      L"C:\\Users\\Anna\\Documents", L"C:\\Users\\Anna\\AppData\\Local\\Temp"};
  document.startedUtc = kSampleNow - 62;
  document.elapsedMs = 62'011;
  document.outcome = ScanOutcome::kCompleted;
  document.outcomeBasis = "files_done>=files_total";
  document.signatureCount = 214'906;
  document.signatureVersion = "live-20251120";
  document.lastLiveUpdateUtc = kSampleNow - 9 * 3600;
  document.filesExamined = document.filesTotal = 20'114;
  document.bytesExamined = 5'368'709'120;
  document.threatCount = 3;
  document.suspiciousCount = 41;
  document.cancelledFlag = true;

  document.threats.push_back(
      listed(1, L"C:\\Users\\Anna\\Downloads\\eicar.com", "EICAR-Test-File", "EICAR", kSeverityHigh, 68));
  document.threats.push_back(
      threat(2, L"C:\\Users\\Anna\\Downloads\\invoice.pdf.exe",
             {{kSeverityHigh, "FS.DOUBLE_EXT", "Двойное расширение",
               "Имя invoice.pdf.exe маскирует исполняемый файл под документ или картинку"},
              downloaded(),
              apis("CreateProcessW, GetProcAddress")},
             418'304));
  document.threats.push_back(listed(3, L"C:\\Users\\Anna\\AppData\\Local\\Temp\\7zS4A1\\setup64.exe",
                                    "Win.Ransom.Conti", "Conti", kSeverityCritical, 200'704));
  for (ReportedThreat& decided : document.threats) {
    decided.action = "quarantine";
    decided.result = "ok";
    decided.state = ThreatState::kQuarantined;
  }
  document.threats[1].result = "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)";
  document.threats[1].state = ThreatState::kPresent;
  for (uint64_t i = 0; i < 34; ++i) {
    document.threats.push_back(
        threat(4 + i, L"C:\\Users\\Anna\\Desktop\\Tools\\tool" + std::to_wstring(i + 1) + L".exe",
               {apis("GetProcAddress, LoadLibraryW")}, 90'000 + i * 1'000));
  }
  for (uint64_t i = 0; i < 7; ++i) {
    document.threats.push_back(
        threat(38 + i, L"C:\\Users\\Anna\\Downloads\\driver-" + std::to_wstring(i + 1) + L".exe",
               {downloaded(), apis("ShellExecuteW")}, 1'500'000));
  }
  ReportedEvent event;
  event.event.path = L"C:\\Users\\Anna\\Downloads\\eicar.com";
  event.event.name = "EICAR-Test-File";
  event.event.code = "EICAR";
  event.event.size = 68;
  event.seenUtc = kSampleNow - 30;
  document.events.push_back(event);
  document.errors.push_back({"2", "refused",
                             "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)",
                             std::nullopt});
  return document;
}

ScanDocument hostileScan() {
  ScanDocument document;
  document.toolVersion = "1.2.0";
  document.host = "PC\"><script>alert(1)</script>";
  document.commandLine = "korvelctl scan \"C:\\<b>&amp;\"";
  document.scope = "custom";
  document.targets = {L"C:\\<img src=x onerror=alert(2)>"};
  document.startedUtc = kSampleNow;
  document.elapsedMs = 900;
  document.outcome = ScanOutcome::kCancelled;
  document.outcomeBasis = "cancel_sent";
  document.filesExamined = 3;
  document.filesTotal = 40;
  document.bytesExamined = 12'345;
  document.threatCount = 1;

  document.threats.push_back(threat(1, L"C:\\x\\</summary></details><script>alert(3)</script>.exe",
                                    {{kSeverityHigh, "X\"'<>&", "<u>title</u>", "&lt;detail\x1b[2J\n\"'"}},
                                    1));
  document.threats.push_back(threat(2, L"C:\\x\\\u202Egnp.exe\nнов\tый", {downloaded()}, 2));
  document.threats.push_back(
      threat(3, std::wstring(L"C:\\x\\half ") + static_cast<wchar_t>(0xD83D) + L".exe", {downloaded()}, 3));
  document.threats.push_back(threat(4, L"=HYPERLINK(\"http://x\",\"y\")", {downloaded()}, 4));
  document.threats.push_back(
      threat(5, L"C:\\Ёжик в тумане\\\u6F22\u5B57\\" + std::wstring(150, L'д') + L"\\a,b.exe",
             {{9, "NEW.RULE", "A rule of a newer service", ""}}, UINT64_MAX));
  document.threats[4].state = ThreatState::kMissing;
  ReportedThreat stored =
      threat(6, L"C:\\ProgramData\\KORVEL Antivirus\\Quarantine\\1_ab_<i>.exe", {downloaded()}, 5);
  stored.inQuarantineStore = true;
  document.threats.push_back(stored);
  ReportedEvent event;
  event.event.path = L"C:\\<svg onload=alert(4)>.exe";
  event.event.name = "a\xff\"b";
  document.events.push_back(event);
  document.errors.push_back({"<b>item</b>", "io", "<script>alert(5)</script>", 5});
  return document;
}

CheckDocument explainedCheck() {
  using Names = std::vector<std::string>;
  CheckDocument document;
  document.explain = true;
  document.signatureCount = 214'906;
  document.signatureVersion = "live-20251120";
  document.databases = {{L"C:\\Program Files\\Korvel\\data\\signatures.seed.txt", true},
                        {L"C:\\ProgramData\\KORVEL Antivirus\\signatures.live.txt", false}};

  CheckedFile setup;
  setup.verdict.path = L"C:\\Users\\Anna\\Downloads\\setup.exe";
  setup.verdict.fileName = L"setup.exe";
  setup.verdict.size = 1'500'000;
  setup.verdict.md5 = "01cd3fa9c1d2e4b5a6f70123456789ab";
  setup.verdict.sha1 = "77ab3fa9c1d2e4b5a6f70123456789ab01234567";
  setup.verdict.sha256 = "9f2c47b1d0e85a6633c1f0a97be4d25c88f10e6ab7d3945e021fc6ba8d7740e1";
  setup.verdict.isPe = true;
  setup.verdict.findings = {downloaded()};
  setup.verdict.severity = kSeverityMedium;
  setup.verdict.reasons = {downloaded().title};
  setup.trace.rules = {
      {"SIG.MATCH", false, 0, {}},
      {"PE.PACKED", false, 0, {.value = Names{".text", ".rdata", ".data"}}},
      {"PE.HIGH_ENTROPY", false, 0, {.value = 6.914523, .limit = 7.2}},
      {"PE.RWX_SECTION", false, 0, {.value = Names{}}},
      {"PE.NO_IMPORTS",
       false,
       0,
       {.value = uint64_t{0}, .limit = uint64_t{0}, .sparedBy = "import directory"}},
      {"PE.INJECTION_APIS", false, 0, {.value = Names{}}},
      {"PE.LARGE_OVERLAY", false, 0, {.value = uint64_t{1'048'576}, .limit = uint64_t{1'048'576}}},
      {"PE.FUTURE_TIMESTAMP", false, 0, {.value = uint64_t{1'600'000'000}, .limit = kSampleNow}},
      {"FS.IMPERSONATE",
       false,
       0,
       {.value = Names{"setup.exe"}, .limit = Names{"\\windows\\system32\\", "\\windows\\syswow64\\"}}},
      {"FS.DOUBLE_EXT", false, 0, {.value = Names{}}},
      {"FS.DOWNLOADED_EXE",
       true,
       2,
       {.value = Names{"\\downloads\\", ".exe"},
        .limit = Names{"\\downloads\\", "\\загрузки\\", ".exe", ".scr", ".bat"}}}};

  CheckedFile listedFile;
  listedFile.verdict.path = L"C:\\mail\\eicar.pdf";
  listedFile.verdict.fileName = L"eicar.pdf";
  listedFile.verdict.size = 68;
  listedFile.verdict.sha256 = "275a021bbfb6489e54d471899f7db9d1663fc695ec2fe2a2c4538aabf651fd0f";
  listedFile.verdict.signatureMatched = true;
  listedFile.verdict.threatName = "EICAR-Test-File";
  listedFile.verdict.family = "EICAR";
  listedFile.verdict.matchedHash = listedFile.verdict.sha256;
  listedFile.verdict.severity = kSeverityHigh;
  listedFile.verdict.findings = {
      {kSeverityHigh, "SIG.MATCH", "Обнаружено в базе: EICAR-Test-File", "Уровень: high"}};
  listedFile.sha256Listed = true;
  listedFile.scope = WalkScope::kOtherExtension;
  listedFile.trace.rules = {
      {"SIG.MATCH", true, 3, {.value = Names{listedFile.verdict.sha256}}},
      {"FS.IMPERSONATE", false, 0, {.value = Names{"eicar.pdf"}}},
      {"FS.DOUBLE_EXT", false, 0, {.value = Names{}}},
      {"FS.DOWNLOADED_EXE",
       false,
       0,
       {.value = Names{}, .limit = Names{"\\downloads\\", "\\загрузки\\", ".exe", ".scr", ".bat"}}}};

  CheckedFile held;
  held.verdict.path = L"C:\\Windows\\WinSxS\\x\\held.exe";
  held.trace.reading = FileReading::kNotOpened;
  held.trace.win32 = 32;
  held.scope = WalkScope::kExcludedFolder;

  CheckedFile empty;
  empty.verdict.path = L"C:\\mail\\empty";
  empty.trace.reading = FileReading::kEmpty;
  empty.scope = WalkScope::kNoExtension;
  document.files = {setup, listedFile, held, empty};
  return document;
}

QuarantineCheck troubledQuarantine() {
  const std::wstring folder = L"C:\\ProgramData\\KORVEL Antivirus\\Quarantine";
  const auto recordOf = [&folder](uint64_t id, const wchar_t* original, const wchar_t* stored,
                                  const char* name, Severity severity, uint64_t size) {
    QuarantineRecord record;
    record.id = id;
    record.originalPath = original;
    record.storedPath = folder + L"\\" + stored;
    record.threat = name;
    record.code = name;
    record.severity = severity;
    record.size = size;
    record.sha256 = "ab";
    record.time = id / 1000;
    record.storedFileExists = true;
    return record;
  };
  return checkQuarantine(
      {recordOf(1'763'698'260'114, L"C:\\Users\\Anna\\Downloads\\eicar.com", L"a", "EICAR-Test-File", 3, 68),
       recordOf(1'763'011'005'201, L"D:\\inbox\\conti.exe", L"b", "Win.Ransom.Conti", 4, 200'704),
       recordOf(1'763'011'005'201, L"D:\\inbox\\a much longer name of a file.exe", L"c", "Heuristic", 3, 4)},
      folder,
      std::vector<StoredFile>{{L"a", 68, "ab"}, {L"c", 4, "cd"}, {L"1763000000_00_lost.exe", 999, {}}},
      IndexState::kDamaged);
}

ShieldReport crowdedShield() {
  ShieldReport report;
  report.file = L"C:\\Windows\\System32\\drivers\\etc\\hosts";
  report.bytes = 14'336;
  report.writtenUtc = kSampleNow - 5 * 3600;
  report.now = kSampleNow;
  report.enabled = true;
  std::string hosts =
      applyHostsBlock("127.0.0.1 localhost\n10.0.0.5 nas\n", {"a.example", "a.example", "b.example"});
  hosts.insert(hosts.find("127.0.0.1 b.example"), "10.0.0.9 printer\n");
  report.block = inspectShieldBlock(hosts);
  return report;
}

std::string trappedSettings() {
  return "# Korvel Antivirus settings\r\nProtectionEnabled=1\r\n "
         "realtimeenabled=0\nWebShield=TRUE\nScheduledHour=7pm\n"
         "LiveUpdate=1\nWebShield=1\n# my "
         "remark\nSignatureDb=data\\signatures.seed.txt\nUpdateServer=updates.example\n";
}

}  // namespace korvel::test
