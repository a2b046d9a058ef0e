#include "measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <limits>
#include <stdexcept>
#include <utility>

namespace korvel::bench {
namespace {

std::string numberText(double value, const std::string& unit) {
  char text[64];
  std::snprintf(text, sizeof text, value >= 100 ? "%.0f" : value >= 10 ? "%.1f" : "%.3f", value);
  return unit.empty() ? text : text + (" " + unit);
}

std::string barText(const char* relation, double bar, const std::string& unit) {
  char text[64];
  std::snprintf(text, sizeof text, "%s %.10g", relation, bar);
  return unit.empty() ? text : text + (" " + unit);
}

}  // namespace

double wallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Loop timed(std::function<void()> body, double (*clock)()) {
  return [body = std::move(body), clock] {
    const double start = clock();
    body();
    return clock() - start;
  };
}

std::vector<double> bestOf(int rounds, const std::vector<Loop>& loops) {
  std::vector<double> best(loops.size(), std::numeric_limits<double>::infinity());
  for (int round = 0; round < rounds; ++round) {
    for (size_t i = 0; i < loops.size(); ++i) best[i] = std::min(best[i], loops[i]());
  }
  // A tiny run may be shorter than the clock's step; it still has to print a number.
  for (double& seconds : best) seconds = std::max(seconds, 1e-9);
  return best;
}

Figures::Figures(std::string area) : area_(std::move(area)) {}

void Figures::atLeast(const std::string& name, double value, double bar, const std::string& unit) const {
  print(name, numberText(value, unit), barText(">=", bar, unit), value >= bar ? "yes" : "no");
}

void Figures::atMost(const std::string& name, double value, double bar, const std::string& unit) const {
  print(name, numberText(value, unit), barText("<=", bar, unit), value <= bar ? "yes" : "no");
}

void Figures::plain(const std::string& name, double value, const std::string& unit) const {
  print(name, numberText(value, unit), "-", "-");
}

void Figures::print(const std::string& name, const std::string& value, const std::string& bar,
                    const char* holds) const {
  std::printf("figure %s | %s | %s | %s | %s\n", area_.c_str(), name.c_str(), value.c_str(), bar.c_str(),
              holds);
  std::fflush(stdout);
}

Arguments::Arguments(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    (argument.starts_with("--") ? options_ : plain_).push_back(argument);
  }
}

bool Arguments::has(const std::string& option) const {
  return std::find(options_.begin(), options_.end(), option) != options_.end();
}

std::string Arguments::valueOf(const std::string& option) const {
  for (const std::string& given : options_) {
    if (given.starts_with(option + "=")) return given.substr(option.size() + 1);
  }
  return {};
}

const std::string& Arguments::at(size_t index) const {
  if (index >= plain_.size())
    throw std::invalid_argument("an argument is missing; see the head of the source");
  return plain_[index];
}

int runBench(int argc, char** argv, void (*body)(const Arguments&)) {
  try {
    body(Arguments(argc, argv));
    return 0;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "error: %s\n", exception.what());
    return 1;
  }
}

}  // namespace korvel::bench
