// What the rewritten sources of mutation testing call (find_mutants.py): is this mutant the one that lives in
// this run?
//
// KORVEL_MUTANT names the one that lives. KORVEL_MUTANTS_REACHED names a file; the numbers of all mutants
// that the run has come by are written there at its end.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace korvel_mutants {

inline constexpr int kMost = 1 << 16;

struct Run {
  int alive = -1;
  const char* reachedFile = nullptr;
  unsigned char reached[kMost] = {};

  Run() : reachedFile(std::getenv("KORVEL_MUTANTS_REACHED")) {
    if (const char* number = std::getenv("KORVEL_MUTANT")) alive = std::atoi(number);
  }
  ~Run() {
    std::FILE* file = reachedFile ? std::fopen(reachedFile, "w") : nullptr;
    if (!file) return;
    for (int number = 0; number < kMost; ++number) {
      if (reached[number]) std::fprintf(file, "%d\n", number);
    }
    std::fclose(file);
  }
};
inline Run run;

inline bool isAlive(int number) {
  if (run.reachedFile) run.reached[number] = 1;
  return number == run.alive;
}

/// Constant expressions have no mutants.
constexpr bool on(int number) { return __builtin_is_constant_evaluated() ? false : isAlive(number); }

/// `value`, or in the mutant its neighbour.
template <typename Value>
constexpr Value add(int number, Value value, int difference) {
  return on(number) ? static_cast<Value>(value + static_cast<Value>(difference)) : value;
}

}  // namespace korvel_mutants
