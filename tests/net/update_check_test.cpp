#include "net/update_check.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/utf.h"
#include "runtime/log.h"
#include "support/brief_hold.h"
#include "support/held_moves.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

using test::nginxUrl;
using test::oddUrl;

std::string installerBytes(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 255);
  return bytes.replace(0, 2, "MZ");
}

class UpdateCheck : public testing::Test {
 protected:
  UpdateCheck() {
    Log::instance().open(folder_.at(L"test.log"));
    test::publish("/setup.exe", installer_);
  }
  ~UpdateCheck() override { Log::instance().open(L""); }

  /// Publishes a release document and checks for an update against it.
  bool check(const std::string& document) {
    test::publish("/u/api/v1/releases", document);
    return checkAt(nginxUrl("/u"));
  }
  bool checkAt(const std::string& server) {
    path_ = L"old path";
    error_ = "old error";
    return checkForUpdate(server, updates_, &path_, &error_);
  }
  bool checkVersion(const std::string& version) { return check(release(version, nginxUrl("/setup.exe"))); }
  static std::string release(const std::string& version, const std::string& url) {
    return R"({"windows":{"version":")" + version + R"(","url":")" + url +
           R"("},"android":{"version":"9","url":"x"}})";
  }
  std::wstring setupPath(const std::wstring& version) const {
    return updates_ + L"\\KorvelSetup-" + version + L".exe";
  }

  /// The failed check named this reason, kept the caller's path and left no file behind.
  void expectFailure(const std::string& error) const {
    EXPECT_EQ(error_, error);
    EXPECT_EQ(path_, L"old path");
    EXPECT_FALSE(pathExists(setupPath(L"1.3.0")));
    EXPECT_FALSE(pathExists(setupPath(L"1.3.0") + L".tmp"));
    EXPECT_EQ(logText(), "");
  }
  std::string logText() const { return test::readFile(folder_.at(L"test.log")); }

  const std::string installer_ = installerBytes(65'536);
  test::TempFolder folder_;
  std::wstring updates_ = folder_.at(L"data\\updates");
  std::wstring path_;
  std::string error_;
};

TEST_F(UpdateCheck, SavesTheInstallerOfAnotherVersionAndLogsIt) {
  EXPECT_TRUE(checkVersion("1.3.0")) << error_;
  EXPECT_EQ(error_, "");
  EXPECT_EQ(path_, setupPath(L"1.3.0"));
  EXPECT_EQ(test::readFile(path_), installer_);
  EXPECT_FALSE(pathExists(path_ + L".tmp"));
  const std::string log = logText();
  EXPECT_EQ(log.substr(log.find('[')), "[INF] self update: installer 1.3.0 saved to updates\n");
}

TEST_F(UpdateCheck, OwnVersionIsUpToDateAndDownloadsNothing) {
  EXPECT_TRUE(check(release("1.2.0", oddUrl("/close"))));
  EXPECT_EQ(path_, L"");
  EXPECT_EQ(error_, "");
  EXPECT_FALSE(pathExists(updates_));
  EXPECT_EQ(logText(), "");
}

TEST_F(UpdateCheck, EveryOtherVersionCountsAsNewer) {
  for (const char* version : {"1.0.0", "1.1.9", "1.2", "1.2.0 ", "v1.2.0", "версия"}) {
    EXPECT_TRUE(checkVersion(version)) << version << ": " << error_;
    EXPECT_EQ(path_, setupPath(toWide(version)));
    // Trailing blanks of a version end before ".exe", so the file is there under exactly this name.
    EXPECT_EQ(test::readFile(path_), installer_) << version;
  }
}

TEST_F(UpdateCheck, ServerMayEndInSlashes) {
  test::publish("/u/api/v1/releases", release("1.2.0", "x"));
  EXPECT_TRUE(checkAt(nginxUrl("/u///"))) << error_;
}

TEST_F(UpdateCheck, EscapedSlashesOfTheUrlAreRead) {
  std::string url;
  for (const char c : nginxUrl("/setup.exe")) url += c == '/' ? std::string("\\/") : std::string(1, c);
  EXPECT_TRUE(check(release("1.3.0", url))) << error_;
}

TEST_F(UpdateCheck, PathAndErrorMayBeNull) {
  test::publish("/u/api/v1/releases", release("1.3.0", nginxUrl("/setup.exe")));
  EXPECT_TRUE(checkForUpdate(nginxUrl("/u"), updates_, nullptr, nullptr));
  EXPECT_FALSE(checkForUpdate("", updates_, nullptr, nullptr));
}

TEST_F(UpdateCheck, WithoutAServerNothingIsAsked) {
  EXPECT_FALSE(checkAt(""));
  expectFailure("не задан сервер обновлений (строка UpdateServer в settings.ini)");
}

TEST_F(UpdateCheck, FailedReleaseRequestHasTheClientsText) {
  EXPECT_FALSE(checkAt(nginxUrl("/nowhere")));
  expectFailure("http status 404");
  EXPECT_FALSE(checkAt("ftp://h/"));
  expectFailure("http(s) required: ftp://h/api/v1/releases");
}

TEST_F(UpdateCheck, DocumentWithoutAWindowsSectionIsRefused) {
  for (const char* document : {"", "{}", "<html></html>", "{\"android\":{}}"}) {
    EXPECT_FALSE(check(document));
    expectFailure("в releases.json нет секции windows");
  }
}

