// Threads that cannot be made: what asked for one is refused, nothing stays busy, and the engine ends in
// order.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>

#include "engine/engine_fixture.h"
#include "support/import_patch.h"

namespace korvel::svc {
namespace {

/// How many threads may still be made; the ones after them fail.
std::atomic<int> threadsLeft{0};
decltype(&_beginthreadex) systemsBeginThread = nullptr;

uintptr_t beginThreadWhileThereAreAny(void* security, unsigned stackBytes,
                                      unsigned(__stdcall* function)(void*), void* argument, unsigned flags,
                                      unsigned* id) {
  if (threadsLeft-- > 0) return systemsBeginThread(security, stackBytes, function, argument, flags, id);
  errno = EAGAIN;
  return 0;
}

/// While it lives, only `count` more threads can be made.
class FewThreads {
 public:
  explicit FewThreads(int count) : patch_("_beginthreadex", beginThreadWhileThereAreAny) {
    systemsBeginThread = patch_.original<std::remove_pointer_t<decltype(systemsBeginThread)>>();
    threadsLeft = count;
  }
  void allow() { threadsLeft = 1'000; }

 private:
  test::ImportPatch patch_;
};

class ThreadFaults : public test::EngineTest {
 protected:
  static bool idle(const ScanWorker& worker) {
    const EngineStatus status = worker.getStatus();
    return !status.scanRunning && !status.updateCheckRunning && !status.liveUpdateRunning;
  }
};

TEST_F(ThreadFaults, AScanWhoseThreadCannotBeMadeIsRefusedAndTheNextOneRuns) {
  folder_.write(L"a.exe", "a");
  ScanWorker& worker = startWorker();
  std::string error;
  {
    const FewThreads none(0);
    EXPECT_THROW(worker.startScan(ScanScope::kCustom, {folder_.path()}, &error), std::system_error);
  }
  EXPECT_FALSE(worker.getStatus().scanRunning);
  ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, &error)) << error;
  EXPECT_TRUE(test::eventually([&] { return !worker.getStatus().scanRunning; }));
  EXPECT_EQ(worker.getLastSummary().filesScanned, 1u);
}

TEST_F(ThreadFaults, AScanWhoseWorkersCannotBeMadeScansOnItsOwnThread) {
  for (int i = 0; i < 20; ++i) folder_.write(L"a" + std::to_wstring(i) + L".exe", "a");
  ScanWorker& worker = startWorker();
  for (int threads = 1; threads < 4; ++threads) {
    const FewThreads few(threads);
    std::string error;
    ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, &error)) << error;
    EXPECT_TRUE(test::eventually([&] { return !worker.getStatus().scanRunning; }));
    EXPECT_EQ(worker.getLastSummary().filesScanned, 20u) << threads;
  }
}

TEST_F(ThreadFaults, AJobWhoseThreadCannotBeMadeIsRefusedAndTheNextOneRuns) {
  ScanWorker& worker = startWorker();
  std::string error;
  {
    const FewThreads none(0);
    EXPECT_THROW(worker.startUpdateCheck(&error), std::system_error);
    EXPECT_THROW(worker.startLiveUpdate(&error), std::system_error);
  }
  EXPECT_TRUE(idle(worker));
  EXPECT_TRUE(worker.startUpdateCheck(&error)) << error;
  EXPECT_TRUE(test::eventually([&] { return idle(worker); }));
  EXPECT_EQ(worker.getStatus().updateCheckError,
            "не задан сервер обновлений (строка UpdateServer в settings.ini)");
}

TEST_F(ThreadFaults, AnEngineOfWhichOnlySomeThreadsCouldBeMadeEndsInOrder) {
  settings_.scheduledScan = settings_.realTimeEnabled = settings_.liveUpdates = settings_.webShield = true;
  settings_.scheduledHour = 25;  // no hour of the day
  for (int threads = 0; threads < 4; ++threads) {
    FewThreads few(threads);
    ScanWorker worker;
    std::string error;
    ASSERT_TRUE(worker.init(&error)) << error;
    EXPECT_THROW(worker.start(&error), std::system_error) << threads;
  }
}

}  // namespace
}  // namespace korvel::svc
