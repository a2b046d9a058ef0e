// KorvelService.exe as it is installed in the benchmarks' own Wine prefix, run in the foreground with
// settings that keep it off the network. Needs a machine on which nothing is of value: it replaces the
// settings and the live signatures. Windows only.
#pragma once

#include <string>

#include "e2e/child_process.h"
#include "e2e/client.h"

namespace korvel::bench {

/// Settings of the next start; `liveSignatures` is a file to put in the place of the live database, or empty.
void prepareService(const std::wstring& liveSignatures);

class RunningService {
 public:
  /// Returns as soon as the first ping is answered.
  RunningService();
  /// Asks for the stop and waits for the end.
  ~RunningService();
  RunningService(const RunningService&) = delete;
  RunningService& operator=(const RunningService&) = delete;

  test::Client& client() { return client_; }

 private:
  test::ChildProcess process_;
  test::Client client_;
};

}  // namespace korvel::bench
