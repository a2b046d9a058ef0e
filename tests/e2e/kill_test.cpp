// The service is killed at random moments while it changes its files. Whatever the moment, every text file is
// whole and no byte of a user's file is lost.
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "base/files.h"
#include "base/text.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

/// The longest time from the first request to the kill. Most of the work to interrupt happens in the first
/// milliseconds.
constexpr uint32_t kLongestLifeMicroseconds = 12'000;

/// Sends one request after another until the connection breaks, as it does when the service is killed.
class Hammer {
 public:
  /// Gives the frame of request number `i`, with the reply to the one before it.
  using NextFrame = std::function<std::string(size_t i, const Reply& last)>;

  explicit Hammer(NextFrame next) : next_(std::move(next)) {
    client_.connect();
    thread_ = std::thread([this] {
      Reply last;
      for (size_t i = 0;; ++i) {
        if (!client_.send(next_(i, last))) return;
        std::optional<Reply> reply = client_.receive();
        if (!reply) return;
        last = std::move(*reply);
      }
    });
  }
  ~Hammer() { thread_.join(); }

 private:
  NextFrame next_;
  Client client_;
  std::thread thread_;
};

/// Finer than the system's own sleep, whose steps would always hit the same moments of the service's work.
void sleepMicroseconds(uint32_t count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(count);
  while (std::chrono::steady_clock::now() < end) std::this_thread::yield();
}

class Kill : public ServiceTest {
 protected:
  std::wstring userFile() const { return folder().at(L"in\\eicar.com"); }
  std::wstring indexPath() const { return defaultQuarantineDir() + L"\\quarantine.db"; }

  /// One life: start, hammer, kill after a random time.
  void liveAndDie(Hammer::NextFrame next) {
    startService();
    const Hammer hammer(std::move(next));
    sleepMicroseconds(random_() % kLongestLifeMicroseconds);
    service().kill();
  }

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
    UniqueFindHandle find(::FindFirstFileW((defaultQuarantineDir() + L"\\*_eicar.com").c_str(), &entry));
    if (find) {
      do look(defaultQuarantineDir() + L"\\" + entry.cFileName);
      while (::FindNextFileW(find.get(), &entry));
    }
    return copies;
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

 private:
  std::mt19937 random_{20'251'121};
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
  }
}

TEST_F(Kill, DuringQuarantineLosesNoFile) {
  for (int i = 0; i < killCount(); ++i) {
    placeFile(/*stored=*/false);
    liveAndDie([this](size_t, const Reply&) { return decisionFrame(ipc::kActionQuarantine); });
    ASSERT_EQ(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    if (HasFailure()) return;
  }
}

TEST_F(Kill, DuringRestoreLosesNoFile) {
  for (int i = 0; i < killCount(); ++i) {
    const uint64_t id = placeFile(/*stored=*/true);
    createDirectories(folder().at(L"in"));
    liveAndDie([id](size_t, const Reply&) { return frame(10, ipc::encodeQuarantineId(id)); });
    ASSERT_EQ(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    if (HasFailure()) return;
  }
}

TEST_F(Kill, DuringDeletionLeavesAWholeIndex) {
  for (int i = 0; i < killCount(); ++i) {
    const uint64_t id = placeFile(/*stored=*/true);
    liveAndDie([id](size_t, const Reply&) { return frame(9, ipc::encodeQuarantineId(id)); });
    ASSERT_LE(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    if (HasFailure()) return;
  }
}

TEST_F(Kill, WhileAFileGoesBackAndForthLosesNoFile) {
  // List, restore the first record, quarantine again: the service is always in the middle of something.
  const auto next = [this](size_t n, const Reply& last) {
    if (n % 3 == 0) return frame(8);
    if (n % 3 == 2) return decisionFrame(ipc::kActionQuarantine);
    const auto records = ipc::decodeQuarantineList(last.payload);
    return frame(10, ipc::encodeQuarantineId(records && !records->empty() ? records->front().id : 0));
  };
  for (int i = 0; i < (killCount() + 3) / 4; ++i) {
    placeFile(/*stored=*/true);
    liveAndDie(next);
    ASSERT_EQ(copiesOfUserFile(), 1) << "kill " << i;
    expectWholeIndex();
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace korvel::test
