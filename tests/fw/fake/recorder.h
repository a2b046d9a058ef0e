// The memory of the stand-in firewall: its state, its faults, its log.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "base/win.h"
#include "fw/fake/fake_state.h"

namespace korvel::test::fwfake {

/// The path of this DLL.
std::wstring modulePath();

/// One thread at a time uses the stand-in, because the service changes the firewall on one thread only.
class Recorder {
 public:
  static Recorder& instance();

  /// Begins an operation: reads state and faults and counts every call from one again.
  void begin();
  /// Writes the state back.
  void save();
  /// Writes a call to the log. When this returns a value, the call must return it and do nothing else.
  std::optional<HRESULT> enter(const std::string& call, const std::string& arguments = {});
  void note(const std::string& line);

  State state;

 private:
  std::wstring besideModule(const wchar_t* extension) const;

  std::vector<Fault> faults_;
  std::map<std::string, uint32_t> counts_;
};

}  // namespace korvel::test::fwfake
