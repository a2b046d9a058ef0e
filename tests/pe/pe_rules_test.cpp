#include "pe/pe_rules.h"

#include <gtest/gtest.h>

#include <cmath>

namespace korvel {
namespace {

constexpr uint64_t kNow = 1'700'000'000;

/// An image that no rule finds anything in.
PeInfo harmless() {
  PeInfo info;
  info.isPe = true;
  info.hasImports = true;
  info.imports = {"Sleep"};
  info.importCount = 1;
  info.timeDateStamp = 1'600'000'000;
  return info;
}

PeInfo importing(const std::vector<std::string>& names) {
  PeInfo info = harmless();
  info.imports = names;
  info.importCount = static_cast<uint32_t>(names.size());
  return info;
}

std::vector<Finding> findingsOf(const PeInfo& info) { return peFindings(info, "", kNow); }

TEST(PackerOfSection, KnowsEveryName) {
  const std::pair<const char*, const char*> table[] = {
      {"UPX0", "UPX"},        {"UPX1", "UPX"},         {"UPX2", "UPX"},        {".aspack", "ASPack"},
      {".adata", "ASPack"},   {".nsp0", "NsPack"},     {".nsp1", "NsPack"},    {".nsp2", "NsPack"},
      {".packed", "generic"}, {".RLPack", "RLPack"},   {".petite", "Petite"},  {".themida", "Themida"},
      {".vmp0", "VMProtect"}, {".vmp1", "VMProtect"},  {".enigma", "Enigma"},  {".MPRESS1", "MPRESS"},
      {".y0da", "Y0da"},      {".perplex", "Perplex"}, {"BitArts", "BitArts"}, {".bitarts", "BitArts"},
  };
  for (const auto& [section, packer] : table) EXPECT_EQ(packerOfSection(section), packer) << section;
}

TEST(PackerOfSection, IgnoresCaseAndComparesWholeNames) {
  EXPECT_EQ(packerOfSection("upx0"), "UPX");
  EXPECT_EQ(packerOfSection(".ASPACK"), "ASPack");
  EXPECT_EQ(packerOfSection(".Themida"), "Themida");
  for (const char* other :
       {"", ".text", "UPX", "UPX3", "UPX00", " UPX0", ".upx0", "aspack", ".MPRESS2", ".vmp2"}) {
    EXPECT_EQ(packerOfSection(other), "") << other;
  }
}

TEST(FindPacker, TakesTheFirstSectionThatNamesOne) {
  std::vector<PeSection> sections(4);
  sections[0].name = ".text";
  sections[1].name = ".petite";
  sections[2].name = "UPX0";
  EXPECT_EQ(findPacker(sections), "Petite");
  sections[1].name = ".data";
  EXPECT_EQ(findPacker(sections), "UPX");
  EXPECT_EQ(findPacker({}), "");
}

TEST(PackedMark, WantsAWritableExecutableSectionWithMemoryAndHardlyAnyContent) {
  PeInfo info;
  EXPECT_FALSE(hasPackedMark(info));
  PeSection& section = info.sections.emplace_back();
  section.writable = section.executable = true;
  section.virtualSize = 1;
  section.rawSize = 0;
  section.entropy = 0.0;
  EXPECT_TRUE(hasPackedMark(info));

  section.entropy = std::nextafter(0.2, 0.0);
  EXPECT_TRUE(hasPackedMark(info));
  section.entropy = 0.2;
  EXPECT_FALSE(hasPackedMark(info));

  section.entropy = 0.0;
  section.virtualSize = 0;
  section.rawSize = 512;
  EXPECT_FALSE(hasPackedMark(info));

  section.virtualSize = 1;
  section.writable = false;
  EXPECT_FALSE(hasPackedMark(info));
  section.writable = true;
  section.executable = false;
  EXPECT_FALSE(hasPackedMark(info));
}

TEST(PackedMark, IsFoundInAnySection) {
  PeInfo info;
  info.sections.resize(3);
  info.sections[2].writable = info.sections[2].executable = true;
  info.sections[2].virtualSize = 0x1000;
  EXPECT_TRUE(hasPackedMark(info));
}

TEST(PeFindings, OfAHarmlessImageAreNone) { EXPECT_TRUE(findingsOf(harmless()).empty()); }

TEST(PeFindings, NameThePacker) {
  EXPECT_EQ(
      peFindings(harmless(), "UPX", kNow),
      (std::vector<Finding>{{3, "PE.PACKED", "Файл упакован (UPX)",
                             "Упаковщик скрывает настоящий код: сигнатуры по хешу не работают, а содержимое "
                             "раскрывается только при запуске"}}));
}

TEST(PeFindings, TellHighEntropyStrictlyAboveTheLimit) {
  PeInfo info = harmless();
  info.maxSectionEntropy = 7.2;
  EXPECT_TRUE(findingsOf(info).empty());
  info.maxSectionEntropy = std::nextafter(7.2, 8.0);
  EXPECT_EQ(findingsOf(info).size(), 1u);
  info.maxSectionEntropy = 7.21;
  EXPECT_EQ(findingsOf(info),
            (std::vector<Finding>{{2, "PE.HIGH_ENTROPY", "Аномально высокая энтропия",
                                   "Энтропия секции 7.210000 из 8.0 — признак шифрования или упаковки"}}));
  info.maxSectionEntropy = 7.9999996;
  EXPECT_EQ(findingsOf(info).at(0).detail,
            "Энтропия секции 8.000000 из 8.0 — признак шифрования или упаковки");
}

TEST(PeFindings, GoByTheSectionsNotByTheWholeFile) {
  PeInfo info = harmless();
  info.entropy = 8.0;
  EXPECT_TRUE(findingsOf(info).empty());
}

TEST(PeFindings, TellAWritableExecutableSection) {
  PeInfo info = harmless();
  info.rwxSection = true;
  EXPECT_EQ(
      findingsOf(info),
      (std::vector<Finding>{{3, "PE.RWX_SECTION", "Секция с правами на запись и выполнение",
                             "Легитимный PE не нуждается в том, чтобы одновременно писать и исполнять код в "
                             "одной секции — так работают рантайм-распаковщики"}}));
}

TEST(PeFindings, TellMissingImportsOnlyWithoutNamesAndWithoutATable) {
  PeInfo info = importing({});
  info.hasImports = false;
  EXPECT_EQ(
      findingsOf(info),
      (std::vector<Finding>{{2, "PE.NO_IMPORTS", "У исполняемого файла нет таблицы импортов",
                             "Нормальная программа Windows вызывает системные функции через импорты. Пустая "
                             "таблица означает ручной расчёт адресов (GetProcAddress в рантайме) либо "
                             "упаковку"}}));
  info.hasImports = true;  // imports by ordinal only
  EXPECT_TRUE(findingsOf(info).empty());
  info = importing({"Sleep"});
  info.hasImports = false;
  EXPECT_TRUE(findingsOf(info).empty());
}

TEST(PeFindings, TellEachSuspiciousFunction) {
  struct Row {
    const char* name;
    bool injects;
  };
  const Row table[] = {
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
  std::vector<std::string> all;
  std::string joined;
  for (const Row& row : table) {
    const Finding expected = {row.injects ? 3 : 2, "PE.INJECTION_APIS",
                              row.injects ? "Функции инъекции в чужой процесс" : "Опасные системные вызовы",
                              std::string("Файл импортирует: ") + row.name};
    EXPECT_EQ(findingsOf(importing({"Sleep", row.name, "Beep"})), std::vector<Finding>{expected});
    all.insert(all.begin(), row.name);
    joined += (joined.empty() ? "" : ", ") + std::string(row.name);
  }
  EXPECT_EQ(findingsOf(importing(all)).at(0).detail, "Файл импортирует: " + joined);
}

TEST(PeFindings, ListEachSuspiciousFunctionOnceInTheOrderOfTheList) {
  const std::vector<Finding> findings =
      findingsOf(importing({"GetProcAddress", "WinExec", "GetProcAddress", "CreateProcessW", "WinExec"}));
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].severity, 2);
  EXPECT_EQ(findings[0].title, "Опасные системные вызовы");
  EXPECT_EQ(findings[0].detail, "Файл импортирует: CreateProcessW, WinExec, GetProcAddress");
}

TEST(PeFindings, CallItInjectionAsSoonAsOneFunctionInjects) {
  const std::vector<Finding> findings = findingsOf(importing({"GetProcAddress", "QueueUserAPC"}));
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].severity, 3);
  EXPECT_EQ(findings[0].title, "Функции инъекции в чужой процесс");
  EXPECT_EQ(findings[0].detail, "Файл импортирует: QueueUserAPC, GetProcAddress");
}

