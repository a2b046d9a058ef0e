// An open key of the registry.
#pragma once

#include "base/unique_resource.h"
#include "base/win.h"

namespace korvel::ctl {

struct RegistryKeyTraits {
  using Value = HKEY;
  static Value empty() { return nullptr; }
  static bool valid(HKEY key) { return key != nullptr; }
  static void close(HKEY key) { ::RegCloseKey(key); }
};
using UniqueRegistryKey = UniqueResource<RegistryKeyTraits>;

}  // namespace korvel::ctl
