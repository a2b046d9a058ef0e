// A console as Windows gives it, which differs from what other platforms do: see the test of the leftover.
#include "service/console_finder.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace korvel::svc {
namespace {

HANDLE handle(intptr_t number) { return reinterpret_cast<HANDLE>(number); }

const HANDLE kRedirected = handle(0x10);
const HANDLE kLeftover = handle(0x20);
const HANDLE kConsole = handle(0x30);

/// The console side of Windows, as a program sees it that was started with the given standard output.
class FakeConsole {
 public:
  explicit FakeConsole(HANDLE output) : output_(output) {}

  ConsoleCalls calls() {
    return {.output = [this] { return output_; },
            .setOutput = [this](HANDLE output) { output_ = output; },
            .goesSomewhere = [this](HANDLE output) { return usable_.contains(output); },
            .attachToParent = [this] { return attach(); },
            .hasWindow = [this] { return hasWindow; },
            .allocate = [this] { events += "allocate "; }};
  }

  bool parentHasConsole = false;
  bool replacesOutput = true;  ///< whether the system puts the console in the place of the standard output
  bool hasWindow = false;
  std::string events;
  HANDLE output() const { return output_; }

 private:
  bool attach() {
    events += "attach ";
    if (!parentHasConsole) return false;
    usable_.insert(kConsole);
    if (replacesOutput) output_ = kConsole;
    return true;
  }

  HANDLE output_;
  std::set<HANDLE> usable_{kRedirected};
};

TEST(ConsoleFinder, LeavesARedirectedOutputAlone) {
  FakeConsole console(kRedirected);
  console.parentHasConsole = true;
  findConsole(console.calls());
  EXPECT_EQ(console.events, "");
  EXPECT_EQ(console.output(), kRedirected);
}

TEST(ConsoleFinder, JoinsTheConsoleOfItsParentBeforeItOpensOne) {
  for (const HANDLE none : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE}) {
    FakeConsole console(none);
    console.parentHasConsole = true;
    findConsole(console.calls());
    EXPECT_EQ(console.events, "attach ");
    EXPECT_EQ(console.output(), kConsole);
  }
}

TEST(ConsoleFinder, PutsALeftoverAsideThatTheSystemKeeps) {
  FakeConsole console(kLeftover);
  console.parentHasConsole = true;
  console.replacesOutput = false;
  findConsole(console.calls());
  EXPECT_EQ(console.events, "attach ");
  EXPECT_EQ(console.output(), nullptr);  // then the lines go to the console itself
}

TEST(ConsoleFinder, OpensAConsoleWhereTheParentHasNone) {
  for (const HANDLE none : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE}) {
    FakeConsole console(none);
    findConsole(console.calls());
    EXPECT_EQ(console.events, "attach allocate ");
  }
}

TEST(ConsoleFinder, OpensNoSecondConsole) {
  FakeConsole console(nullptr);
  console.hasWindow = true;
  findConsole(console.calls());
  EXPECT_EQ(console.events, "attach ");
}

TEST(ConsoleFinder, OpensNoConsoleInPlaceOfALeftover) {
  FakeConsole console(kLeftover);
  findConsole(console.calls());
  EXPECT_EQ(console.events, "attach ");
  EXPECT_EQ(console.output(), kLeftover);
}

}  // namespace
}  // namespace korvel::svc
