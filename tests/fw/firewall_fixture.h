// What the tests against the stand-in firewall share.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fw/fake/fake_firewall.h"

namespace korvel::test {

constexpr uint32_t kDenied = 0x80070005;
constexpr uint32_t kServiceDown = 0x800706D9;
constexpr uint32_t kFails = 0x80004005;
constexpr uint32_t kSuccessWithoutResult = 0;
constexpr char kDeniedText[] = "требуются права администратора (код 0x80070005)";
constexpr char kServiceDownText[] = "код 0x800706D9";

fwfake::Element ruleNamed(const std::wstring& name, const std::wstring& application = L"C:\\Tools\\x.exe");
fwfake::Element elementOf(fwfake::Element::Kind kind);

class FirewallTest : public testing::Test {
 protected:
  void SetUp() override;

  /// All three profiles on, and these elements.
  void given(std::vector<fwfake::Element> elements);
  void givenState(const fwfake::State& state);
  /// Names of the rules that are there now, in order.
  std::vector<std::string> ruleNames() const;
  /// The log's calls to functions whose name holds `part`.
  std::vector<std::string> callsTo(const std::string& part) const;
  size_t countCalls(const std::string& part) const { return callsTo(part).size(); }

  /// Runs the operation once and checks that no object, no text and no block of memory is left over.
  void runWithoutLeftovers(const std::function<void()>& operation);
  /// Runs the operation with each of its allocations failing in turn, and `check` after each.
  void runWithEachAllocationFailing(const std::function<void()>& operation,
                                    const std::function<void()>& check);

  struct Call {
    std::string name;
    uint32_t nth;
  };
  /// The calls that the operation makes, each with its number among those of its name.
  std::vector<Call> callsOf(const std::function<void()>& operation);

  std::optional<fwfake::FakeFirewall> fake_;
  fwfake::State given_;
};

}  // namespace korvel::test
