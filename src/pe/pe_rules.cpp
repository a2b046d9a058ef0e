#include "pe/pe_rules.h"

#include <algorithm>
#include <string>

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

Finding packedFinding(std::string_view packer) {
  return {kSeverityHigh, "PE.PACKED", "Файл упакован (" + std::string(packer) + ")",
          "Упаковщик скрывает настоящий код: сигнатуры по хешу не работают, а содержимое раскрывается только "
          "при запуске"};
}

Finding highEntropyFinding(double entropy) {
  // std::to_string prints as "%f" does: six decimals.
  return {kSeverityMedium, "PE.HIGH_ENTROPY", "Аномально высокая энтропия",
          "Энтропия секции " + std::to_string(entropy) + " из 8.0 — признак шифрования или упаковки"};
}

Finding rwxSectionFinding() {
  return {kSeverityHigh, "PE.RWX_SECTION", "Секция с правами на запись и выполнение",
          "Легитимный PE не нуждается в том, чтобы одновременно писать и исполнять код в одной секции — так "
          "работают рантайм-распаковщики"};
}

Finding noImportsFinding() {
  return {
      kSeverityMedium, "PE.NO_IMPORTS", "У исполняемого файла нет таблицы импортов",
      "Нормальная программа Windows вызывает системные функции через импорты. Пустая таблица означает ручной "
      "расчёт адресов (GetProcAddress в рантайме) либо упаковку"};
}

/// Each listed name once, in the order of the list. One ordinary import such as GetProcAddress is enough.
void addApiFinding(const std::vector<std::string>& imports, std::vector<Finding>& findings) {
  std::string hits;
  bool injects = false;
  for (const SuspiciousApi& api : kSuspiciousApis) {
    if (std::find(imports.begin(), imports.end(), api.name) == imports.end()) continue;
    if (!hits.empty()) hits += ", ";
    hits += api.name;
    injects = injects || api.injects;
  }
  if (hits.empty()) return;
  findings.push_back({injects ? kSeverityHigh : kSeverityMedium, "PE.INJECTION_APIS",
                      injects ? "Функции инъекции в чужой процесс" : "Опасные системные вызовы",
                      "Файл импортирует: " + hits});
}

// The last two are low on purpose: alone they never make a file suspicious, they only add to its explanation.

Finding largeOverlayFinding(uint64_t overlaySize) {
  return {kSeverityLow, "PE.LARGE_OVERLAY", "Большой блок данных в конце файла",
          "После PE осталось " + std::to_string(overlaySize / kMiB) +
              " МБ — типично для самораспаковывающихся установщиков и заражённых файлов"};
}

Finding futureTimestampFinding() {
  return {kSeverityLow, "PE.FUTURE_TIMESTAMP", "Дата сборки в будущем",
          "Временная метка в заголовке позже текущей даты — типично для намеренного обхода проверок"};
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

std::vector<Finding> peFindings(const PeInfo& info, std::string_view packer, uint64_t unixNow) {
  std::vector<Finding> findings;
  if (!packer.empty()) findings.push_back(packedFinding(packer));
  if (info.maxSectionEntropy > kHighEntropy) findings.push_back(highEntropyFinding(info.maxSectionEntropy));
  if (info.rwxSection) findings.push_back(rwxSectionFinding());
  if (info.importCount == 0 && !info.hasImports) findings.push_back(noImportsFinding());
  addApiFinding(info.imports, findings);
  if (info.hasOverlay && info.overlaySize > kLargeOverlayBytes)
    findings.push_back(largeOverlayFinding(info.overlaySize));
  if (info.timeDateStamp > unixNow) findings.push_back(futureTimestampFinding());
  return findings;
}

}  // namespace korvel