TEST_F(UpdateCheck, SectionWithoutBothMembersIsRefused) {
  EXPECT_FALSE(
      check(R"({"windows":{"version":"1.3.0"},"android":{"version":"9","url":"http://127.0.0.1:9/"}})"));
  expectFailure("в секции windows нет version/url");
  EXPECT_FALSE(check(R"({"windows":{"url":"u"}})"));
  expectFailure("в секции windows нет version/url");
}

TEST_F(UpdateCheck, FailedDownloadHasTheClientsTextBehindItsOwn) {
  EXPECT_FALSE(check(release("1.3.0", nginxUrl("/no-such-setup.exe"))));
  expectFailure("загрузка установщика: http status 404");
  EXPECT_FALSE(check(release("1.3.0", "ftp://h/s.exe")));
  expectFailure("загрузка установщика: http(s) required: ftp://h/s.exe");
}

TEST_F(UpdateCheck, InstallerThatEndsEarlyIsNotSaved) {
  EXPECT_FALSE(check(release("1.3.0", oddUrl("/cut-installer"))));
  expectFailure("загрузка установщика: WinHttpReadData, win32=12030");
}

TEST_F(UpdateCheck, DownloadThatIsNoInstallerIsRefused) {
  test::publish("/short.exe", installerBytes(65'535));
  test::publish("/page.html", "<html>" + std::string(100'000, ' '));
  for (const char* path : {"/short.exe", "/page.html", "/empty"}) {
    EXPECT_FALSE(check(release("1.3.0", nginxUrl(path)))) << path;
    expectFailure("по ссылке не похоже на Windows-установщик");
  }
  EXPECT_FALSE(pathExists(updates_));
}

TEST_F(UpdateCheck, OlderInstallerOfTheSameVersionIsReplacedEvenWhenReadOnly) {
  test::writeFile(setupPath(L"1.3.0"), "older");
  ::SetFileAttributesW(setupPath(L"1.3.0").c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(checkVersion("1.3.0")) << error_;
  EXPECT_EQ(test::readFile(path_), installer_);
}

TEST_F(UpdateCheck, InstallerThatAProgramHoldsForAMomentIsReplaced) {
  test::writeFile(setupPath(L"1.3.0"), "older");
  const test::BriefHold held(setupPath(L"1.3.0"));
  EXPECT_TRUE(checkVersion("1.3.0")) << error_;
  EXPECT_EQ(test::readFile(setupPath(L"1.3.0")), installer_);
}

TEST_F(UpdateCheck, StopEndsTheWaitingForAHeldInstaller) {
  test::publish("/u/api/v1/releases", release("1.3.0", nginxUrl("/setup.exe")));
  const test::HeldMoves held;
  EXPECT_FALSE(checkForUpdate(nginxUrl("/u"), updates_, &path_, &error_, held.stop()));
  EXPECT_EQ(held.tries(), 1);
  EXPECT_EQ(error_, "не удалось сохранить установщик, win32=5");
}

TEST_F(UpdateCheck, InstallerThatCannotBeReplacedStays) {
  test::writeFile(setupPath(L"1.3.0"), "older");
  ::SetFileAttributesW(setupPath(L"1.3.0").c_str(), FILE_ATTRIBUTE_READONLY);
  {
    const UniqueHandle holder(::CreateFileW(setupPath(L"1.3.0").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                            nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_FALSE(checkVersion("1.3.0"));
  }
  EXPECT_EQ(error_, "не удалось сохранить установщик, win32=5");
  EXPECT_EQ(path_, L"old path");
  EXPECT_EQ(test::readFile(setupPath(L"1.3.0")), "older");
  EXPECT_FALSE(pathExists(setupPath(L"1.3.0") + L".tmp"));
  // Cleared before the move.
  EXPECT_EQ(::GetFileAttributesW(setupPath(L"1.3.0").c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
}

TEST_F(UpdateCheck, TemporaryThatCannotBeWrittenIsNamed) {
  folder_.write(L"data", "a file in the way of the folder");
  EXPECT_FALSE(checkVersion("1.3.0"));
  expectFailure("не удалось записать " + toUtf8(setupPath(L"1.3.0")) + ".tmp");
}

TEST_F(UpdateCheck, FullDiskIsATemporaryThatCannotBeWritten) {
  updates_ = test::fullFolder();
  EXPECT_FALSE(checkVersion("1.3.0"));
  expectFailure("не удалось записать " + toUtf8(setupPath(L"1.3.0")) + ".tmp");
}

TEST_F(UpdateCheck, VersionGoesIntoTheFileNameAsGiven) {
  EXPECT_FALSE(checkVersion("no\\\\folder"));  // a backslash once the document is read
  expectFailure("не удалось записать " + toUtf8(setupPath(L"no\\folder")) + ".tmp");
}

TEST_F(UpdateCheck, VersionWithANulMakesNoName) {
  const std::string version("1.3\0.0", 6);
  EXPECT_FALSE(checkVersion(version));
  const std::string path = toUtf8(updates_) + "\\KorvelSetup-" + version + ".exe.tmp";
  expectFailure("не удалось записать " + path);
  EXPECT_FALSE(pathExists(updates_ + L"\\KorvelSetup-1.3")) << "a name that ends at the NUL";
}

TEST_F(UpdateCheck, StopEndsTheCheck) {
  StopSource stop;
  stop.request_stop();
  EXPECT_FALSE(checkForUpdate(nginxUrl("/u"), updates_, &path_, &error_, stop.get_token()));
  EXPECT_EQ(error_, "service is stopping");
}

}  // namespace
}  // namespace korvel