TEST(PeFindings, CompareFunctionNamesExactly) {
  EXPECT_TRUE(findingsOf(importing({"SetWindowsHookExA", "SetWindowsHookExW", "getprocaddress", "xWinExec",
                                    "LoadLibraryExW"}))
                  .empty());
}

TEST(PeFindings, TellALargeOverlayStrictlyAboveOneMegabyte) {
  PeInfo info = harmless();
  info.hasOverlay = true;
  info.overlaySize = 1'048'576;
  EXPECT_TRUE(findingsOf(info).empty());
  info.overlaySize = 1'048'577;
  EXPECT_EQ(
      findingsOf(info),
      (std::vector<Finding>{{1, "PE.LARGE_OVERLAY", "Большой блок данных в конце файла",
                             "После PE осталось 1 МБ — типично для самораспаковывающихся установщиков и "
                             "заражённых файлов"}}));
  info.overlaySize = 2 * 1'048'576 - 1;
  EXPECT_NE(findingsOf(info).at(0).detail.find("осталось 1 МБ"), std::string::npos);
  info.overlaySize = 2 * 1'048'576;
  EXPECT_NE(findingsOf(info).at(0).detail.find("осталось 2 МБ"), std::string::npos);
  info.overlaySize = uint64_t{5000} * 1'048'576;
  EXPECT_NE(findingsOf(info).at(0).detail.find("осталось 5000 МБ"), std::string::npos);
}

