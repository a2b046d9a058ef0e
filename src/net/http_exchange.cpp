#include "net/http_exchange.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "base/error.h"
#include "net/url_text.h"

namespace korvel {
namespace {

constexpr wchar_t kUserAgent[] = L"KORVEL Antivirus update/1.0";
constexpr DWORD kMaxHeaderBytes = 1 * kMiB;

// Buffer sizes in UTF-16 units, the terminator included; a longer part makes the address invalid.
constexpr DWORD kHostUnits = 256;
constexpr DWORD kPathUnits = 1024;
constexpr DWORD kExtraUnits = 1024;

constexpr char kReceiveCall[] = "WinHttpReceiveResponse";

void setOption(HINTERNET handle, DWORD option, DWORD value) {
  (void)::WinHttpSetOption(handle, option, &value, sizeof value);
}

/// The platform says here that a request has come to its next step. One call may take many: a redirect begins
/// again with the name of the next server.
void CALLBACK onStatus(HINTERNET, DWORD_PTR context, DWORD status, void*, DWORD) {
  // The platform passes pointers as numbers.
  auto* clock = reinterpret_cast<std::shared_ptr<StepClock>*>(context);  // NOLINT(performance-no-int-to-ptr)
  if (clock == nullptr) return;
  switch (status) {
    case WINHTTP_CALLBACK_STATUS_RESOLVING_NAME:
    case WINHTTP_CALLBACK_STATUS_CONNECTING_TO_SERVER:
    case WINHTTP_CALLBACK_STATUS_CONNECTED_TO_SERVER:
    case WINHTTP_CALLBACK_STATUS_SENDING_REQUEST:
      return (*clock)->next();
    case WINHTTP_CALLBACK_STATUS_REQUEST_SENT:
      // Wine waits for the headers before its WinHttpSendRequest returns.
      return (*clock)->nextAs(kReceiveCall);
    case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING:
      delete clock;  // the last call for this request
      return;
    default:
      return;
  }
}

/// A response header as text; empty when it is absent or longer than any number.
std::wstring shortHeader(HINTERNET request, DWORD header) {
  wchar_t text[32] = {};
  DWORD bytes = sizeof text;
  const BOOL found = ::WinHttpQueryHeaders(request, header, WINHTTP_HEADER_NAME_BY_INDEX, text, &bytes,
                                           WINHTTP_NO_HEADER_INDEX);
  return found ? text : L"";
}

bool hasHeader(HINTERNET request, DWORD header) {
  DWORD bytes = 0;
  (void)::WinHttpQueryHeaders(request, header, WINHTTP_HEADER_NAME_BY_INDEX, WINHTTP_NO_OUTPUT_BUFFER, &bytes,
                              WINHTTP_NO_HEADER_INDEX);
  return ::GetLastError() == ERROR_INSUFFICIENT_BUFFER;
}

DWORD statusOf(HINTERNET request) {
  DWORD value = 0;
  DWORD bytes = sizeof value;
  const BOOL found =
      ::WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                            WINHTTP_HEADER_NAME_BY_INDEX, &value, &bytes, WINHTTP_NO_HEADER_INDEX);
  return found ? value : 0;
}

/// The length of the body as its server announces it. Chunks have lengths of their own, which override it.
std::optional<uint64_t> announcedLength(HINTERNET request) {
  if (hasHeader(request, WINHTTP_QUERY_TRANSFER_ENCODING)) return std::nullopt;
  return parseContentLength(shortHeader(request, WINHTTP_QUERY_CONTENT_LENGTH));
}

}  // namespace

HttpExchange::HttpExchange(HttpAddress address) : address_(std::move(address)) {}

bool HttpExchange::run(HttpReceiver& receiver, std::string* error) {
  if (!open(error) || !sendRequest(error)) return false;
  const DWORD status = statusOf(request_);
  if (status < 200 || status > 299) return fail(error, "http status " + std::to_string(status));
  return readBody(receiver, error);
}

bool HttpExchange::giveUpOverdue(std::string* error) {
  const char* call = clock_->giveUpOverdue();
  if (call == nullptr) return false;
  {
    const MutexLock lock(mutex_);
    requestOwner_.reset();
    connectionOwner_.reset();
    sessionOwner_.reset();
  }
  ::SetLastError(ERROR_WINHTTP_TIMEOUT);
  failWin32(error, call);
  return true;
}

bool HttpExchange::open(std::string* error) {
  const HINTERNET session = keep(&HttpExchange::sessionOwner_,
                                 ::WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                               WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, /*flags=*/0));
  if (session == nullptr) return failWin32(error, "WinHttpOpen");
  // The platform's own time-outs end a step in order. The clock ends those that they do not cover, such as
  // headers that come byte by byte, so no failure matters here.
  constexpr auto kStepMs = static_cast<int>(std::chrono::milliseconds(StepClock::kLimit).count());
  (void)::WinHttpSetTimeouts(session, kStepMs, kStepMs, kStepMs, kStepMs);
  const HINTERNET connection =
      keep(&HttpExchange::connectionOwner_,
           ::WinHttpConnect(session, address_.host.c_str(), address_.port, /*reserved=*/0));
  if (connection == nullptr) return failWin32(error, "WinHttpConnect");
  request_ = keep(&HttpExchange::requestOwner_,
                  ::WinHttpOpenRequest(connection, L"GET", address_.target.c_str(), /*version=*/nullptr,
                                       WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                       address_.secure ? WINHTTP_FLAG_SECURE : 0));
  if (request_ == nullptr) return failWin32(error, "WinHttpOpenRequest");
  setOption(request_, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, kStepMs);
  setOption(request_, WINHTTP_OPTION_MAX_RESPONSE_HEADER_SIZE, kMaxHeaderBytes);
  watchSteps();
  return true;
}

