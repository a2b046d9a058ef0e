// Want of memory in the parts that touch files, threads and the pipe: each allocation fails in turn. What was
// asked for fails with an exception, nothing is left behind, and the next request is served.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "base/files.h"
#include "config/data_paths.h"
#include "config/settings_file.h"
#include "engine/detections.h"
#include "engine/engine_fixture.h"
#include "protocol/messages.h"
#include "protocol/wire.h"
#include "remedy/hosts_file.h"
#include "remedy/quarantine_store.h"
#include "runtime/log.h"
#include "scan/file_scanner.h"
#include "scan/scan_cache.h"
#include "scan/scan_file.h"
#include "server/pipe_fixture.h"
#include "server/pipe_server.h"
#include "service/engine_host.h"
#include "signatures/signature_database.h"
#include "support/allocation_meter.h"
#include "support/fault_sweep.h"
#include "support/fresh_stop_signal.h"
#include "support/pe_builder.h"

namespace korvel::svc {
namespace {

using ipc::Opcode;
using test::AllocationFault;
using Times = AllocationFault::Times;
using Threads = AllocationFault::Threads;

constexpr size_t kNoCall = SIZE_MAX;
constexpr Times kTimes[] = {Times::kOnce, Times::kForEver};

class MemoryFaults : public test::EngineTest {
 protected:
  static void TearDownTestSuite() {
    std::printf("allocation faults %zu findings %d\n", std::exchange(faults_, 0),
                testing::UnitTest::GetInstance()->current_test_suite()->failed_test_count());
  }

  /// Makes each allocation of `operation` fail in turn, on this thread. `prepare` runs before each time,
  /// `check` after it; neither lacks memory.
  static void starve(const std::function<void()>& prepare, const std::function<void()>& operation,
                     const std::function<void(bool failed)>& check, size_t few = 60) {
    prepare();
    operation();  // makes what is made once for all
    check(false);
    prepare();
    size_t calls = 0;
    {
      const AllocationFault none(kNoCall, Times::kOnce);
      operation();
      calls = none.calls();
    }
    check(false);
    for (const Times times : kTimes) {
      for (const size_t call : test::callsToFail(calls, few)) {
        SCOPED_TRACE("allocation " + std::to_string(call) +
                     (times == Times::kOnce ? ", once" : ", for ever"));
        prepare();
        bool failed = false;
        const size_t before = test::blocksInUse();
        {
          const AllocationFault fault(call, times);
          try {
            operation();
          } catch (const std::bad_alloc&) {
            failed = true;
          }
        }
        ++faults_;
        EXPECT_EQ(test::blocksInUse(), before);
        check(failed);
        if (HasFailure()) return;
      }
    }
  }

