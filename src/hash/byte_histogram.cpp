#include "hash/byte_histogram.h"

#include <algorithm>

#include "base/sizes.h"
#include "hash/kernels.h"

namespace korvel::hash {
namespace {

// Below this size, clearing and adding up four tables costs more time than they save.
constexpr size_t kWorthTablesBytes = 2 * kKiB;

}  // namespace

void countBytes(const uint8_t* data, size_t length, ByteCounts& counts) {
  static const CountKernel& kernel = fastestSupported(countKernels());
  while (length >= kWorthTablesBytes) {
    const size_t piece = std::min(length, ByteTables::kMaxBytes);
    ByteTables tables;
    kernel.count(tables, data, piece);
    tables.addTo(counts);
    data += piece;
    length -= piece;
  }
  for (size_t i = 0; i < length; ++i) ++counts[data[i]];
}

}  // namespace korvel::hash
