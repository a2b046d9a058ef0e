// The paths of the service's files. Every function computes its result on each call and cannot fail;
// dataDir() states the fallbacks. Paths are UTF-16 with backslashes. Thread-safe.
#pragma once

#include <string>

namespace korvel {

/// The ProgramData folder + "\KORVEL Antivirus", created with its parents when missing. If the ProgramData
/// folder cannot be looked up: the local application-data folder + "\KorvelAntivirus", else empty. A failure
/// to create the directory does not change the result.
std::wstring dataDir();

/// The same path for programs that only look: nothing is created.
std::wstring whereDataDirIs();

std::wstring logPath();               ///< dataDir() + "\korvel.log"
std::wstring settingsPath();          ///< dataDir() + "\settings.ini"
std::wstring defaultQuarantineDir();  ///< dataDir() + "\Quarantine"
std::wstring liveSignaturesPath();    ///< dataDir() + "\signatures.live.txt"
std::wstring updatesDir();            ///< dataDir() + "\updates"

/// dataDir() + "scan.cache" without a separator, so the cache lies beside the data directory: existing
/// installations have it there.
std::wstring scanCachePath();

/// "data\signatures.seed.txt" in the folder of the running executable.
std::wstring seedSignaturesPath();

}  // namespace korvel
