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

/// The seed file that `settings` names, then the live file of the data directory where there is one; trouble
/// with the live file is ignored. Null when no entry was loaded, with the seed file's error or "database is
/// empty" in `error`. A live file of more than 512 MiB counts as unreadable. Thread-safe; may take seconds
/// for millions of entries, and a stop ends it between two pieces of a file.
std::shared_ptr<const SignatureDatabase> loadSignatureDatabase(const SettingsFields& settings,
                                                               std::string* error, const StopToken& stop);

}  // namespace korvel::svc
