#include "lesser_processor.h"

#include <stdexcept>

#include "hash/processor.h"

namespace korvel {
namespace {

using hash::ProcessorFeatures;

ProcessorFeatures& features() {
  static ProcessorFeatures features = hash::detectProcessor();
  return features;
}

}  // namespace

const ProcessorFeatures& hash::processor() { return features(); }

void bench::useLesserProcessor(const std::string& best) {
  const ProcessorFeatures real = hash::detectProcessor();
  bool there = true;
  if (best == "avx-512") {
    there = real.avx512;
  } else if (best == "sha-ni") {
    features() = {.shaNi = real.shaNi, .avx2 = real.avx2};
    there = real.shaNi;
  } else if (best == "avx2") {
    features() = {.avx2 = real.avx2};
    there = real.avx2;
  } else if (best == "portable") {
    features() = {};
  } else {
    throw std::invalid_argument("no such processor: " + best);
  }
  if (!there) throw std::invalid_argument("this processor has no " + best);
}

}  // namespace korvel
