#include "korvelctl/model/checked_file.h"

#include <gtest/gtest.h>

#include "korvelctl/render/check.h"

namespace korvel::ctl {
namespace {

std::string scopeOf(const std::wstring& path) { return walkScopeName(walkScopeOf(path, false, false)); }

CheckedFile judged(Severity severity, FileReading reading = FileReading::kWhole) {
  CheckedFile file;
  file.verdict.severity = severity;
  file.trace.reading = reading;
  return file;
}

TEST(WalkScope, SaysWhyAWalkPassesAFileOver) {
  EXPECT_EQ(scopeOf(L"C:\\x\\a.exe"), "");
  EXPECT_EQ(scopeOf(L"C:\\x\\eicar.pdf"), "extension");
  EXPECT_EQ(scopeOf(L"C:\\x\\eicar"), "no_extension");
  EXPECT_EQ(scopeOf(L"C:\\x\\desktop.ini"), "system_data_file");
  EXPECT_EQ(scopeOf(L"C:\\Windows\\System32\\ci.dll"), "kernel_file");
  EXPECT_EQ(scopeOf(L"D:\\$Recycle.Bin\\a.exe"), "recycle_bin");
  EXPECT_EQ(scopeOf(L"C:\\Windows\\WinSxS-copy\\x\\a.exe"), "excluded_folder");
  EXPECT_STREQ(walkScopeName(walkScopeOf(L"C:\\x\\a.exe", true, false)), "link");
  EXPECT_STREQ(walkScopeName(walkScopeOf(L"C:\\x\\a.exe", false, true)), "behind_link");
}

TEST(WalkScope, NamesTheExcludedFolderAsItIsSpelled) {
  EXPECT_EQ(excludedFolderOf(L"C:\\Windows\\WinSxS\\x\\a.exe"), L"C:\\Windows\\WinSxS");
  EXPECT_EQ(excludedFolderOf(L"C:\\Windows\\System32\\a.exe"), L"");
  EXPECT_EQ(excludedFolderOf(L"C:\\Windows\\winsxs.exe"), L"");
  EXPECT_EQ(excludedFolderOf(L"\\\\server\\share\\a.exe"), L"");
  EXPECT_EQ(excludedFolderOf(L""), L"");
}

TEST(CheckResult, CountsWhatWasFoundAndWhatWasNotExamined) {
  CheckDocument document;
  document.files = {judged(0),
                    judged(2),
                    judged(3),
                    judged(4),
                    judged(0, FileReading::kEmpty),
                    judged(0, FileReading::kMissing),
                    judged(3, FileReading::kNotOpened)};
  const CheckResult result = resultOf(document);
  EXPECT_EQ(result.files, 7u);
  EXPECT_EQ(result.found, 3u);
  EXPECT_EQ(result.suspicious, 1u);
  EXPECT_EQ(result.notExamined, 3u);
  EXPECT_EQ(result.unreadable, 2u);
}

TEST(CheckResult, OnlyAWhollyReadFileIsExamined) {
  EXPECT_TRUE(judged(0).examined());
  for (const FileReading reading : {FileReading::kMissing, FileReading::kEmpty, FileReading::kTooLarge,
                                    FileReading::kElsewhere, FileReading::kNotOpened, FileReading::kBroken}) {
    EXPECT_FALSE(judged(0, reading).examined());
    EXPECT_NE(std::string(fileReadingName(reading)), "");
  }
}

TEST(CheckCsv, AMissingFileIsNotReachedByAScan) {
  CheckDocument document;
  document.files = {judged(0, FileReading::kMissing)};
  Look look;
  look.mode = OutputMode::kCsv;
  const std::string text = renderCheck(document, look);
  EXPECT_NE(text.find("missing,false,missing,"), std::string::npos) << text;
}

}  // namespace
}  // namespace korvel::ctl
