// The service is killed at random moments while it changes its files. Whatever the moment, every text file is
// whole and no byte of a user's file is lost.
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/kill_fixture.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

class Kill : public KillTest {
 protected:
  std::wstring userFile() const { return folder().at(L"in\\eicar.com"); }
  std::wstring indexPath() const { return defaultQuarantineDir() + L"\\quarantine.db"; }

  /// Every record of the index has its ten lines, and nothing else is in the file.
  void expectWholeIndex() {
    std::string text;
    ASSERT_TRUE(readWholeFile(indexPath(), text));
    ASSERT_TRUE(text.starts_with("KORVELQUARANTINE/1\n")) << text;
    const char* const keys[] = {
        "ID=", "ORIG=", "STORED=", "NAME=", "SHA256=", "THREAT=", "CODE=", "SEV=", "SIZE=", "TIME="};
    LineReader reader(std::string_view(text).substr(19));
    for (std::string_view line; reader.next(line);) {
      for (const char* key : keys) {
        ASSERT_TRUE(line.starts_with(key)) << text;
        ASSERT_TRUE(reader.next(line)) << text;
      }
      ASSERT_TRUE(line.empty()) << text;
    }
    EXPECT_EQ(text.back(), '\n');
  }

  /// How many copies of the user's file there are, at its place and in quarantine. Each must be whole.
  int copiesOfUserFile() {
    int copies = 0;
    const auto look = [&copies](const std::wstring& path) {
      std::string bytes;
      if (!readWholeFile(path, bytes)) return;
      EXPECT_EQ(bytes, eicarText()) << toUtf8(path);
      ++copies;
    };
    look(userFile());
    WIN32_FIND_DATAW entry{};
    UniqueFindHandle find(::FindFirstFileW(storedNames().c_str(), &entry));
    if (find) {
      do look(defaultQuarantineDir() + L"\\" + entry.cFileName);
      while (::FindNextFileW(find.get(), &entry));
    }
    return copies;
  }

  static std::wstring storedNames() { return defaultQuarantineDir() + L"\\*_eicar.com"; }
  /// The user's file in quarantine, if it is there.
  static std::optional<std::wstring> storedCopy() {
    WIN32_FIND_DATAW entry{};
    const UniqueFindHandle find(::FindFirstFileW(storedNames().c_str(), &entry));
    if (!find) return {};
    return defaultQuarantineDir() + L"\\" + entry.cFileName;
  }

  std::string decisionFrame(uint32_t action) {
    ThreatRecord threat;
    threat.path = userFile();
    threat.name = "EICAR-Test-File";
    threat.code = "EICAR";
    threat.sha256 = kEicarSha256;
    return frame(7, ipc::encodeThreatDecision({action, threat}));
  }

  /// Writes the user's file anew, and an index with one record of a stored file when `stored`.
  uint64_t placeFile(bool stored) {
    removeTree(defaultQuarantineDir());
    removeTree(userFile());
    if (!stored) {
      folder().write(L"in\\eicar.com", eicarText());
      return 0;
    }
    const std::wstring path = defaultQuarantineDir() + L"\\1700000000_275a021bbfb6489e_eicar.com";
    writeFile(path, eicarText());
    const uint64_t id = 1'700'000'000'123;
    writeFile(indexPath(),
              "KORVELQUARANTINE/1\nID=" + std::to_string(id) + "\nORIG=" + toUtf8(userFile()) +
                  "\nSTORED=" + toUtf8(path) + "\nNAME=eicar.com\nSHA256=" + kEicarSha256 +
                  "\nTHREAT=EICAR-Test-File\nCODE=EICAR\nSEV=high\nSIZE=68\nTIME=1700000000\n\n");
    return id;
  }

  /// When the file is in quarantine without a record: the check of the quarantine names it, so that it can be
  /// taken back.
  void expectFoundAgain() {
    const std::optional<std::wstring> stored = storedCopy();
    if (!stored || readFile(indexPath()).find("STORED=" + toUtf8(*stored) + "\n") != std::string::npos)
      return;
    ++unlisted_;
    const Finished run =
        runToEnd(controlExecutable(), L"--json quarantine verify --dir \"" + defaultQuarantineDir() + L"\"");
    EXPECT_EQ(run.exitCode, 1u);
    const auto orphans = nlohmann::json::parse(run.output)["orphans"];
    ASSERT_EQ(orphans.size(), 1u) << run.output;
    EXPECT_EQ(orphans[0]["name"], toUtf8(fileName(*stored)));
    EXPECT_EQ(orphans[0]["size"], eicarText().size());
    EXPECT_EQ(orphans[0]["sha256"], kEicarSha256);
  }

