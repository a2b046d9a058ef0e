// Messages cut out of the input: whatever their lengths and their order, every lane kernel agrees with
// digests made one by one, and every way to count bytes with counting them one by one.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "hash/multi_digest.h"
#include "hash/triple_digest.h"

using namespace korvel::hash;

namespace {

/// Each message has a length of two bytes in front, of which the upper bits count little.
std::vector<std::vector<uint8_t>> messagesOf(const uint8_t* data, size_t size) {
  std::vector<std::vector<uint8_t>> messages;
  while (size >= 2) {
    const size_t wanted = (size_t{data[0]} | size_t{data[1]} << 8) % 400;
    data += 2;
    size -= 2;
    const size_t length = std::min(size, wanted);
    messages.emplace_back(data, data + length);
    data += length;
    size -= length;
  }
  return messages;
}

void countEveryWay(const uint8_t* data, size_t size) {
  ByteCounts expected{};
  for (size_t i = 0; i < size; ++i) ++expected[data[i]];
  for (const CountKernel& kernel : countKernels()) {
    if (!kernel.supported()) continue;
    ByteTables tables;
    kernel.count(tables, data, size);
    ByteCounts counts{};
    tables.addTo(counts);
    if (counts != expected) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  countEveryWay(data, size);
  const std::vector<std::vector<uint8_t>> texts = messagesOf(data, size);
  std::vector<FileDigests> expected;
  for (const auto& text : texts) {
    TripleDigest digest;
    digest.update(text.data(), text.size());
    expected.push_back(digest.digests());
  }
  for (LaneKernel kernel : laneKernels()) {
    if (!kernel.supported()) continue;
    kernel.worthLanes = 1;
    std::vector<std::vector<uint8_t>> buffers = texts;
    std::vector<Message> messages;
    for (auto& buffer : buffers) {
      const size_t length = buffer.size();
      buffer.resize(length + kMessagePaddingBytes);
      messages.push_back({buffer.data(), length, {}});
    }
    digestAll(messages, {&kernel, 1});
    for (size_t i = 0; i < messages.size(); ++i) {
      if (messages[i].digests != expected[i]) std::abort();
    }
  }
  return 0;
}
