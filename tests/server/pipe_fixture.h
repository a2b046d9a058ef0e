// Both ends of the control pipe, the log and the console, for tests under Windows.
#pragma once

#include <string>
#include <vector>

#include "base/unique_resource.h"
#include "support/fresh_stop_signal.h"
#include "support/temp_folder.h"

namespace korvel::test {

/// Opens the service pipe, waiting until there is a free instance. Throws when there is none for a minute.
UniqueHandle openPipe();
/// One try to open the service pipe; the last error is the reason for an empty handle.
UniqueHandle tryOpenPipe();

/// Plain transfers of the client's end. Throw on failure.
void send(HANDLE pipe, const std::string& bytes);
std::string receive(HANDLE pipe, size_t bytes);
/// Header and payload of the next frame.
struct ReceivedFrame {
  uint32_t opcode = 0;
  std::string payload;
  bool operator==(const ReceivedFrame&) const = default;
};
ReceivedFrame receiveFrame(HANDLE pipe);
/// Reads and drops what comes until the other end hangs up.
void drain(HANDLE pipe);

/// One instance of the service pipe, its client connected, and a stop event of its own.
class ConnectedPipe {
 public:
  ConnectedPipe();

  HANDLE server() const { return server_.get(); }
  HANDLE client() const { return client_.get(); }
  HANDLE stopEvent() const { return stopEvent_.get(); }
  /// Raw bytes from the service's end.
  void serverSends(const std::string& bytes) const;
  void stop() { ::SetEvent(stopEvent_.get()); }
  void closeClient() { client_.reset(); }
  void closeServer() { server_.reset(); }

 private:
  UniqueHandle server_;
  UniqueHandle client_;
  UniqueHandle stopEvent_;
};

/// Sends the log to a file of its own while it lives.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// The lines so far, without their times: "[INF] KORVEL Antivirus: client connected".
  std::vector<std::string> lines() const;

 private:
  TempFolder folder_;
};

/// Redirects the standard output of console lines to a file while it lives.
class ConsoleCapture {
 public:
  ConsoleCapture();
  ~ConsoleCapture();
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  /// The lines so far, UTF-8, without CR LF.
  std::vector<std::string> lines() const;

 private:
  TempFolder folder_;
  std::wstring path_;
  UniqueHandle file_;
  HANDLE before_;
};

}  // namespace korvel::test
