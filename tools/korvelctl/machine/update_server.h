// The update server in settings.ini of a service that does not run. Not thread-safe.
#pragma once

#include <cstdint>
#include <string>

namespace korvel::ctl {

enum class ServerChange {
  kWritten,
  kKept,        ///< one is configured already
  kUnreadable,  ///< the file cannot be read, or not as the service would read it
  kNotWritten,
};

/// Whether `url` can be a base address: "http://" or "https://" and a host, without blanks or control
/// characters.
bool isServerAddress(const std::string& url);

/// Writes `url` as UpdateServer unless one is configured. A file that does not exist is made, with the
/// defaults of the service in `programFolder`. `before` becomes the address that is configured. With
/// `onlyLook` nothing is written.
ServerChange configureUpdateServer(const std::string& url, const std::wstring& programFolder, bool onlyLook,
                                   std::string* before);

}  // namespace korvel::ctl
