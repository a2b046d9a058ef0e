#include "hash/processor.h"

namespace korvel::hash {

const ProcessorFeatures& processor() {
  static const ProcessorFeatures features = detectProcessor();
  return features;
}

}  // namespace korvel::hash
