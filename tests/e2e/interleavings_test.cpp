// Orders of requests that nobody thought of, drawn from a seed: starts, cancels, reloads, looks and stops,
// one right behind the other or with pauses in between.
#include <chrono>
#include <cstdio>
#include <random>
#include <thread>

#include "base/utf.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

constexpr DWORD kStopLimitMs = 30'000;
constexpr int kHarmless = 60;
constexpr int kListed = 3;
constexpr uint32_t kLongestPauseMicroseconds = 3'000;
/// One order in so many ends with a stop, and verdicts are looked at once in so many.
constexpr uint32_t kStopOneIn = 30;
constexpr int kLookEvery = 100;

class Interleavings : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    for (int i = 0; i < kHarmless; ++i) folder().write(L"in\\h" + std::to_wstring(i) + L".exe", "harmless");
    for (int i = 0; i < kListed; ++i) folder().write(L"in\\l" + std::to_wstring(i) + L".com", eicarText());
  }

  uint32_t draw(uint32_t below) { return random_() % below; }

  Opcode drawRequest() {
    static constexpr Opcode kRequests[] = {
        Opcode::kStartScan,        Opcode::kStartScan,   Opcode::kStartScan,  Opcode::kCancelScan,
        Opcode::kCancelScan,       Opcode::kCancelScan,  Opcode::kGetResults, Opcode::kReloadSignatures,
        Opcode::kReloadSignatures, Opcode::kGetProgress, Opcode::kGetStatus,  Opcode::kSetConfig};
    return kRequests[draw(std::size(kRequests))];
  }

  std::string frameOf(Opcode request) const {
    std::string payload;
    if (request == Opcode::kStartScan)
      payload = ipc::encodeStartScan({ScanScope::kCustom, {folder().at(L"in")}});
    if (request == Opcode::kSetConfig) payload = ipc::encodeSettings(inForce_);
    return frame(static_cast<uint32_t>(request), payload);
  }

  /// Every request has its own reply. Only a start may be refused, when a scan runs.
  void expectReplyTo(Opcode request, const std::optional<Reply>& reply) {
    ASSERT_TRUE(reply.has_value()) << "no reply to " << static_cast<uint32_t>(request);
    if (reply->opcode != ipc::kErrorOpcode) {
      EXPECT_EQ(reply->opcode, static_cast<uint32_t>(request));
      if (request == Opcode::kStartScan) ++begun_;
      return;
    }
    EXPECT_EQ(request, Opcode::kStartScan);
    EXPECT_EQ(ipc::decodeText(reply->payload), "a scan is already running");
  }

  /// One order of requests over a connection of its own; true when it ended with a stop.
  bool runOne() {
    std::vector<Opcode> order(1 + draw(5));
    for (Opcode& request : order) request = drawRequest();
    const bool stops = draw(kStopOneIn) == 0;
    if (stops) order.push_back(Opcode::kStopService);
    const bool atOnce = draw(2) == 0;

    Client client;
    client.connect();
    std::string frames;
    for (const Opcode request : order) frames += frameOf(request);
    if (atOnce) {
      // A start behind the stop must not be answered, and nothing of it may happen.
      EXPECT_TRUE(client.send(stops ? frames + frameOf(Opcode::kStartScan) : frames));
    }
    for (const Opcode request : order) {
      if (!atOnce) {
        std::this_thread::sleep_for(std::chrono::microseconds(draw(kLongestPauseMicroseconds)));
        EXPECT_TRUE(client.send(frameOf(request)));
      }
      expectReplyTo(request, client.receive());
      if (HasFatalFailure()) return stops;
    }
    if (stops) {
      EXPECT_EQ(client.receive(), std::nullopt);
    }
    return stops;
  }

  void expectRightVerdicts() {
    waitForScanEnd();
    const ScanReport report = scan({folder().at(L"in")});
    ++begun_;
    EXPECT_EQ(report.lastSummary.filesScanned, static_cast<uint64_t>(kHarmless + kListed));
    EXPECT_EQ(results().size(), static_cast<size_t>(kListed));
  }

  std::mt19937 random_{static_cast<uint32_t>(amountFrom("KORVEL_SEED", 1))};
  SettingsFields inForce_;
  int begun_ = 0;  ///< scans
};

TEST_F(Interleavings, OfStartCancelReloadAndStopKeepEveryPromise) {
  const int rounds = amountFrom("KORVEL_INTERLEAVINGS", 60);
  int stops = 0;
  startService();
  inForce_ = settings();
  for (int i = 0; i < rounds; ++i) {
    SCOPED_TRACE("order " + std::to_string(i));
    if (i % kLookEvery == kLookEvery / 2) expectRightVerdicts();
    if (runOne()) {
      ASSERT_NO_FATAL_FAILURE(expectCleanEnd(kStopLimitMs));
      ++stops;
      startService();
    }
    if (HasFailure()) return;
  }
  expectRightVerdicts();
  stopService();
  EXPECT_LE(logMentions("scan finished: "), begun_);
  EXPECT_EQ(log().find("crash:"), std::string::npos);
  EXPECT_EQ(log().find("scan aborted"), std::string::npos);
  EXPECT_GT(begun_, rounds / 20);
  std::printf("%d scans, %d stops\n", begun_, stops);
  showFigure("seed " + std::to_string(amountFrom("KORVEL_SEED", 1)), static_cast<uint64_t>(rounds),
             "interleavings");
}

}  // namespace
}  // namespace korvel::test
