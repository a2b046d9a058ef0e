// Any settings.ini: what the lint proposes lets the service start, is a fixed point, and has no finding left
// but those that only its owner can cure.
#include <cstdlib>

#include "config/settings_text.h"
#include "korvelctl/model/settings_lint.h"

using namespace korvel::ctl;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)lintSettings(text);
  const std::string fixed = fixedSettings(text);
  if (fixedSettings(fixed) != fixed) std::abort();
  for (const LintFinding& finding : lintSettings(fixed)) {
    if (finding.rule != LintRule::kRelativePath && finding.rule != LintRule::kServerScheme) std::abort();
  }
  korvel::SettingsFields settings;
  korvel::parseSettingsText(fixed, settings);  // must not throw
  return 0;
}
