// A dispatcher serving one client on a thread of its own, before a stand-in for the engine.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "protocol/messages.h"
#include "protocol/wire.h"
#include "server/pipe_fixture.h"
#include "server/request_dispatcher.h"
#include "server/scripted_engine.h"

namespace korvel::test {

class Session : public testing::Test {
 protected:
  Session() {
    server_ = std::thread([this] { repliesWereWhole_ = ipc::handleClient(pipe_.server(), engine_); });
  }
  ~Session() override { end(); }

  /// Hangs up and waits for the dispatcher's return.
  void end() {
    pipe_.closeClient();
    join();
  }
  void join() {
    if (server_.joinable()) server_.join();
  }

  ReceivedFrame ask(uint32_t opcode, const std::string& payload = {}) {
    send(pipe_.client(), frame(opcode, payload));
    return receiveFrame(pipe_.client());
  }
  ReceivedFrame ask(ipc::Opcode opcode, const std::string& payload = {}) {
    return ask(static_cast<uint32_t>(opcode), payload);
  }
  /// The reply of an operation that succeeds without a payload.
  static ReceivedFrame done(ipc::Opcode opcode) { return {static_cast<uint32_t>(opcode), ""}; }
  static ReceivedFrame error(const std::string& message) { return {0xFFFFFFFF, text(message)}; }

  LogCapture log_;
  FreshStopSignal stopSignal_;
  ScriptedEngine engine_;
  ConnectedPipe pipe_;
  bool repliesWereWhole_ = false;  // once the dispatcher has returned
  std::thread server_;
};

/// Session tests read as `EXPECT_EQ(ask(...), error("..."))`.
inline void PrintTo(const ReceivedFrame& frame, std::ostream* out) {
  *out << "opcode " << frame.opcode << ", " << testing::PrintToString(frame.payload);
}

}  // namespace korvel::test
