#include "pe/pe_rules.h"

#include <algorithm>
#include <string>
#include <utility>

#include "base/sizes.h"
#include "base/text.h"

namespace korvel {
namespace {

struct PackerSection {
  std::string_view section;  // lower-case
  std::string_view packer;
};
constexpr PackerSection kPackerSections[] = {
    {"upx0", "UPX"},        {"upx1", "UPX"},         {"upx2", "UPX"},        {".aspack", "ASPack"},
    {".adata", "ASPack"},   {".nsp0", "NsPack"},     {".nsp1", "NsPack"},    {".nsp2", "NsPack"},
    {".packed", "generic"}, {".rlpack", "RLPack"},   {".petite", "Petite"},  {".themida", "Themida"},
    {".vmp0", "VMProtect"}, {".vmp1", "VMProtect"},  {".enigma", "Enigma"},  {".mpress1", "MPRESS"},
    {".y0da", "Y0da"},      {".perplex", "Perplex"}, {"bitarts", "BitArts"}, {".bitarts", "BitArts"},
};

struct SuspiciousApi {
  std::string_view name;  // compared exactly, case included
  bool injects;           // acts on another process
};
constexpr SuspiciousApi kSuspiciousApis[] = {
    {"CreateRemoteThread", true},
    {"WriteProcessMemory", true},
    {"VirtualAllocEx", true},
    {"NtWriteVirtualMemory", true},
    {"SetWindowsHookEx", true},
    {"QueueUserAPC", true},
    {"NtCreateThreadEx", true},
    {"RtlCreateUserThread", true},
    {"CreateProcessA", false},
    {"CreateProcessW", false},
    {"ShellExecuteA", false},
    {"ShellExecuteW", false},
    {"WinExec", false},
    {"NtUnmapViewOfSection", true},
    {"VirtualProtect", false},
    {"LoadLibraryA", false},
    {"LoadLibraryW", false},
    {"GetProcAddress", false},
    {"URLDownloadToFileA", false},
    {"InternetOpenA", false},
    {"CryptEncrypt", false},
    {"IsDebuggerPresent", false},
    {"NtQueryInformationProcess", false},
};

constexpr double kHighEntropy = 7.2;               // bits per byte; a finding only above it
constexpr double kPackedMarkEntropy = 0.2;         // bits per byte; the mark only below it
constexpr uint64_t kLargeOverlayBytes = 1 * kMiB;  // a finding only above it

RuleHit packedHit(std::string_view packer) {
  return {kSeverityHigh, "Файл упакован (" + std::string(packer) + ")",
          "Упаковщик скрывает настоящий код: сигнатуры по хешу не работают, а содержимое раскрывается только "
          "при запуске"};
}

RuleHit highEntropyHit(double entropy) {
  // std::to_string prints as "%f" does: six decimals.
  return {kSeverityMedium, "Аномально высокая энтропия",
          "Энтропия секции " + std::to_string(entropy) + " из 8.0 — признак шифрования или упаковки"};
}

RuleHit rwxSectionHit() {
  return {kSeverityHigh, "Секция с правами на запись и выполнение",
          "Легитимный PE не нуждается в том, чтобы одновременно писать и исполнять код в одной секции — так "
          "работают рантайм-распаковщики"};
}

RuleHit noImportsHit() {
  return {
      kSeverityMedium, "У исполняемого файла нет таблицы импортов",
      "Нормальная программа Windows вызывает системные функции через импорты. Пустая таблица означает ручной "
      "расчёт адресов (GetProcAddress в рантайме) либо упаковку"};
}

struct ApiHits {
  std::vector<std::string> names;
  bool inject = false;  // one of them acts on another process
};

/// Each listed name once, in the order of the list.
ApiHits findSuspiciousApis(const std::vector<std::string>& imports) {
  ApiHits hits;
  for (const SuspiciousApi& api : kSuspiciousApis) {
    if (std::find(imports.begin(), imports.end(), api.name) == imports.end()) continue;
    hits.names.emplace_back(api.name);
    hits.inject = hits.inject || api.injects;
  }
  return hits;
}

/// One ordinary import such as GetProcAddress is enough.
RuleHit apiHit(const ApiHits& hits) {
  std::string detail = "Файл импортирует: ";
  for (const std::string& name : hits.names) {
    if (&name != &hits.names.front()) detail += ", ";
    detail += name;
  }
  return {hits.inject ? kSeverityHigh : kSeverityMedium,
          hits.inject ? "Функции инъекции в чужой процесс" : "Опасные системные вызовы", std::move(detail)};
}

// The last two are low on purpose: alone they never make a file suspicious, they only add to its explanation.

RuleHit largeOverlayHit(uint64_t overlaySize) {
  return {kSeverityLow, "Большой блок данных в конце файла",
          "После PE осталось " + std::to_string(overlaySize / kMiB) +
              " МБ — типично для самораспаковывающихся установщиков и заражённых файлов"};
}

RuleHit futureTimestampHit() {
  return {kSeverityLow, "Дата сборки в будущем",
          "Временная метка в заголовке позже текущей даты — типично для намеренного обхода проверок"};
}

std::vector<std::string> sectionNames(const PeInfo& info) {
  std::vector<std::string> names;
  for (const PeSection& section : info.sections) names.push_back(section.name);
  return names;
}

std::vector<std::string> rwxSectionNames(const PeInfo& info) {
  std::vector<std::string> names;
  for (const PeSection& section : info.sections) {
    if (section.writable && section.executable) names.push_back(section.name);
  }
  return names;
}

}  // namespace

std::string_view packerOfSection(std::string_view sectionName) {
  const std::string lower = lowerAscii(sectionName);
  for (const PackerSection& row : kPackerSections) {
    if (lower == row.section) return row.packer;
  }
  return {};
}

std::string_view findPacker(const std::vector<PeSection>& sections) {
  for (const PeSection& section : sections) {
    if (const std::string_view packer = packerOfSection(section.name); !packer.empty()) return packer;
  }
  return {};
}

bool hasPackedMark(const PeInfo& info) {
  // The virtual size counts: a section that is filled at run time has no bytes in the file.
  return std::any_of(info.sections.begin(), info.sections.end(), [](const PeSection& section) {
    return section.writable && section.executable && section.virtualSize != 0 &&
           section.entropy < kPackedMarkEntropy;
  });
}

std::vector<Finding> peFindings(const PeInfo& info, std::string_view packer, uint64_t unixNow,
                                RuleTrace* trace) {
  std::vector<Finding> findings;
  RuleSheet rules(findings, trace);
  rules.judge(
      "PE.PACKED", !packer.empty(), [packer] { return packedHit(packer); },
      [&info] { return RuleTerms{.value = sectionNames(info)}; });
  rules.judge(
      "PE.HIGH_ENTROPY", info.maxSectionEntropy > kHighEntropy,
      [&info] { return highEntropyHit(info.maxSectionEntropy); },
      [&info] { return RuleTerms{.value = info.maxSectionEntropy, .limit = kHighEntropy}; });
  rules.judge("PE.RWX_SECTION", info.rwxSection, rwxSectionHit,
              [&info] { return RuleTerms{.value = rwxSectionNames(info)}; });
  rules.judge("PE.NO_IMPORTS", info.importCount == 0 && !info.hasImports, noImportsHit, [&info] {
    return RuleTerms{.value = uint64_t{info.importCount},
                     .limit = uint64_t{0},
                     .sparedBy = info.importCount == 0 && info.hasImports ? "import directory" : ""};
  });
  const ApiHits apis = findSuspiciousApis(info.imports);
  rules.judge(
      "PE.INJECTION_APIS", !apis.names.empty(), [&apis] { return apiHit(apis); },
      [&apis] { return RuleTerms{.value = apis.names}; });
  rules.judge(
      "PE.LARGE_OVERLAY", info.hasOverlay && info.overlaySize > kLargeOverlayBytes,
      [&info] { return largeOverlayHit(info.overlaySize); },
      [&info] { return RuleTerms{.value = info.overlaySize, .limit = kLargeOverlayBytes}; });
  rules.judge("PE.FUTURE_TIMESTAMP", info.timeDateStamp > unixNow, futureTimestampHit, [&info, unixNow] {
    return RuleTerms{.value = uint64_t{info.timeDateStamp}, .limit = unixNow};
  });
  return findings;
}

}  // namespace korvel
