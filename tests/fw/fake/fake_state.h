// The files through which a test and the stand-in firewall talk. They lie beside fwfake.dll, are UTF-8 and
// have one entry per line, its fields split by tabs:
//
//   fwfake.state   profiles and rules. Read when an operation begins (a policy object is created), written
//                  back after each change, so that it holds the outcome.
//     profile  TYPE  ENABLED
//     rule  ENABLED  ACTION  DIRECTION  PROTOCOL  PROFILES  NAME  APPLICATION  DESCRIPTION
//     quiet   no calls are logged, for tests of the time that an operation takes
//     bstr | empty | unknown | null | foreign     elements of the enumeration that are not rules
//   fwfake.faults  calls that fail, read when an operation begins.
//     CALL  N  HRESULT      the Nth such call of the operation ("*": each) does nothing and returns the
//                           hexadecimal HRESULT; a success code then means success without a result
//   fwfake.log     one appended line per call: "rule.put_Action(0)", followed by " = 80070005" when the call
//                  was made to fail; and "+rule"/"-rule" whenever an object is created or ends.
//
// In texts \t, \n, \r and \\ are escapes; a text of only the two characters \0 is a null BSTR.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::test::fwfake {

struct Element {
  enum class Kind { kRule, kBstr, kEmpty, kUnknown, kNullDispatch, kForeignDispatch };
  using Text = std::optional<std::wstring>;  // nullopt: a null BSTR

  Kind kind = Kind::kRule;
  int32_t enabled = -1;  // VARIANT_TRUE
  int32_t action = 0;
  int32_t direction = 1;
  int32_t protocol = 256;
  int32_t profiles = 7;
  Text name;
  Text application;
  Text description;
};

struct State {
  std::map<int32_t, int32_t> profiles;  // NET_FW_PROFILE_TYPE2 to VARIANT_BOOL
  std::vector<Element> elements;
  bool quiet = false;
};

struct Fault {
  std::string call;
  uint32_t nth = 0;  // from 1; 0 for each
  uint32_t result = 0;
};

std::string stateText(const State& state);
State parseState(std::string_view text);
std::string faultsText(const std::vector<Fault>& faults);
std::vector<Fault> parseFaults(std::string_view text);

}  // namespace korvel::test::fwfake
