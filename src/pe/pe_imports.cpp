#include "pe/pe_imports.h"

#include <optional>
#include <utility>

namespace korvel {
namespace {

// Descriptors and thunks may overlap and repeat, so a small file can describe billions of imports that have
// no readable name and never reach the name limit. Real images stay below a few ten thousand entries.
constexpr uint32_t kImportStepLimit = 131'072;

constexpr size_t kNameLengthLimit = 128;  // names are shorter
constexpr uint64_t kHintBytes = 2;        // before each name

constexpr uint64_t kDescriptorBytes = 20;
constexpr uint64_t kDescriptorOriginalFirstThunk = 0;
constexpr uint64_t kDescriptorFirstThunk = 16;

class ImportWalk {
 public:
  ImportWalk(const RvaMap& image, const ImportTable& table)
      : image_(image),
        table_(table),
        thunkBytes_(table.wideThunks ? 8 : 4),
        ordinalFlag_(table.wideThunks ? uint64_t{1} << 63 : uint64_t{1} << 31) {}

  std::vector<std::string> run() {
    for (uint64_t rva = table_.directory; takeStep(); rva += kDescriptorBytes) {
      const ByteView descriptor = image_.at(rva);
      const uint32_t original = descriptor.u32(kDescriptorOriginalFirstThunk).value_or(0);
      const uint32_t first = descriptor.u32(kDescriptorFirstThunk).value_or(0);
      if (original == 0 && first == 0) break;  // the descriptor that ends the list
      if (const uint32_t names = nameTable(original, first); names != 0) readNames(names);
    }
    return std::move(names_);
  }

 private:
  bool takeStep() { return names_.size() < kImportNameLimit && steps_++ < kImportStepLimit; }

  /// The table that the loader resolves; 0 when there is none. The first thunk table holds names too, unless
  /// addresses are bound into it; some linkers write only that one. The loader takes no original table from
  /// the headers: other values of old linkers stand in that field.
  uint32_t nameTable(uint32_t original, uint32_t first) const {
    if (original == 0 || original < table_.headerBytes) return first;
    return first == 0 || thunkAt(original) != 0 ? original : first;
  }

  uint64_t thunkAt(uint64_t rva) const {
    const ByteView thunk = image_.at(rva);
    return thunkBytes_ == 8 ? thunk.u64(0).value_or(0) : thunk.u32(0).value_or(0);
  }

  void readNames(uint64_t rva) {
    for (; takeStep(); rva += thunkBytes_) {
      const uint64_t thunk = thunkAt(rva);
      if (thunk == 0) return;
      if ((thunk & ordinalFlag_) != 0) continue;
      if (auto name = nameAt(thunk + kHintBytes)) names_.push_back(std::move(*name));
    }
  }

  /// An empty text is not a name: unreadable memory reads as empty.
  std::optional<std::string> nameAt(uint64_t rva) const {
    const ByteView text = image_.at(rva).clipped(0, kNameLengthLimit);
    size_t length = 0;
    for (; length < text.size() && text.data()[length] != 0; ++length) {
      if (text.data()[length] < 0x20 || text.data()[length] > 0x7E) return std::nullopt;
    }
    if (length == 0 || length >= kNameLengthLimit) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(text.data()), length);
  }

  const RvaMap& image_;
  const ImportTable table_;
  const uint32_t thunkBytes_;
  const uint64_t ordinalFlag_;
  uint32_t steps_ = 0;
  std::vector<std::string> names_;
};

}  // namespace

std::vector<std::string> readImportNames(const RvaMap& image, const ImportTable& table) {
  if (table.directory == 0) return {};
  return ImportWalk(image, table).run();
}

}  // namespace korvel
