#include "runtime/log.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/sizes.h"
#include "base/version.h"
#include "base/win.h"

namespace korvel {
namespace {

constexpr size_t kLineBufferBytes = 2 * kKiB;  // with the terminating NUL

const char* tagOf(int32_t level) {
  switch (level) {
    case kLogDebug:
      return "DBG";
    case kLogInfo:
      return "INF";
    case kLogWarning:
      return "WRN";
    case kLogError:
      return "ERR";
    default:
      return "???";
  }
}

/// Opens for appending, shared with readers and writers of other processes. No byte-order mark is written.
std::FILE* openForAppending(const std::wstring& path) {
  int descriptor = -1;
  if (::_wsopen_s(&descriptor, forFileApi(path).c_str(), _O_WRONLY | _O_APPEND | _O_CREAT | _O_BINARY,
                  _SH_DENYNO, _S_IREAD | _S_IWRITE) != 0) {
    return nullptr;
  }
  std::FILE* stream = ::_wfdopen(descriptor, L"ab");
  if (stream == nullptr) ::_close(descriptor);
  return stream;
}

}  // namespace

Log& Log::instance() {
  // Never destroyed, because threads and static objects may still log while the process ends. Every line is
  // flushed, so nothing is left to close.
  static Log& log = *new Log;
  return log;
}

void Log::open(const std::wstring& path) {
  const MutexLock lock(mutex_);
  if (stream_ != nullptr) {
    std::fclose(stream_);
    stream_ = nullptr;
  }
  (void)createDirectories(parentDirectory(path));  // the open below decides
  stream_ = openForAppending(path);
}

void Log::write(int32_t level, std::string_view text) {
  if (level < minLevel_) return;
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  char line[kLineBufferBytes];
  const auto bytes = static_cast<int>(std::min(text.size(), sizeof line));  // more than a line can show
  const int length =
      std::snprintf(line, sizeof line, "%02d:%02d:%02d.%03d [%s] %.*s\n", now.wHour, now.wMinute, now.wSecond,
                    now.wMilliseconds, tagOf(level), bytes, text.data());
  if (length <= 0) return;
  ::OutputDebugStringA(line);

  const MutexLock lock(mutex_);
  if (stream_ == nullptr) return;
  // Write errors are ignored: a full disk must not stop the service.
  (void)std::fwrite(line, 1, std::min(static_cast<size_t>(length), kLineBufferBytes - 1), stream_);
  (void)std::fflush(stream_);
}

void serviceLog(std::string_view text) {
  char name[64] = {};
  (void)::WideCharToMultiByte(CP_UTF8, /*flags=*/0, kProductName, -1, name, sizeof name, nullptr, nullptr);
  char line[kLineBufferBytes];
  const auto bytes = static_cast<int>(std::min(text.size(), sizeof line));
  (void)std::snprintf(line, sizeof line, "%s: %.*s", name, bytes, text.data());
  Log::instance().write(kLogInfo, line);
}

}  // namespace korvel
