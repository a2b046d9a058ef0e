#include "support/import_patch.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace korvel::test {
namespace {

/// The slot of the import table of this program that holds the address of `name`; null when there is none.
void** findSlot(const char* name) {
  const auto base = reinterpret_cast<uint8_t*>(::GetModuleHandleW(nullptr));
  const auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
  const auto& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (auto library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
       library->Name != 0; ++library) {
    const auto names = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + library->OriginalFirstThunk);
    const auto slots = reinterpret_cast<void**>(base + library->FirstThunk);
    for (size_t i = 0; names[i].u1.AddressOfData != 0; ++i) {
      if (IMAGE_SNAP_BY_ORDINAL64(names[i].u1.Ordinal)) continue;
      const auto import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names[i].u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(import->Name), name) == 0) return &slots[i];
    }
  }
  return nullptr;
}

void put(void** slot, void* function) {
  DWORD protection = 0;
  if (!::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection))
    throw std::runtime_error("VirtualProtect");
  *slot = function;
  ::VirtualProtect(slot, sizeof *slot, protection, &protection);
}

}  // namespace

ImportPatch::ImportPatch(const char* name, void* replacement, int) : slot_(findSlot(name)) {
  if (slot_ == nullptr) throw std::runtime_error(std::string("not imported: ") + name);
  original_ = *slot_;
  put(slot_, replacement);
}

ImportPatch::~ImportPatch() { put(slot_, original_); }

}  // namespace korvel::test
