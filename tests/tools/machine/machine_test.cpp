// Drives, known folders, the event log's registration, and the question to an update server.
#include <gtest/gtest.h>

#include <algorithm>

#include "base/files.h"
#include "base/win.h"
#include "korvelctl/machine/drives.h"
#include "korvelctl/machine/event_log.h"
#include "korvelctl/machine/known_folders.h"
#include "korvelctl/machine/server_probe.h"
#include "support/silent_server.h"
#include "support/temp_folder.h"

namespace korvel::ctl {
namespace {

/// A drive letter of this process's session, for the life of the object.
class Substituted {
 public:
  explicit Substituted(const std::wstring& folder) {
    EXPECT_TRUE(::DefineDosDeviceW(0, L"Q:", folder.c_str()));
  }
  ~Substituted() { ::DefineDosDeviceW(DDD_REMOVE_DEFINITION, L"Q:", nullptr); }
};

TEST(Drives, TheSystemDriveIsTheSameForTheService) {
  EXPECT_EQ(pathForService(L"C:\\windows"), (ServicePath{DriveOutcome::kSame, L"C:\\windows"}));
}

TEST(Drives, ASubstitutedLetterIsTranslated) {
  const test::TempFolder folder;
  const Substituted drive(folder.path());
  EXPECT_EQ(pathForService(L"Q:\\x"), (ServicePath{DriveOutcome::kFolder, folder.path() + L"\\x"}));
}

TEST(KnownFolders, ThoseOfTheUserExistAndAreListedOnce) {
  std::vector<std::wstring> folders = userFolders();
  EXPECT_FALSE(folders.empty());
  for (const std::wstring& folder : folders) EXPECT_TRUE(pathExists(folder));
  std::sort(folders.begin(), folders.end());
  EXPECT_EQ(std::adjacent_find(folders.begin(), folders.end()), folders.end());
}

TEST(KnownFolders, SharedOnesBeginWithTheWindowsFolder) {
  const std::vector<std::wstring> folders = sharedFolders();
  ASSERT_GT(folders.size(), 5u);
  EXPECT_EQ(::_wcsicmp(folders[0].c_str(), L"C:\\windows"), 0);
  EXPECT_NE(std::find(folders.begin(), folders.end(), L"C:\\ProgramData"), folders.end());
}

TEST(EventSource, IsRegisteredWithItsFileAndRemovedAgain) {
  const test::TempFolder folder;
  ASSERT_TRUE(pathExists(L"C:\\korvel-test-machine")) << "not a machine for tests";
  EXPECT_EQ(unregisterEventSource(), 0u);
  EXPECT_FALSE(eventSourceRegistered());
  EXPECT_EQ(registerEventSource(folder.write(L"korvelctl.exe", "x")), 0u);
  EXPECT_TRUE(eventSourceRegistered());
  test::removeTree(folder.at(L"korvelctl.exe"));
  EXPECT_FALSE(eventSourceRegistered()) << "its file has gone";
  EXPECT_EQ(unregisterEventSource(), 0u);
}

TEST(EventSource, AnEventIsWritten) {
  const EventLog log;
  EXPECT_EQ(log.write(watchStarted("1.2.0")), 0u);
}

TEST(ServerProbe, NobodyListensGivesACodeAndNoStatus) {
  test::SilentServer server;
  const std::string url = server.url();
  server.hangUp();
  const ServerAnswer answer = probeServer(url);
  EXPECT_EQ(answer.status, 0u);
  EXPECT_EQ(answer.win32, 12029u);
}

TEST(ServerProbe, ASilentServerIsGivenUp) {
  const test::SilentServer server;
  const ServerAnswer answer = probeServer(server.url(), /*limitMs=*/300);
  EXPECT_EQ(answer.status, 0u);
  EXPECT_EQ(answer.win32, 12002u);
  EXPECT_GE(answer.elapsedMs, 300u);
}

TEST(ServerProbe, WhatIsNoAddressGivesACode) {
  for (const char* url : {"", "nonsense", "ftp://x/"}) {
    const ServerAnswer answer = probeServer(url);
    EXPECT_EQ(answer.status, 0u);
    EXPECT_NE(answer.win32, 0u) << url;
  }
}

}  // namespace
}  // namespace korvel::ctl
