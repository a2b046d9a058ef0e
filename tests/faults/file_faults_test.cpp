// Files that cannot be written: each call of each routine that writes one fails in turn, once and for ever,
// with the codes of a broken disk, a full one and a file that another program holds. Afterwards the old or
// the new content is there, whole, no temporary is left, and the caller knows.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <thread>

#include "base/files.h"
#include "config/settings.h"
#include "config/settings_file.h"
#include "net/live_feed.h"
#include "net/update_check.h"
#include "remedy/hosts_file.h"
#include "remedy/quarantine_store.h"
#include "runtime/log.h"
#include "scan/scan_cache.h"
#include "support/fault_sweep.h"
#include "support/file_faults.h"
#include "support/import_patch.h"
#include "support/silent_server.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

using test::FileFault;

constexpr size_t kNoCall = SIZE_MAX;
constexpr DWORD kCodes[] = {ERROR_IO_DEVICE, ERROR_DISK_FULL, ERROR_SHARING_VIOLATION};

/// No pauses between the tries of a held file: there would be hundreds.
StopToken stopped() {
  StopSource source;
  source.request_stop();
  return source.get_token();
}

class FileFaults : public testing::Test {
 protected:
  static void TearDownTestSuite() {
    std::printf("file faults %zu findings %d\n", faults_,
                testing::UnitTest::GetInstance()->current_test_suite()->failed_test_count());
  }

