// The files through which a test and the stand-in firewall talk. They lie beside fwfake.dll, are UTF-8 and
// have one entry a line, its fields split by tabs:
//
//   fwfake.state   profiles and rules. Read when an operation begins (a policy object is created), written
//                  back after each change, so that it holds the outcome.
//     profile  TYPE  ENABLED
//     rule  ENABLED  ACTION  DIRECTION  PROTOCOL  PROFILES  NAME  APPLICATION  DESCRIPTION
//     bstr | empty | unknown | null | foreign     elements of the enumeration that are no rules
//   fwfake.faults  calls that fail, read when an operation begins.
//     CALL  N  HRESULT      the Nth such call of the operation ("*": each) returns the hexadecimal HRESULT
//     and
//                           does nothing; a success code then means success without a result
//   fwfake.log     one line a call, appended: "rule.put_Action(0)", " = 80070005" after it when it was made
//   to
//                  fail, and "+rule"/"-rule" whenever an object comes into being or goes.
//
// In texts \t, \n, \r and \\ stand for themselves escaped; the two characters \0 alone are a null BSTR.
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