  int unlisted_ = 0;
};

TEST_F(Kill, DuringASaveLeavesTheOldOrTheNewSettings) {
  startService();
  SettingsFields one = settings();
  stopService();
  one.lastThreatCount = 1;
  SettingsFields two = one;
  two.lastThreatCount = 2;
  two.quarantineDir = folder().at(std::wstring(200, L'q'));  // texts of different lengths show a torn file
  const auto textOf = [this](const SettingsFields& settings) {
    startService();
    reply(Opcode::kSetConfig, ipc::encodeSettings(settings));
    stopService();
    return readFile(settingsPath());
  };
  const std::string texts[] = {textOf(one), textOf(two)};
  ASSERT_NE(texts[0], texts[1]);

  for (int i = 0; i < killCount(); ++i) {
    liveAndDie(
        [&](size_t n, const Reply&) { return frame(12, ipc::encodeSettings(n % 2 == 0 ? two : one)); });
    const std::string left = readFile(settingsPath());
    ASSERT_TRUE(left == texts[0] || left == texts[1]) << "kill " << i << ":\n" << left;
    countTemporary(settingsPath() + L".tmp");
  }
  showKills("settings", killCount());
}

TEST_F(Kill, DuringQuarantineLosesNoFile) {
  for (int i = 0; i < killCount(); ++i) {
    placeFile(/*stored=*/false);
    liveAndDie([this](size_t, const Reply&) { return decisionFrame(ipc::kActionQuarantine); });
    ASSERT_EQ(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    expectFoundAgain();
    if (HasFailure()) return;
    countTemporary(indexPath() + L".tmp");
  }
  showKills("quarantine move", killCount());
  showFigure("quarantine move", static_cast<uint64_t>(unlisted_), "files moved but not listed");
}

TEST_F(Kill, DuringRestoreLosesNoFile) {
  for (int i = 0; i < killCount(); ++i) {
    const uint64_t id = placeFile(/*stored=*/true);
    createDirectories(folder().at(L"in"));
    liveAndDie([id](size_t, const Reply&) { return frame(10, ipc::encodeQuarantineId(id)); });
    ASSERT_EQ(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    if (HasFailure()) return;
    countTemporary(indexPath() + L".tmp");
  }
  showKills("restore", killCount());
}

TEST_F(Kill, DuringDeletionLeavesAWholeIndex) {
  for (int i = 0; i < killCount(); ++i) {
    const uint64_t id = placeFile(/*stored=*/true);
    liveAndDie([id](size_t, const Reply&) { return frame(9, ipc::encodeQuarantineId(id)); });
    ASSERT_LE(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    if (HasFailure()) return;
    countTemporary(indexPath() + L".tmp");
  }
  showKills("quarantine index", killCount());
}

TEST_F(Kill, WhileAFileGoesBackAndForthLosesNoFile) {
  // List, restore the first record, quarantine again: the service is always in the middle of something.
  const auto next = [this](size_t n, const Reply& last) {
    if (n % 3 == 0) return frame(8);
    if (n % 3 == 2) return decisionFrame(ipc::kActionQuarantine);
    const auto records = ipc::decodeQuarantineList(last.payload);
    return frame(10, ipc::encodeQuarantineId(records && !records->empty() ? records->front().id : 0));
  };
  const int kills = (killCount() + 3) / 4;
  for (int i = 0; i < kills; ++i) {
    placeFile(/*stored=*/true);
    liveAndDie(next);
    ASSERT_EQ(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    expectFoundAgain();
    if (HasFailure()) return;
    countTemporary(indexPath() + L".tmp");
  }
  showKills("back and forth", kills);
  showFigure("back and forth", static_cast<uint64_t>(unlisted_), "files moved but not listed");
}

}  // namespace
}  // namespace korvel::test
