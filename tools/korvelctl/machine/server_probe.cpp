#include "korvelctl/machine/server_probe.h"

#include <memory>
#include <optional>
#include <thread>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/version.h"
#include "base/win.h"

#include <winhttp.h>

namespace korvel::ctl {
namespace {

struct InternetHandleTraits {
  using Value = HINTERNET;
  static Value empty() { return nullptr; }
  static bool valid(HINTERNET handle) { return handle != nullptr; }
  static void close(HINTERNET handle) { ::WinHttpCloseHandle(handle); }
};
using UniqueInternet = UniqueResource<InternetHandleTraits>;

struct Address {
  std::wstring host;
  std::wstring target;
  INTERNET_PORT port = 0;
  DWORD flags = 0;
};

std::optional<Address> splitAddress(const std::string& url) {
  const std::wstring wide = toWide(url);
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = static_cast<DWORD>(-1);
  if (!::WinHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), /*flags=*/0, &parts)) {
    return std::nullopt;
  }
  Address address;
  address.host.assign(parts.lpszHostName, parts.dwHostNameLength);
  address.target.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
  address.target.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
  address.port = parts.nPort;
  address.flags = parts.nScheme == INTERNET_SCHEME_HTTPS ? WINHTTP_FLAG_SECURE : 0;
  return address;
}

uint32_t numberHeader(HINTERNET request, DWORD which) {
  DWORD value = 0, size = sizeof value;
  return ::WinHttpQueryHeaders(request, which | WINHTTP_QUERY_FLAG_NUMBER, WINHTTP_HEADER_NAME_BY_INDEX,
                               &value, &size, WINHTTP_NO_HEADER_INDEX)
             ? value
             : 0;
}

uint64_t dateHeader(HINTERNET request) {
  SYSTEMTIME date{};
  DWORD size = sizeof date;
  FILETIME ticks{};
  if (!::WinHttpQueryHeaders(request, WINHTTP_QUERY_DATE | WINHTTP_QUERY_FLAG_SYSTEMTIME,
                             WINHTTP_HEADER_NAME_BY_INDEX, &date, &size, WINHTTP_NO_HEADER_INDEX) ||
      !::SystemTimeToFileTime(&date, &ticks)) {
    return 0;
  }
  return unixSecondsFromFileTime(uint64_t{ticks.dwHighDateTime} << 32 | ticks.dwLowDateTime);
}

ServerAnswer ask(const std::string& url) {
  ServerAnswer answer;
  const auto failed = [&answer] {
    answer.win32 = ::GetLastError();
    return answer;
  };
  const std::optional<Address> address = splitAddress(url);
  if (!address) return failed();
  const std::wstring agent = L"korvelctl/" + toWide(kServiceVersion);
  const UniqueInternet session(::WinHttpOpen(agent.c_str(), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                             WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, /*flags=*/0));
  if (!session) return failed();
  const UniqueInternet connection(
      ::WinHttpConnect(session.get(), address->host.c_str(), address->port, /*reserved=*/0));
  if (!connection) return failed();
  const UniqueInternet request(::WinHttpOpenRequest(connection.get(), L"HEAD", address->target.c_str(),
                                                    /*version=*/nullptr, WINHTTP_NO_REFERER,
                                                    WINHTTP_DEFAULT_ACCEPT_TYPES, address->flags));
  if (!request) return failed();
  if (!::WinHttpSendRequest(request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0,
                            /*context=*/0) ||
      !::WinHttpReceiveResponse(request.get(), /*reserved=*/nullptr)) {
    return failed();
  }
  answer.status = numberHeader(request.get(), WINHTTP_QUERY_STATUS_CODE);
  answer.length = numberHeader(request.get(), WINHTTP_QUERY_CONTENT_LENGTH);
  answer.dateUtc = dateHeader(request.get());
  return answer;
}

/// What the asking thread shares with its caller, who may have gone away meanwhile.
struct Shared {
  Mutex mutex;
  ServerAnswer answer GUARDED_BY(mutex);
  UniqueHandle done{::CreateEventW(/*security=*/nullptr, /*manualReset=*/TRUE, /*initial=*/FALSE, nullptr)};
};

}  // namespace

ServerAnswer probeServer(const std::string& url, uint32_t limitMs) {
  const ULONGLONG begin = ::GetTickCount64();
  const auto shared = std::make_shared<Shared>();
  // The platform's own time-outs do not cover a server that accepts and then says nothing, so the thread that
  // waits for it is left behind; it ends with the process at the latest.
  std::thread([shared, url] {
    const ServerAnswer answer = ask(url);
    {
      const MutexLock lock(shared->mutex);
      shared->answer = answer;
    }
    ::SetEvent(shared->done.get());
  }).detach();
  ServerAnswer answer;
  if (::WaitForSingleObject(shared->done.get(), limitMs) == WAIT_OBJECT_0) {
    const MutexLock lock(shared->mutex);
    answer = shared->answer;
  } else {
    answer.win32 = ERROR_WINHTTP_TIMEOUT;
  }
  answer.elapsedMs = ::GetTickCount64() - begin;
  return answer;
}

}  // namespace korvel::ctl
