#include "config/settings.h"

#include "config/data_paths.h"

namespace korvel {

Settings::Settings() {
  signatureDb = seedSignaturesPath();
  quarantineDir = defaultQuarantineDir();
}

}  // namespace korvel
