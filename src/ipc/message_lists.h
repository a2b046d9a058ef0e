// Counted lists inside a payload: a u32 count, then the elements. Pure; for the message codecs only.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ipc/payload.h"

namespace korvel::ipc {

template <typename Element, typename Put>
void putList(PayloadWriter& writer, const std::vector<Element>& elements, Put put) {
  writer.putU32(static_cast<uint32_t>(elements.size()));
  for (const Element& element : elements) put(writer, element);
}

/// Reads elements with `get` until the count is reached or a read fails. The count is the sender's claim:
/// room is made only for what the remaining bytes can hold at `leastBytes` an element.
template <typename Element, typename Get>
std::vector<Element> getList(PayloadReader& reader, size_t leastBytes, Get get) {
  std::vector<Element> elements;
  const uint32_t count = reader.getU32();
  elements.reserve(std::min<size_t>(count, reader.remaining() / leastBytes));
  for (uint32_t i = 0; i < count && reader.ok(); ++i) {
    Element element = get(reader);
    if (reader.ok()) elements.push_back(std::move(element));
  }
  return elements;
}

}  // namespace korvel::ipc
