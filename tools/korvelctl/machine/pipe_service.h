// The service behind its control pipe. Not thread-safe.
#pragma once

#include <string>

#include "client/service_connection.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/service.h"
#include "korvelctl/machine/trace_file.h"

namespace korvel::ctl {

class PipeService : public Service {
 public:
  /// `err`, which must outlive the object, gets a line while somebody waits on a terminal.
  PipeService(const GlobalOptions& global, Output& err);

  std::string ask(ipc::Opcode opcode, const std::string& request = {}) override;
  ipc::Frame exchange(const ipc::Frame& request) override;
  void letGo() override;
  void breathe() override;
  void setPatience(uint64_t seconds) override { global_.timeoutSeconds = seconds; }
  Language language() const override { return global_.language; }

 private:
  void connect();
  void openTrace();
  [[noreturn]] void cannotConnect(ipc::ExchangeResult result, DWORD code) const;

  GlobalOptions global_;
  const std::wstring pipeName_;
  Output& err_;
  ipc::ServiceConnection connection_;
  TraceFile trace_;
  bool traceOpened_ = false;
  ULONGLONG heldSinceMs_ = 0;
};

}  // namespace korvel::ctl