TEST(PeFindings, TellABuildTimeStrictlyLaterThanNow) {
  PeInfo info = harmless();
  info.timeDateStamp = kNow;
  EXPECT_TRUE(findingsOf(info).empty());
  info.timeDateStamp = kNow + 1;
  EXPECT_EQ(findingsOf(info),
            (std::vector<Finding>{
                {1, "PE.FUTURE_TIMESTAMP", "Дата сборки в будущем",
                 "Временная метка в заголовке позже текущей даты — типично для намеренного обхода "
                 "проверок"}}));
  info.timeDateStamp = UINT32_MAX;
  EXPECT_TRUE(peFindings(info, "", uint64_t{UINT32_MAX} + 1).empty());
}

TEST(PeFindings, ComeInAFixedOrder) {
  PeInfo info;
  info.maxSectionEntropy = 7.5;
  info.rwxSection = true;
  info.hasOverlay = true;
  info.overlaySize = 3'000'000;
  info.timeDateStamp = kNow + 1;
  const auto codes = [](const std::vector<Finding>& findings) {
    std::vector<std::string> result;
    for (const Finding& finding : findings) result.push_back(finding.code);
    return result;
  };
  EXPECT_EQ(codes(peFindings(info, "UPX", kNow)),
            (std::vector<std::string>{"PE.PACKED", "PE.HIGH_ENTROPY", "PE.RWX_SECTION", "PE.NO_IMPORTS",
                                      "PE.LARGE_OVERLAY", "PE.FUTURE_TIMESTAMP"}));
  info.imports = {"WinExec"};
  info.importCount = 1;
  EXPECT_EQ(codes(peFindings(info, "UPX", kNow)),
            (std::vector<std::string>{"PE.PACKED", "PE.HIGH_ENTROPY", "PE.RWX_SECTION", "PE.INJECTION_APIS",
                                      "PE.LARGE_OVERLAY", "PE.FUTURE_TIMESTAMP"}));
}

TEST(PeFindings, TraceHoldsEveryRuleWithItsValueAndItsLimit) {
  PeInfo info = importing({"GetProcAddress", "Sleep", "WriteProcessMemory"});
  info.sections.resize(2);
  info.sections[0].name = "UPX0";
  info.sections[0].writable = info.sections[0].executable = true;
  info.sections[1].name = ".rsrc";
  info.sections[1].writable = true;
  info.rwxSection = true;
  info.maxSectionEntropy = 7.25;
  info.hasOverlay = true;
  info.overlaySize = 1'048'577;
  info.timeDateStamp = static_cast<uint32_t>(kNow + 1);
  RuleTrace trace;
  const std::vector<Finding> findings = peFindings(info, "UPX", kNow, &trace);

  using Names = std::vector<std::string>;
  EXPECT_EQ(
      trace,
      (RuleTrace{{"PE.PACKED", true, 3, {.value = Names{"UPX0", ".rsrc"}}},
                 {"PE.HIGH_ENTROPY", true, 2, {.value = 7.25, .limit = 7.2}},
                 {"PE.RWX_SECTION", true, 3, {.value = Names{"UPX0"}}},
                 {"PE.NO_IMPORTS", false, 0, {.value = uint64_t{3}, .limit = uint64_t{0}}},
                 {"PE.INJECTION_APIS", true, 3, {.value = Names{"WriteProcessMemory", "GetProcAddress"}}},
                 {"PE.LARGE_OVERLAY", true, 1, {.value = uint64_t{1'048'577}, .limit = uint64_t{1'048'576}}},
                 {"PE.FUTURE_TIMESTAMP", true, 1, {.value = kNow + 1, .limit = kNow}}}));
  EXPECT_EQ(findings, peFindings(info, "UPX", kNow));
}

TEST(PeFindings, TraceNamesWhatSparesAnImageWithoutImportNames) {
  PeInfo info = harmless();
  info.imports.clear();
  info.importCount = 0;
  RuleTrace trace;
  peFindings(info, "", kNow, &trace);
  ASSERT_EQ(trace.size(), 7u);
  EXPECT_FALSE(trace[3].hit);
  EXPECT_EQ(trace[3].terms.sparedBy, "import directory");
}

}  // namespace
}  // namespace korvel
