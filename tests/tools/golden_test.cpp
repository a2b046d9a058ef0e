// What people and programs read, compared with files that were looked at: text at three widths in both
// languages, the page, CSV and JSON. With KORVEL_WRITE_GOLDEN set the files are written anew; look at the
// difference before it is committed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>

#include "korvelctl/render/check.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/lint.h"
#include "korvelctl/render/quarantine_check.h"
#include "korvelctl/render/scan_report.h"
#include "sample_documents.h"

namespace korvel::ctl {
namespace {

void compareWithGolden(const std::string& name, const std::string& text) {
  const std::string path = std::string(KORVEL_GOLDEN_DIR) + "/" + name;
  if (std::getenv("KORVEL_WRITE_GOLDEN") != nullptr) {
    std::ofstream(path, std::ios::binary) << text;
    return;
  }
  std::ifstream file(path, std::ios::binary);
  ASSERT_TRUE(file) << name;
  const std::string golden((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  EXPECT_EQ(text, golden) << name;
}

Look lookOf(Language language, size_t columns) {
  Look look;
  look.language = language;
  look.columns = columns;
  look.localTime = test::sampleLocalTime;
  return look;
}

const char* nameOf(Language language) { return language == Language::kRussian ? "ru" : "en"; }

struct Golden {
  const char* name;
  std::function<std::string(const Look&)> render;
};

std::vector<Golden> texts() {
  return {
      {"scan", [](const Look& look) { return scanText(test::ordinaryScan(), look, /*all=*/false); }},
      {"scan-hostile", [](const Look& look) { return scanText(test::hostileScan(), look, /*all=*/true); }},
      {"check", [](const Look& look) { return renderCheck(test::explainedCheck(), look); }},
      {"lint",
       [](const Look& look) {
         return renderLint(lintSettings(test::trappedSettings()),
                           L"C:\\ProgramData\\KORVEL Antivirus\\settings.ini", 10, look);
       }},
      {"verify", [](const Look& look) { return renderQuarantineCheck(test::troubledQuarantine(), look); }},
      {"shield", [](const Look& look) { return renderShield(test::crowdedShield(), look); }}};
}

TEST(Golden, TextsFitTheirWidthInBothLanguages) {
  for (const Golden& golden : texts()) {
    for (const Language language : {Language::kEnglish, Language::kRussian}) {
      for (const size_t columns : {size_t{60}, size_t{80}, size_t{120}}) {
        compareWithGolden(
            std::string(golden.name) + "." + nameOf(language) + "." + std::to_string(columns) + ".txt",
            golden.render(lookOf(language, columns)));
      }
    }
  }
}

TEST(Golden, PagesInBothLanguages) {
  for (const Language language : {Language::kEnglish, Language::kRussian}) {
    compareWithGolden(std::string("scan.") + nameOf(language) + ".html",
                      scanHtml(test::ordinaryScan(), lookOf(language, 0)));
  }
  compareWithGolden("scan-hostile.en.html", scanHtml(test::hostileScan(), lookOf(Language::kEnglish, 0)));
}

TEST(Golden, DocumentsForPrograms) {
  const Look look = lookOf(Language::kRussian, 80);  // it must not matter
  compareWithGolden("scan-hostile.json", reportFile(test::hostileScan(), ReportForm::kJson, look));
  compareWithGolden("scan-hostile.csv", reportFile(test::hostileScan(), ReportForm::kCsv, look));
  compareWithGolden("check.json", jsonText(checkJson(test::explainedCheck())));
  compareWithGolden("verify.json", jsonText(quarantineCheckJson(test::troubledQuarantine())));
  compareWithGolden("shield.json", jsonText(shieldJson(test::crowdedShield())));
  compareWithGolden("lint.json",
                    jsonText(lintJson(lintSettings(test::trappedSettings()), L"C:\\settings.ini", 10)));
}

}  // namespace
}  // namespace korvel::ctl
