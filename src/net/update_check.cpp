#include "net/update_check.h"

#include "base/error.h"
#include "base/files.h"
#include "base/utf.h"
#include "base/version.h"
#include "net/http_client.h"
#include "net/release_text.h"
#include "net/url_text.h"
#include "runtime/log.h"

namespace korvel {
namespace {

bool saveInstaller(std::string_view body, const std::wstring& path, std::string* error,
                   const StopToken& stop) {
  const std::wstring temporary = path + L".tmp";
  FileReplacement file(path, temporary);
  // The system would end the name at a NUL and write another file.
  const bool nameable = path.find(L'\0') == std::wstring::npos;
  if (!nameable || !file.open() || !file.write(body) || !file.finish()) {
    return fail(error, "не удалось записать " + toUtf8(temporary));
  }
  if (!file.commit(/*clearAttributes=*/true, stop))
    return failWin32(error, "не удалось сохранить установщик");
  return true;
}

}  // namespace

bool checkForUpdate(const std::string& updateServer, const std::wstring& updatesDir, std::wstring* installer,
                    std::string* error, const StopToken& stop) {
  if (error != nullptr) error->clear();
  if (updateServer.empty()) {
    return fail(error, "не задан сервер обновлений (строка UpdateServer в settings.ini)");
  }
  std::string body;
  if (!httpGet(serverUrl(updateServer, "/api/v1/releases"), &body, error, stop)) return false;
  WindowsRelease release;
  if (!readWindowsRelease(body, release, error)) return false;
  if (release.version == kServiceVersion) {  // equality, not order: anything else is offered
    if (installer != nullptr) installer->clear();
    return true;
  }

  std::string reason;
  if (!httpGet(release.url, &body, &reason, stop)) return fail(error, "загрузка установщика: " + reason);
  if (!looksLikeInstaller(body)) return fail(error, "по ссылке не похоже на Windows-установщик");
  (void)createDirectories(updatesDir);  // writing the file reports the trouble
  const std::wstring path = updatesDir + L"\\KorvelSetup-" + toWide(release.version) + L".exe";
  if (!saveInstaller(body, path, error, stop)) return false;
  if (installer != nullptr) *installer = path;
  Log::instance().write(kLogInfo, "self update: installer " + release.version + " saved to updates");
  return true;
}

}  // namespace korvel
