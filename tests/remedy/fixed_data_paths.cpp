// Fixed folders in the place of the system's, for a helper process whose short life must not load the shell.
#include "config/data_paths.h"

namespace korvel {

std::wstring dataDir() { return L"C:\\ProgramData\\KORVEL Antivirus"; }
std::wstring logPath() { return dataDir() + L"\\korvel.log"; }
std::wstring settingsPath() { return dataDir() + L"\\settings.ini"; }
std::wstring defaultQuarantineDir() { return dataDir() + L"\\Quarantine"; }
std::wstring liveSignaturesPath() { return dataDir() + L"\\signatures.live.txt"; }
std::wstring updatesDir() { return dataDir() + L"\\updates"; }
std::wstring scanCachePath() { return dataDir() + L"scan.cache"; }
std::wstring seedSignaturesPath() { return L"C:\\Program Files\\Korvel\\data\\signatures.seed.txt"; }

}  // namespace korvel