  /// Runs `operation`, which returns whether it says to have succeeded, with each of its calls failing in
  /// turn. `check` gets that answer and the fault.
  void breakEach(const std::function<void()>& prepare, const std::function<bool()>& operation,
                 const std::function<void(bool ok, const FileFault& fault)>& check) {
    prepare();
    size_t calls = 0;
    {
      const FileFault none(folder_.path(), kNoCall, ERROR_IO_DEVICE, /*forEver=*/false);
      EXPECT_TRUE(operation());
      calls = none.calls();
    }
    EXPECT_GT(calls, 2u);
    for (const DWORD code : kCodes) {
      for (const bool forEver : {false, true}) {
        for (const size_t call : test::callsToFail(calls, 1'000)) {
          removeTemporaries();
          prepare();
          const FileFault fault(folder_.path(), call, code, forEver);
          const bool ok = operation();
          SCOPED_TRACE("call " + std::to_string(call) + ", " + fault.failed() + ", code " +
                       std::to_string(code) + (forEver ? ", for ever" : ", once"));
          ++faults_;
          check(ok, fault);
          if (HasFailure()) return;
        }
      }
    }
  }

  /// Looks without the fault: by a call that it does not know.
  static std::string contentOf(const std::wstring& path) {
    std::FILE* file = ::_wfopen(path.c_str(), L"rb");
    if (file == nullptr) return "(missing)";
    std::string bytes;
    char piece[4096];
    for (size_t got = 0; (got = std::fread(piece, 1, sizeof piece, file)) != 0;) bytes.append(piece, got);
    std::fclose(file);
    return bytes;
  }
  static bool isThere(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
  }

  /// A deletion that failed before may have left one.
  void removeTemporaries() const {
    for (const wchar_t* name : {L"settings.ini.tmp", L"scan.cache.tmp", L"hosts.korvel.tmp", L"live.txt.tmp",
                                L"KorvelSetup-9.9.9.exe.tmp"}) {
      ::DeleteFileW(folder_.at(name).c_str());
    }
  }

  test::TempFolder folder_;
  inline static size_t faults_ = 0;
};

TEST_F(FileFaults, SettingsAreTheOldOrTheNewText) {
  const std::wstring path = folder_.at(L"settings.ini");
  Settings before;
  Settings after;
  after.updateServer = "http://127.0.0.1:1/new";
  ASSERT_TRUE(writeSettingsFile(before, path));
  const std::string oldText = contentOf(path);
  ASSERT_TRUE(writeSettingsFile(after, path));
  const std::string newText = contentOf(path);
  breakEach([&] { test::writeFile(path, oldText); },
            [&] { return writeSettingsFile(after, path, stopped()); },
            [&](bool ok, const FileFault& fault) {
              const std::string text = contentOf(path);
              EXPECT_TRUE(text == oldText || text == newText) << text;
              if (!ok) {
                EXPECT_EQ(text, oldText) << "a refusal means that nothing was written";
              }
              EXPECT_TRUE(fault.deletionFailed() || !isThere(path + L".tmp"));
            });
}

TEST_F(FileFaults, TheScanCacheIsTheOldOrTheNewOne) {
  const std::wstring path = folder_.at(L"scan.cache");
  ScanCache before;
  before.record(L"C:\\a.exe", {1, 2, 3});
  ASSERT_TRUE(before.save(path));
  const std::string oldText = contentOf(path);
  ScanCache after;
  after.record(L"C:\\b.exe", {4, 5, 6});
  ASSERT_TRUE(after.save(path));
  const std::string newText = contentOf(path);
  breakEach([&] { test::writeFile(path, oldText); }, [&] { return after.save(path); },
            [&](bool ok, const FileFault& fault) {
              const std::string text = contentOf(path);
              EXPECT_TRUE(text == oldText || text == newText) << text;
              if (!ok) {
                EXPECT_EQ(text, oldText);
              }
              EXPECT_TRUE(fault.deletionFailed() || !isThere(path + L".tmp"));
            });
}

TEST_F(FileFaults, TheHostsFileIsTheOldOrTheNewOneAndFailuresAreTold) {
  const std::wstring hosts = folder_.at(L"hosts");
  const std::string lines = "127.0.0.1 localhost\r\n";
  test::writeFile(hosts, lines);
  ASSERT_TRUE(applyBlocklistTo(hosts, {"one.example.org"}, nullptr));
  const std::string blocked = contentOf(hosts);
  ASSERT_TRUE(removeBlocklistFrom(hosts, nullptr));
  const std::string freed = contentOf(hosts);
  std::string error;
  const auto check = [&](const std::string& before, const std::string& wanted) {
    return [&, before, wanted](bool ok, const FileFault& fault) {
      const std::string text = contentOf(hosts);
      EXPECT_TRUE(text == before || text == wanted) << text;
      if (ok) {
        // Removing takes a file that cannot be read for one without a block.
        EXPECT_TRUE(text == wanted || wanted == freed) << text;
      } else {
        EXPECT_EQ(text, before);
        EXPECT_TRUE(error.starts_with("cannot write temp hosts") || error.starts_with("cannot replace hosts"))
            << error;
      }
      EXPECT_TRUE(fault.deletionFailed() || !isThere(hosts + L".korvel.tmp"));
    };
  };
  breakEach([&] { test::writeFile(hosts, lines); },
            [&] { return applyBlocklistTo(hosts, {"one.example.org"}, &error, stopped()); },
            check(lines, blocked));
  breakEach([&] { test::writeFile(hosts, blocked); },
            [&] { return removeBlocklistFrom(hosts, &error, stopped()); }, check(blocked, freed));
}

TEST_F(FileFaults, QuarantineLosesNoFile) {
  const std::wstring dir = folder_.at(L"quarantine");
  const std::wstring file = folder_.at(L"file.exe");
  const std::string content = "the only copy";
  QuarantineStore store(pathStatus, stopped());
  const auto fresh = [&] {
    test::removeTree(dir);
    ASSERT_TRUE(store.ensureStore(dir, nullptr));
    test::writeFile(file, content);
  };
  std::string error;
  const auto add = [&](QuarantineRecord* record) {
    return store.addFile(dir, file, std::string(64, 'a'), "threat", "CODE", kSeverityHigh, record, &error);
  };
  QuarantineRecord record;
  breakEach(
      fresh, [&] { return add(&record); },
      [&](bool ok, const FileFault& fault) {
        EXPECT_EQ(isThere(file), !ok) << error;
        EXPECT_EQ(contentOf(ok ? record.storedPath : file), content);
        const std::string index = contentOf(dir + L"\\quarantine.db");
        EXPECT_EQ(index.substr(0, index.find('\n')), "KORVELQUARANTINE/1") << index;
        EXPECT_TRUE(fault.deletionFailed() || !isThere(dir + L"\\quarantine.db.tmp"));
      });
  const auto stored = [&] {
    fresh();
    ASSERT_TRUE(add(&record));
  };
  breakEach(
      stored, [&] { return store.restoreRecord(dir, record.id, &error); },
      [&](bool ok, const FileFault& fault) {
        EXPECT_EQ(isThere(file), ok) << error;
        EXPECT_EQ(contentOf(ok ? file : record.storedPath), content);
        EXPECT_TRUE(fault.deletionFailed() || !isThere(dir + L"\\quarantine.db.tmp"));
      });
  breakEach(
      stored, [&] { return store.deleteRecord(dir, record.id, &error); },
      [&](bool ok, const FileFault& fault) {
        if (!ok) {
          EXPECT_EQ(contentOf(record.storedPath), content);
        }
        EXPECT_TRUE(fault.deletionFailed() || !isThere(dir + L"\\quarantine.db.tmp"));
      });
}

TEST_F(FileFaults, TheLiveDatabaseIsTheOldOrTheNewOneAndFailuresAreTold) {
  const std::wstring path = folder_.at(L"live.txt");
  const std::string oldText = "KORVELDB/1\n";
  const std::string hash(64, 'a');
  test::SilentServer server;
  std::string error;
  breakEach(
      [&] { test::writeFile(path, oldText); },
      [&] {
        std::thread answers([&] {
          if (server.takeClient()) server.answer(hash + "\n");
        });
        const bool ok = buildLiveDatabaseFrom({server.url()}, path, nullptr, &error);
        answers.join();
        return ok;
      },
      [&](bool ok, const FileFault& fault) {
        const std::string text = contentOf(path);
        if (ok) {
          EXPECT_TRUE(text.starts_with("# KORVEL") && text.ends_with("\n" + hash + "\n")) << text;
        } else {
          EXPECT_EQ(text, oldText);
          EXPECT_TRUE(error.starts_with("cannot write ") || error.starts_with("cannot replace live database"))
              << error;
        }
        EXPECT_TRUE(fault.deletionFailed() || !isThere(path + L".tmp"));
      });
}

TEST_F(FileFaults, AnInstallerIsTheOldOrTheNewOneAndFailuresAreTold) {
  const std::wstring path = folder_.at(L"KorvelSetup-9.9.9.exe");
  const std::string oldText = "MZ old";
  const std::string installer = "MZ" + std::string(70'000, 'x');
  test::SilentServer server;
  std::string error;
  breakEach([&] { test::writeFile(path, oldText); },
            [&] {
              std::thread answers([&] {
                if (server.takeClient())
                  server.answer(R"({"windows":{"version":"9.9.9","url":")" + server.url() + R"("}})");
                if (server.takeClient()) server.answer(installer);
              });
              const bool ok = checkForUpdate(server.url(), folder_.path(), nullptr, &error);
              answers.join();
              return ok;
            },
            [&](bool ok, const FileFault& fault) {
              EXPECT_TRUE(contentOf(path) == (ok ? installer : oldText));
              if (!ok) {
                EXPECT_TRUE(error.starts_with("не удалось записать ") ||
                            error.starts_with("не удалось сохранить установщик"))
                    << error;
              }
              EXPECT_TRUE(fault.deletionFailed() || !isThere(path + L".tmp"));
            });
}

// --- the log, which the library of the compiler writes ---

size_t streamCalls = 0;
size_t failingStreamCall = 0;
bool streamFailsForEver = false;
decltype(&std::fwrite) systemFwrite = nullptr;
decltype(&std::fflush) systemFflush = nullptr;
decltype(&::_wsopen_s) systemOpen = nullptr;

bool streamFails() {
  ++streamCalls;
  return streamCalls == failingStreamCall || (streamFailsForEver && streamCalls > failingStreamCall);
}
errno_t failingOpen(int* descriptor, const wchar_t* path, int flags, int sharing, int mode) {
  if (!streamFails()) return systemOpen(descriptor, path, flags, sharing, mode);
  *descriptor = -1;
  return EACCES;
}
size_t failingWrite(const void* from, size_t size, size_t count, std::FILE* stream) {
  return streamFails() ? 0 : systemFwrite(from, size, count, stream);
}
int failingFlush(std::FILE* stream) { return streamFails() ? EOF : systemFflush(stream); }

TEST_F(FileFaults, TheLogLosesOnlyLinesThatCouldNotBeWritten) {
  const std::wstring path = folder_.at(L"logs\\korvel.log");
  Log& log = Log::instance();
  constexpr size_t kCalls = 7;  // one open, three lines with a write and a flush each
  for (const bool forEver : {false, true}) {
    for (size_t call = 1; call <= kCalls; ++call) {
      SCOPED_TRACE("call " + std::to_string(call) + (forEver ? ", for ever" : ", once"));
      log.open(folder_.path());  // closes it
      test::writeFile(path, "before\n");
      {
        streamCalls = 0;
        failingStreamCall = call;
        streamFailsForEver = forEver;
        const test::ImportPatch open("_wsopen_s", failingOpen);
        systemOpen = open.original<errno_t(int*, const wchar_t*, int, int, int)>();
        const test::ImportPatch write("fwrite", failingWrite);
        systemFwrite = write.original<size_t(const void*, size_t, size_t, std::FILE*)>();
        const test::ImportPatch flush("fflush", failingFlush);
        systemFflush = flush.original<int(std::FILE*)>();
        log.open(path);
        for (int line = 0; line < 3; ++line) log.write(kLogInfo, "line");
        EXPECT_GE(streamCalls, call) << "the call that was to fail was never made";
        ++faults_;
      }
      log.open(path);
      log.write(kLogInfo, "last");
      const std::string text = contentOf(path);
      EXPECT_TRUE(text.starts_with("before\n")) << text;
      EXPECT_TRUE(text.ends_with(" [INF] last\n")) << text;
      for (size_t at = 7; at < text.size(); at = text.find('\n', at) + 1) {
        const std::string line = text.substr(at, text.find('\n', at) - at);
        EXPECT_TRUE(line.size() == 23 && line.substr(12, 7) == " [INF] ") << line;
      }
    }
  }
  log.open(folder_.path());
}

}  // namespace
}  // namespace korvel