/// Lets the platform report to the clock. The request keeps its own reference to the clock, because it may
/// report until it is closed.
void HttpExchange::watchSteps() {
  auto reference = std::make_unique<std::shared_ptr<StepClock>>(clock_);
  auto context = reinterpret_cast<DWORD_PTR>(reference.get());
  constexpr DWORD kReports = WINHTTP_CALLBACK_FLAG_RESOLVE_NAME | WINHTTP_CALLBACK_FLAG_CONNECT_TO_SERVER |
                             WINHTTP_CALLBACK_FLAG_SEND_REQUEST | WINHTTP_CALLBACK_FLAG_HANDLES;
  if (::WinHttpSetStatusCallback(request_, onStatus, kReports, /*reserved=*/0) ==
      WINHTTP_INVALID_STATUS_CALLBACK) {
    return;
  }
  if (::WinHttpSetOption(request_, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context)) {
    (void)reference.release();  // onStatus() deletes it
  }
}

bool HttpExchange::sendRequest(std::string* error) {
  return step("WinHttpSendRequest", error,
              [this] {
                return ::WinHttpSendRequest(request_, WINHTTP_NO_ADDITIONAL_HEADERS, /*headerUnits=*/0,
                                            WINHTTP_NO_REQUEST_DATA, /*dataBytes=*/0, /*totalBytes=*/0,
                                            /*context=*/0);
              }) &&
         step(kReceiveCall, error,
              [this] { return ::WinHttpReceiveResponse(request_, /*reserved=*/nullptr); });
}

/// The body ends with its announced length. Without one it ends when the platform has no more bytes; then a
/// server that hangs up early is noticed only if the platform reports it.
bool HttpExchange::readBody(HttpReceiver& receiver, std::string* error) {
  const std::optional<uint64_t> announced = announcedLength(request_);
  receiver.begin(announced.value_or(0));
  std::vector<char> piece;
  uint64_t total = 0;
  while (total < announced.value_or(UINT64_MAX)) {
    DWORD available = 0;
    if (!step("WinHttpQueryDataAvailable", error,
              [&] { return ::WinHttpQueryDataAvailable(request_, &available); })) {
      return false;
    }
    // Wine offers bytes beyond the announced length, too.
    if (announced) available = static_cast<DWORD>(std::min<uint64_t>(available, *announced - total));
    if (total + available > kMaxHttpBodyBytes) return fail(error, "response too large");
    if (piece.size() < available) piece.resize(available);
    DWORD got = 0;
    if (available != 0 && !step("WinHttpReadData", error,
                                [&] { return ::WinHttpReadData(request_, piece.data(), available, &got); })) {
      return false;
    }
    if (got == 0) break;
    if (!receiver.take({piece.data(), got})) return fail(error, "nobody wants the rest");
    total += got;
  }
  if (total >= announced.value_or(0)) return true;
  // Wine takes what came before the end of the connection for the whole body.
  ::SetLastError(ERROR_WINHTTP_CONNECTION_ERROR);
  return failWin32(error, "WinHttpReadData");
}

HINTERNET HttpExchange::keep(UniqueInternet HttpExchange::*owner, HINTERNET handle) {
  const LastErrorKeeper keepLastError;
  const MutexLock lock(mutex_);
  (this->*owner).reset(handle);
  return handle;
}

/// Makes one call of the platform under the clock.
template <typename Call>
bool HttpExchange::step(const char* name, std::string* error, const Call& call) {
  constexpr char kGivenUp[] = "given up";  // nobody reads it: whoever gave up knows the reason
  if (!clock_->begin(name)) return fail(error, kGivenUp);
  const bool done = call() != FALSE;
  const DWORD code = ::GetLastError();
  if (!clock_->end()) return fail(error, kGivenUp);
  if (done) return true;
  ::SetLastError(code == WSAETIMEDOUT ? ERROR_WINHTTP_TIMEOUT : code);  // Wine passes the socket's code on
  return failWin32(error, name);
}

bool splitUrl(const std::string& url, HttpAddress& address, std::string* error) {
  // The platform refuses some of these schemes as such, and some texts with them as addresses.
  if (hasForeignScheme(url)) return fail(error, "http(s) required: " + url);
  const std::wstring wide = widenBytes(url);
  wchar_t host[kHostUnits] = {};
  wchar_t path[kPathUnits] = {};
  wchar_t extra[kExtraUnits] = {};
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.lpszHostName = host;
  parts.dwHostNameLength = kHostUnits;
  parts.lpszUrlPath = path;
  parts.dwUrlPathLength = kPathUnits;
  parts.lpszExtraInfo = extra;
  parts.dwExtraInfoLength = kExtraUnits;
  if (!::WinHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), /*flags=*/0, &parts)) {
    return failWin32(error, "bad url");
  }
  if (parts.nScheme != INTERNET_SCHEME_HTTP && parts.nScheme != INTERNET_SCHEME_HTTPS) {
    return fail(error, "http(s) required: " + url);
  }
  address.host = host;
  address.target = std::wstring(path) + extra;
  address.port = parts.nPort;
  address.secure = parts.nScheme == INTERNET_SCHEME_HTTPS;
  return true;
}

}  // namespace korvel
