// The files of the stand-in firewall are read and written by two programs; both must mean the same.
#include <gtest/gtest.h>

#include <stdexcept>

#include "fw/fake/fake_state.h"

namespace korvel::test::fwfake {
namespace {

TEST(FakeFirewallState, SurvivesWritingAndReading) {
  State state;
  state.profiles = {{1, -1}, {4, 0}};
  Element rule;
  rule.enabled = 0;
  rule.action = 1;
  rule.direction = 2;
  rule.protocol = 6;
  rule.profiles = 4;
  rule.name = L"a\tb\r\nв\\n";
  rule.application = L"C:\\0";
  state.elements = {rule, Element{}};
  for (const auto kind : {Element::Kind::kBstr, Element::Kind::kEmpty, Element::Kind::kUnknown,
                          Element::Kind::kNullDispatch, Element::Kind::kForeignDispatch}) {
    state.elements.push_back({});
    state.elements.back().kind = kind;
  }
  const State read = parseState(stateText(state));
  EXPECT_EQ(read.profiles, state.profiles);
  ASSERT_EQ(read.elements.size(), 7u);
  EXPECT_EQ(read.elements[0].enabled, 0);
  EXPECT_EQ(read.elements[0].action, 1);
  EXPECT_EQ(read.elements[0].direction, 2);
  EXPECT_EQ(read.elements[0].protocol, 6);
  EXPECT_EQ(read.elements[0].profiles, 4);
  EXPECT_EQ(read.elements[0].name, rule.name);
  EXPECT_EQ(read.elements[0].application, rule.application);
  EXPECT_EQ(read.elements[0].description, std::nullopt);
  EXPECT_EQ(read.elements[1].name, std::nullopt);
  for (size_t i = 2; i < 7; ++i) EXPECT_EQ(read.elements[i].kind, state.elements[i].kind) << i;
}

TEST(FakeFirewallState, RefusesAMistypedLine) {
  EXPECT_THROW(parseState("rulle\n"), std::runtime_error);
  EXPECT_THROW(parseState("rule\t1\n"), std::runtime_error);
  EXPECT_THROW(parseFaults("policy.get_Rules\n"), std::runtime_error);
}

TEST(FakeFirewallFaults, SurviveWritingAndReading) {
  const std::vector<Fault> faults = parseFaults(faultsText({{"a.b", 3, 0x80070005}, {"c", 0, 0}}));
  ASSERT_EQ(faults.size(), 2u);
  EXPECT_EQ(faults[0].call, "a.b");
  EXPECT_EQ(faults[0].nth, 3u);
  EXPECT_EQ(faults[0].result, 0x80070005u);
  EXPECT_EQ(faults[1].nth, 0u);
  EXPECT_EQ(faults[1].result, 0u);
}

}  // namespace
}  // namespace korvel::test::fwfake
