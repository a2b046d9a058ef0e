// Where the service keeps its files. Every function computes its result afresh and cannot fail: a folder
// that cannot be found degrades as stated. Paths are UTF-16 with backslashes. Thread-safe.
#pragma once

#include <string>

namespace korvel {

/// The ProgramData folder + "\KORVEL Antivirus", created with its parents when missing. Where the folder
/// cannot be looked up (not: where it cannot be created): the local application-data folder +
/// "\KorvelAntivirus", else empty.
std::wstring dataDir();

std::wstring logPath();               ///< dataDir() + "\korvel.log"
std::wstring settingsPath();          ///< dataDir() + "\settings.ini"
std::wstring defaultQuarantineDir();  ///< dataDir() + "\Quarantine"
std::wstring liveSignaturesPath();    ///< dataDir() + "\signatures.live.txt"
std::wstring updatesDir();            ///< dataDir() + "\updates"

/// dataDir() + "scan.cache" without a separator: the cache lies beside the data directory. Existing
/// installations have it there.
std::wstring scanCachePath();

/// "data\signatures.seed.txt" in the folder of the running executable.
std::wstring seedSignaturesPath();

}  // namespace korvel
