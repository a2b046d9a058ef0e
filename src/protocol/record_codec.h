// Writes and reads values of every type that a payload can hold: numbers, texts, lists of values, and
// records, whose fields follow each other without separators. Pure; for the message codecs only.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "protocol/payload.h"
#include "protocol/record_fields.h"

namespace korvel::ipc {

template <typename T>
inline constexpr bool kIsList = false;
template <typename Element>
inline constexpr bool kIsList<std::vector<Element>> = true;

/// The size of the smallest encoding of this type, with all texts and lists empty.
template <typename T>
constexpr size_t leastBytes() {
  if constexpr (std::is_same_v<T, uint64_t>) {
    return sizeof(uint64_t);
  } else if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, std::string> ||
                       std::is_same_v<T, std::wstring> || kIsList<T>) {
    return sizeof(uint32_t);  // a number, or the count in front of a text or list
  } else {
    using Fields = decltype(fieldsOf(std::declval<T&>()));
    return []<size_t... kAt>(std::index_sequence<kAt...>) {
      return (leastBytes<std::remove_reference_t<std::tuple_element_t<kAt, Fields>>>() + ...);
    }
    (std::make_index_sequence<std::tuple_size_v<Fields>>{});
  }
}

inline void put(PayloadWriter& writer, bool value) { writer.putBool(value); }
inline void put(PayloadWriter& writer, uint32_t value) { writer.putU32(value); }
inline void put(PayloadWriter& writer, int32_t value) { writer.putU32(static_cast<uint32_t>(value)); }
inline void put(PayloadWriter& writer, uint64_t value) { writer.putU64(value); }
inline void put(PayloadWriter& writer, const std::string& value) { writer.putString(value); }
inline void put(PayloadWriter& writer, const std::wstring& value) { writer.putWString(value); }
template <typename Record>
void put(PayloadWriter& writer, const Record& record);

/// A u32 count, then the elements.
template <typename Element>
void put(PayloadWriter& writer, const std::vector<Element>& list) {
  writer.putU32(static_cast<uint32_t>(list.size()));
  for (const Element& element : list) put(writer, element);
}

template <typename Record>
void put(PayloadWriter& writer, const Record& record) {
  std::apply([&writer](const auto&... field) { (put(writer, field), ...); }, fieldsOf(record));
}

inline void get(PayloadReader& reader, bool& value) { value = reader.getBool(); }
inline void get(PayloadReader& reader, uint32_t& value) { value = reader.getU32(); }
inline void get(PayloadReader& reader, int32_t& value) { value = static_cast<int32_t>(reader.getU32()); }
inline void get(PayloadReader& reader, uint64_t& value) { value = reader.getU64(); }
inline void get(PayloadReader& reader, std::string& value) { value = reader.getString(); }
inline void get(PayloadReader& reader, std::wstring& value) { value = reader.getWString(); }
template <typename Record>
void get(PayloadReader& reader, Record& record);

/// Reads elements until the count is reached or a read fails. The count is untrusted: memory is reserved only
/// for as many elements as the remaining bytes can hold.
template <typename Element>
void get(PayloadReader& reader, std::vector<Element>& list) {
  const uint32_t count = reader.getU32();
  list.reserve(std::min<size_t>(count, reader.remaining() / leastBytes<Element>()));
  for (uint32_t i = 0; i < count && reader.ok(); ++i) {
    Element element{};
    get(reader, element);
    if (reader.ok()) list.push_back(std::move(element));
  }
}

template <typename Record>
void get(PayloadReader& reader, Record& record) {
  std::apply([&reader](auto&... field) { (get(reader, field), ...); }, fieldsOf(record));
}

/// A payload that consists of this value.
template <typename Value>
std::string encoded(const Value& value) {
  PayloadWriter writer;
  put(writer, value);
  return writer.take();
}

/// std::nullopt when the payload is too short for the value; trailing bytes are ignored.
template <typename Value>
std::optional<Value> decoded(const std::string& payload) {
  PayloadReader reader(payload);
  Value value{};
  get(reader, value);
  if (!reader.ok()) return std::nullopt;
  return value;
}

}  // namespace korvel::ipc