  inline static size_t faults_ = 0;
};

std::string textOf(const test::Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

void nothing() {}
void noCheck(bool) {}

TEST_F(MemoryFaults, ScanningAFileThrowsAndLeavesNothingBehind) {
  auto database = std::make_shared<SignatureDatabase>();
  ASSERT_TRUE(database->loadFile(seed_, nullptr));
  std::vector<std::string> names;
  for (int i = 0; i < 1'000; ++i) names.push_back("AFunctionWithALongName" + std::to_string(i));
  test::PeBuilder image;
  image.import("KERNEL32.dll", names);
  const std::wstring files[] = {
      folder_.write(L"empty.exe", ""),
      folder_.write(L"text.txt", "abc"),
      folder_.write(L"Downloads\\invoice.pdf.exe", "MZ" + std::string(100, 'x')),
      folder_.write(L"svchost.exe", textOf(image.build())),
      folder_.write(L"large.bin", std::string(9 << 20, 'x')),
      folder_.at(L"missing.exe"),
  };
  for (const std::wstring& file : files) {
    std::optional<FileVerdict> whole;
    std::optional<FileVerdict> verdict;
    starve([&] { verdict.reset(); },
           [&] {
             ScanScratch scratch;
             const FileVerdict result = scanFile({database, 1 << 30, 1 << 20, {}}, file, scratch);
             if (!whole) whole = result;
             if (result.findings.size() != whole->findings.size() || result.severity != whole->severity ||
                 result.sha256 != whole->sha256) {
               ADD_FAILURE() << "a verdict that want of memory has changed";
             }
           },
           noCheck);
  }
}

TEST_F(MemoryFaults, AScanThrowsOrIsWhole) {
  for (int i = 0; i < 10; ++i) folder_.write(L"in\\a" + std::to_wstring(i) + L".exe", "abc");
  auto database = std::make_shared<SignatureDatabase>();
  ASSERT_TRUE(database->loadFile(seed_, nullptr));
  const std::vector<ScanTarget> targets{{folder_.at(L"in"), true}};
  for (const size_t workers : {0, 2}) {
    ScanOptions options;
    options.workers = workers;
    uint64_t scanned = 0;
    starve([&] { scanned = 10; },
           [&] {
             FileScanner scanner(database, options);
             (void)scanner.measure(targets);
             scanned = scanner.scan(targets, {}, {}).filesScanned;
           },
           [&](bool) { EXPECT_EQ(scanned, 10u); });
  }
}

TEST_F(MemoryFaults, LoadersThrowAndKeepWhatTheyHad) {
  std::string text = "KORVELDB/1\nVERSION v\n";
  for (int i = 0; i < 300; ++i) {
    const std::string number = std::to_string(1'000 + i);
    text += std::string(60, 'b') + number + ":tag:A family of its own " + number +
            ":high:A threat of its own " + number + ":ref\n" + std::string(28, 'c') + number + "\n";
  }
  const std::wstring signatures = folder_.write(L"big.txt", text);
  starve(
      nothing,
      [&] {
        SignatureDatabase database;
        if (!database.loadFile(seed_, nullptr)) throw std::bad_alloc();
        try {
          std::string error;
          (void)database.loadFile(signatures, &error);
        } catch (...) {
          if (database.info().entryCount != 1) ADD_FAILURE() << "half a file is in force";
          throw;
        }
      },
      noCheck);

  const std::wstring settings = folder_.at(L"settings.ini");
  Settings stored;
  stored.updateServer = "http://127.0.0.1/a/long/address/of/a/server";
  ASSERT_TRUE(writeSettingsFile(stored, settings));
  starve(
      nothing,
      [&] {
        Settings read;
        (void)readSettingsFile(read, settings);
      },
      noCheck);

  const std::wstring cachePath = folder_.at(L"cache");
  ScanCache cache;
  for (int i = 0; i < 300; ++i) cache.record(L"C:\\a file with a long name " + std::to_wstring(i), {1, 2, 3});
  ASSERT_TRUE(cache.save(cachePath));
  starve(
      nothing, [&] { (void)ScanCache().load(cachePath); }, noCheck);
  starve(
      nothing,
      [&] {
        cache.record(L"C:\\a file with a long name 7", {1, 2, 3});
      },
      [&](bool) { EXPECT_EQ(cache.size(), 300u); });
}

TEST_F(MemoryFaults, WritersLeaveTheOldOrTheNewFileAndNoTemporary) {
  const std::wstring path = folder_.at(L"settings.ini");
  Settings before;
  Settings after;
  after.updateServer = "http://127.0.0.1/a/long/address/of/a/server";
  ASSERT_TRUE(writeSettingsFile(before, path));
  const std::string oldText = test::readFile(path);
  ASSERT_TRUE(writeSettingsFile(after, path));
  const std::string newText = test::readFile(path);
  starve([&] { test::writeFile(path, oldText); }, [&] { (void)writeSettingsFile(after, path); },
         [&](bool failed) {
           EXPECT_EQ(test::readFile(path), failed ? oldText : newText);
           EXPECT_FALSE(pathExists(path + L".tmp"));
         });

  const std::wstring hosts = folder_.at(L"hosts");
  const std::string lines = "127.0.0.1 localhost\r\n# mine\r\n";
  test::writeFile(hosts, lines);
  ASSERT_TRUE(applyBlocklistTo(hosts, {"one.example.org", "two.example.org"}, nullptr));
  const std::string blocked = test::readFile(hosts);
  starve([&] { test::writeFile(hosts, lines); },
         [&] {
           (void)applyBlocklistTo(hosts, {"one.example.org", "two.example.org"}, nullptr);
         },
         [&](bool failed) {
           EXPECT_EQ(test::readFile(hosts), failed ? lines : blocked);
           EXPECT_FALSE(pathExists(hosts + L".korvel.tmp"));
         });
}

TEST_F(MemoryFaults, TheQuarantineLosesNoFile) {
  const std::wstring dir = folder_.at(L"quarantine");
  const std::wstring file = folder_.at(L"a file with a name that is long.exe");
  const std::string content = "the only copy";
  QuarantineStore store(pathStatus, {});
  const auto fresh = [&] {
    test::removeTree(dir);
    ASSERT_TRUE(store.ensureStore(dir, nullptr));
    test::writeFile(file, content);
  };
  const auto add = [&] {
    return store.addFile(dir, file, std::string(64, 'a'), "A threat with a long name", "A.CODE",
                         kSeverityHigh, nullptr, nullptr);
  };
  const auto listed = [&] { return store.listRecords(dir); };
  starve(
      fresh, [&] { (void)add(); },
      [&](bool failed) {
        EXPECT_EQ(pathExists(file), failed) << "a failed request leaves the file where it was";
        EXPECT_EQ(listed().size(), failed ? 0u : 1u);
        if (failed) {
          EXPECT_EQ(test::readFile(file), content);
        } else {
          EXPECT_EQ(test::readFile(listed().at(0).storedPath), content);
        }
      });
  uint64_t id = 0;
  const auto stored = [&] {
    fresh();
    ASSERT_TRUE(add());
    id = listed().at(0).id;
  };
  starve(
      stored, [&] { (void)store.restoreRecord(dir, id, nullptr); },
      [&](bool) {
        const bool back = pathExists(file);
        EXPECT_EQ(test::readFile(back ? file : listed().at(0).storedPath), content);
      });
  starve(
      stored, [&] { (void)store.deleteRecord(dir, id, nullptr); },
      [&](bool failed) {
        if (!failed) {
          EXPECT_TRUE(listed().empty());
        }
      });
  starve(
      stored, [&] { (void)store.listRecords(dir); }, [&](bool) { EXPECT_EQ(listed().size(), 1u); });
}

TEST_F(MemoryFaults, EventsThatAClientCouldNotTakeStayPending) {
  Detections detections;
  for (const char* name : {"first", "second"}) {
    ThreatEvent event;
    event.name = name;
    detections.add(event);
  }
  std::vector<ThreatEvent> taken = detections.take();
  {
    const AllocationFault nothingLeft(1, Times::kForEver);
    detections.putBack(std::move(taken), 0);
  }
  const std::vector<ThreatEvent> left = detections.take();
  ASSERT_EQ(left.size(), 2u);
  EXPECT_EQ(left[0].name, "first");
}

TEST_F(MemoryFaults, TheLogNeedsNoMemory) {
  Log::instance().open(folder_.at(L"korvel.log"));
  {
    const AllocationFault nothingLeft(1, Times::kForEver);
    serviceLog("an event in the life of the service");
    Log::instance().write(kLogError, "a line that is longer than a short string");
    EXPECT_FALSE(nothingLeft.reached());
  }
  const std::string text = test::readFile(folder_.at(L"korvel.log"));
  EXPECT_NE(text.find("[INF] KORVEL Antivirus: an event in the life of the service\n"), std::string::npos);
  EXPECT_TRUE(text.ends_with("[ERR] a line that is longer than a short string\n"));
}

/// The whole service but for its service manager: an engine, and the pipe server on a thread.
class StarvedService : public MemoryFaults {
 protected:
  void SetUp() override {
    MemoryFaults::SetUp();
    folder_.write(L"in\\listed.exe", "abc");
    settings_.updateServer = "http://127.0.0.1:1";  // nobody is there
    startWorker();
    server_ = std::thread([this] { ipc::runPipeServer(*worker_); });
  }
  void TearDown() override {
    StopSignal::process().requestStop();
    server_.join();
    MemoryFaults::TearDown();
  }

  /// Sends one request and reads the reply; nothing when the server hangs up.
  static std::optional<test::ReceivedFrame> ask(uint32_t opcode, const std::string& payload) {
    const UniqueHandle pipe = test::openPipe();
    test::send(pipe.get(), test::frame(opcode, payload));
    try {
      return test::receiveFrame(pipe.get());
    } catch (const std::runtime_error&) {
      return {};
    }
  }
  static bool pings() {
    const auto reply = ask(static_cast<uint32_t>(Opcode::kPing), "");
    return reply && reply->opcode == static_cast<uint32_t>(Opcode::kPing);
  }
  bool idle() const {
    const EngineStatus status = worker_->getStatus();
    return !status.scanRunning && !status.updateCheckRunning && !status.liveUpdateRunning;
  }

  static DWORD handlesInUse() {
    DWORD count = 0;
    EXPECT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &count));
    return count;
  }

  /// Makes each allocation that the service makes for a request fail in turn, in whatever thread.
  void starveRequest(uint32_t opcode, const std::string& payload, size_t few) {
    (void)ask(opcode, payload);
    ASSERT_TRUE(test::eventually([&] { return idle(); }));
    size_t calls = 0;
    {
      const AllocationFault none(kNoCall, Times::kOnce, Threads::kOthers);
      (void)ask(opcode, payload);
      EXPECT_TRUE(test::eventually([&] { return idle(); }));
      calls = none.calls();
    }
    ASSERT_TRUE(pings());
    const DWORD handles = handlesInUse();
    const size_t blocks = test::blocksInUse();
    for (const Times times : kTimes) {
      for (const size_t call : test::callsToFail(calls, few)) {
        SCOPED_TRACE("request " + std::to_string(opcode) + ", allocation " + std::to_string(call));
        {
          const AllocationFault fault(call, times, Threads::kOthers);
          (void)ask(opcode, payload);
          ASSERT_TRUE(test::eventually([&] { return idle(); }));
        }
        ++faults_;
        ASSERT_TRUE(pings());
      }
    }
    // A few come and go with the texts and results that the engine keeps; one more each time would show.
    EXPECT_LE(handlesInUse(), handles + 4) << "request " << opcode;
    EXPECT_LE(test::blocksInUse(), blocks + 8) << "request " << opcode;
  }

  test::FreshStopSignal stop_;
  std::thread server_;
};

TEST_F(StarvedService, AnswersThePingAfterARequestThatLacksMemory) {
  ipc::ThreatDecisionRequest decision;
  decision.threat.path = folder_.at(L"missing.exe");
  decision.action = 1;
  const auto of = [](Opcode opcode) { return static_cast<uint32_t>(opcode); };
  const struct {
    Opcode opcode;
    std::string payload;
  } requests[] = {
      {Opcode::kGetStatus, ""},
      {Opcode::kPing, ""},
      {Opcode::kStartScan, ipc::encodeStartScan({ScanScope::kCustom, {folder_.at(L"in")}})},
      {Opcode::kGetProgress, ""},
      {Opcode::kCancelScan, ""},
      {Opcode::kGetResults, ""},
      {Opcode::kThreatDecision, ipc::encodeThreatDecision(decision)},
      {Opcode::kListQuarantine, ""},
      {Opcode::kDeleteQuarantined, ipc::encodeQuarantineId(1)},
      {Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(1)},
      {Opcode::kGetConfig, ""},
      {Opcode::kReloadSignatures, ""},
      {Opcode::kStartLiveUpdate, ""},
      {Opcode::kStartUpdateCheck, ""},
      {Opcode::kFirewallStatus, ""},
      {Opcode::kFirewallSetProfile, ipc::encodeText("public,1")},
      {Opcode::kFirewallBlockInbound, ipc::encodeText("1")},
      {Opcode::kFirewallAddRule, ipc::encodeText("block|in|C:\\a.exe")},
      {Opcode::kFirewallRemoveRules, ""},
      {Opcode::kSetConfig,
       ipc::encodeSettings(worker_->getSettings())},  // last: it empties the server's address
  };
  for (const auto& request : requests) starveRequest(of(request.opcode), request.payload, 5);
  starveRequest(999, "", 5);
}

TEST_F(MemoryFaults, AStartThatLacksMemoryFailsAndLeavesNoThread) {
  settings_.scheduledScan = settings_.realTimeEnabled = settings_.webShield = true;
  settings_.updateServer = "http://127.0.0.1:1";
  writeSettingsFile(settings_, settingsPath());
  const auto startAndStop = [](size_t call, Times times, size_t* calls) {
    test::FreshStopSignal fresh;
    EngineHost<ScanWorker, StopSignal> host(StopSignal::process());
    const AllocationFault fault(call, times, Threads::kAll);
    std::string error;
    const bool started = host.start(&error);
    host.stop();
    if (calls != nullptr) *calls = fault.calls();
    return started;
  };
  size_t calls = 0;
  ASSERT_TRUE(startAndStop(kNoCall, Times::kOnce, nullptr));
  ASSERT_TRUE(startAndStop(kNoCall, Times::kOnce, &calls));
  for (const Times times : kTimes) {
    for (const size_t call : test::callsToFail(calls, 60)) {
      SCOPED_TRACE("allocation " + std::to_string(call));
      const size_t before = test::blocksInUse();
      (void)startAndStop(call, times, nullptr);
      ++faults_;
      EXPECT_EQ(test::blocksInUse(), before);
    }
  }
  EXPECT_TRUE(startAndStop(kNoCall, Times::kOnce, nullptr));
}

}  // namespace
}  // namespace korvel::svc
