// Runs a fuzz target over every file named on the command line, and for each of them again and again with too
// little memory: each allocation fails in turn, once and for ever. The target must throw std::bad_alloc or
// finish; a block that is left behind, and any other end, is a finding. Prints one line with the amount.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <string>

#include "support/allocation_meter.h"
#include "support/fault_sweep.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using korvel::test::AllocationFault;
using korvel::test::blocksInUse;

constexpr size_t kFew = 40;
constexpr size_t kNoCall = SIZE_MAX;

/// How many allocations the target makes for this input.
size_t countAllocations(const uint8_t* data, size_t size) {
  const AllocationFault none(kNoCall, AllocationFault::Times::kOnce);
  LLVMFuzzerTestOneInput(data, size);
  return none.calls();
}

/// False when the target leaves a block behind.
bool survives(const uint8_t* data, size_t size, size_t call, AllocationFault::Times times) {
  const size_t before = blocksInUse();
  {
    const AllocationFault fault(call, times);
    try {
      LLVMFuzzerTestOneInput(data, size);
    } catch (const std::bad_alloc&) {
      // as it should be
    }
  }
  if (blocksInUse() == before) return true;
  std::printf("allocation %zu fails: %zu blocks in use before, %zu after\n", call, before, blocksInUse());
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  size_t faults = 0;
  size_t findings = 0;
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    LLVMFuzzerTestOneInput(data, bytes.size());  // makes what is made once for all
    const size_t calls = countAllocations(data, bytes.size());
    for (const auto times : {AllocationFault::Times::kOnce, AllocationFault::Times::kForEver}) {
      for (const size_t call : korvel::test::callsToFail(calls, kFew)) {
        ++faults;
        if (survives(data, bytes.size(), call, times)) continue;
        ++findings;
        std::printf("  input: %s\n", argv[i]);
      }
    }
  }
  std::printf("faults %zu findings %zu\n", faults, findings);
  return findings == 0 ? 0 : 1;
}
