// Builds the signature database from the seed file and the live file.
#pragma once

#include <memory>
#include <string>

#include "base/stop.h"
#include "records/settings_fields.h"

namespace korvel {
class SignatureDatabase;
}

namespace korvel::svc {

struct LoadedSignatures {
  std::shared_ptr<const SignatureDatabase> database;  ///< null when no entry was loaded
  bool cutByStop = false;                             ///< a file was not read to its end
};

/// The seed file that `settings` names, then the live file of the data directory where there is one; trouble
/// with the live file is ignored. When no entry was loaded, `error` has the seed file's error or "database is
/// empty". A live file of more than 512 MiB counts as unreadable. Thread-safe; may take seconds for millions
/// of entries, and a stop ends it between two pieces of a file.
LoadedSignatures loadSignatureDatabase(const SettingsFields& settings, std::string* error,
                                       const StopToken& stop);

}  // namespace korvel::svc
