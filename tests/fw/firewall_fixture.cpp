#include "fw/firewall_fixture.h"

#include <map>

#include "base/utf.h"
#include "fw/memory_watch.h"

namespace korvel::test {

using fwfake::Element;

Element ruleNamed(const std::wstring& name, const std::wstring& application) {
  Element rule;
  rule.name = name;
  rule.application = application;
  return rule;
}

Element elementOf(Element::Kind kind) {
  Element element;
  element.kind = kind;
  return element;
}

void FirewallTest::SetUp() {
  if (!fwfake::isWine()) GTEST_SKIP() << "would replace the firewall classes of this machine";
  fake_.emplace();
  given({});
}

void FirewallTest::given(std::vector<Element> elements) {
  fwfake::State state;
  state.profiles = {{1, -1}, {2, -1}, {4, -1}};
  state.elements = std::move(elements);
  givenState(state);
}

void FirewallTest::givenState(const fwfake::State& state) {
  given_ = state;
  fake_->set(given_);
}

std::vector<std::string> FirewallTest::ruleNames() const {
  std::vector<std::string> names;
  for (const Element& element : fake_->state().elements) names.push_back(toUtf8(element.name.value_or(L"")));
  return names;
}

std::vector<std::string> FirewallTest::callsTo(const std::string& part) const {
  std::vector<std::string> found;
  for (const std::string& call : fake_->calls()) {
    if (call.substr(0, call.find('(')).find(part) != std::string::npos) found.push_back(call);
  }
  return found;
}

void FirewallTest::runWithoutLeftovers(const std::function<void()>& operation) {
  fake_->clearLog();
  const long textsBefore = taskMemoryBlocks();
  const size_t blocksBefore = heapBlocks();
  operation();
  EXPECT_EQ(heapBlocks(), blocksBefore) << "memory left over";
  EXPECT_EQ(taskMemoryBlocks(), textsBefore) << "texts left over";
  EXPECT_GE(textsBefore, 0) << "nobody counts the texts";
  EXPECT_EQ(fake_->liveObjects(), 0) << "objects left over";
}

void FirewallTest::runWithEachAllocationFailing(const std::function<void()>& operation,
                                                const std::function<void()>& check) {
  operation();  // once for everything that is made once per process
  for (size_t nth = 1; nth < 10000; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    fake_->set(given_);
    bool happened = false;
    runWithoutLeftovers([&] {
      const FailingAllocation failing(nth);
      operation();
      happened = failing.happened();
    });
    if (!happened) return;
    check();
  }
  FAIL() << "the operation never got through";
}

std::vector<FirewallTest::Call> FirewallTest::callsOf(const std::function<void()>& operation) {
  fake_->set(given_);
  fake_->fail({});
  fake_->clearLog();
  operation();
  std::vector<Call> calls;
  std::map<std::string, uint32_t> counts;
  for (const std::string& line : fake_->log()) {
    const std::string name = line.substr(0, line.find('('));
    const bool life = line[0] == '+' || line[0] == '-' || line[0] == '!';
    if (!life && name.rfind("factory.", 0) != 0) calls.push_back({name, ++counts[name]});
  }
  return calls;
}

}  // namespace korvel::test
