// What every benchmark shares: measuring loops against their control loops in the same process, and printing
// the ratios in one form.
//
// Times on a busy machine vary by more than the differences that matter, so a loop and its control run in
// turns and the best round of each counts. Absolute times mean nothing on another machine; their ratio
// does.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace korvel::bench {

/// Seconds since an arbitrary moment, for work that waits or runs on several threads.
double wallSeconds();
/// Seconds for work on one thread: natively the processor time of this process, so that other load does not
/// count; under Wine the wall clock, since there the server's work for us counts too. Under Wine, pin program
/// and server to one core.
double workSeconds();

/// Runs once and returns what the run cost, in seconds.
using Loop = std::function<double()>;
Loop timed(std::function<void()> body, double (*clock)() = workSeconds);

/// The best of `rounds` runs of each loop, taken in turns.
std::vector<double> bestOf(int rounds, const std::vector<Loop>& loops);

/// Prints the figures of one area, one per line: "figure AREA | NAME | VALUE | BAR | yes or no".
class Figures {
 public:
  explicit Figures(std::string area);

  void atLeast(const std::string& name, double value, double bar, const std::string& unit = "") const;
  void atMost(const std::string& name, double value, double bar, const std::string& unit = "") const;
  /// A figure without a bar.
  void plain(const std::string& name, double value, const std::string& unit = "") const;

 private:
  void print(const std::string& name, const std::string& value, const std::string& bar,
             const char* holds) const;

  const std::string area_;
};

/// The command line: options that begin with "--" and the other arguments in order.
class Arguments {
 public:
  Arguments(int argc, char** argv);
  bool has(const std::string& option) const;
  /// What follows "OPTION="; empty when it is not given.
  std::string valueOf(const std::string& option) const;
  /// True for a run that only shows that the benchmark works.
  bool tiny() const { return has("--tiny"); }
  int rounds(int usual) const { return tiny() ? 1 : usual; }
  /// Throws when there are fewer.
  const std::string& at(size_t index) const;

 private:
  std::vector<std::string> options_;
  std::vector<std::string> plain_;
};

/// Runs `body`; an exception becomes a message and a failure status.
int runBench(int argc, char** argv, void (*body)(const Arguments&));

/// Keeps a result from being optimised away.
template <typename T>
void keep(const T& value) {
  asm volatile("" : : "r"(&value) : "memory");
}

}  // namespace korvel::bench
