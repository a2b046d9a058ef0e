// Puts the stand-in firewall in the place of the prefix's own for the time of one test.
#pragma once

#include <string>
#include <vector>

#include "base/win.h"
#include "fw/fake/fake_state.h"

namespace korvel::test::fwfake {

/// True under Wine. On a real Windows machine these tests would touch the real firewall's registration.
bool isWine();

/// Registers fwfake.dll, which must lie beside the running program, and puts back what was registered before.
class FakeFirewall {
 public:
  FakeFirewall();
  ~FakeFirewall();
  FakeFirewall(const FakeFirewall&) = delete;
  FakeFirewall& operator=(const FakeFirewall&) = delete;

  void set(const State& state);
  State state() const;
  /// The calls that fail from the next operation on, in place of those set before.
  void fail(const std::vector<Fault>& faults);

  /// Forgets the log so far.
  void clearLog();
  std::vector<std::string> log() const;
  /// Only the calls in the log, without the creation and end of objects and without COM's own queries.
  std::vector<std::string> calls() const;
  /// The number of objects created in the log and not yet ended; -1 when one was used after its end.
  int liveObjects() const;

 private:
  std::wstring path(const wchar_t* extension) const;

  HMODULE module_;
};

}  // namespace korvel::test::fwfake
