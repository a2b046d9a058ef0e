#include "engine/realtime_watcher.h"

#include <exception>
#include <utility>

#include "base/clock.h"
#include "base/long_path.h"
#include "base/sizes.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "engine/log_exception.h"
#include "engine/long_names.h"
#include "engine/notify_records.h"
#include "runtime/log.h"
#include "scan/scan_filter.h"

namespace korvel::svc {
namespace {

constexpr DWORD kBufferBytes = 64 * kKiB;
constexpr DWORD kAfterFailedWaitMs = 1'000;
constexpr DWORD kNotifyFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE |
                                FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_CREATION;
static_assert(kNotifyFilter == 0x59);
static_assert(HeldFiles::kNoTry == INFINITE);

}  // namespace

const std::vector<std::wstring>& watchedRoots() {
  static const std::vector<std::wstring> roots = {
      L"C:\\Users",         L"C:\\ProgramData",
      L"C:\\Program Files", L"C:\\Program Files (x86)",
      L"C:\\Windows\\Temp", L"C:\\Windows\\Downloaded Files",
  };
  return roots;
}

/// One opened root with its outstanding read. The system writes into the buffer and the OVERLAPPED until the
/// read has ended, so destruction cancels the read and waits for it.
class RealtimeWatcher::WatchedDir {
 public:
  explicit WatchedDir(std::wstring root)
      : root_(std::move(root)),
        directory_(::CreateFileW(forFileApi(root_).c_str(), FILE_LIST_DIRECTORY,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, /*security=*/nullptr,
                                 OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED,
                                 /*template=*/nullptr)) {}

  ~WatchedDir() {
    if (!armed_) return;
    ::CancelIo(directory_.get());
    DWORD ignored = 0;
    ::GetOverlappedResult(directory_.get(), &overlapped_, &ignored, /*wait=*/TRUE);
  }
  WatchedDir(const WatchedDir&) = delete;
  WatchedDir& operator=(const WatchedDir&) = delete;

  bool opened() const { return static_cast<bool>(directory_); }
  const std::wstring& root() const { return root_; }
  HANDLE event() const { return event_.get(); }
  bool armed() const { return armed_; }

  bool createEvent() {
    event_.reset(::CreateEventW(/*security=*/nullptr, /*manualReset=*/TRUE, /*initialState=*/FALSE,
                                /*name=*/nullptr));
    overlapped_.hEvent = event_.get();
    buffer_.resize(kBufferBytes);
    return static_cast<bool>(event_);
  }

  /// Starts the next read; the reason of a failure is in GetLastError().
  bool arm() {
    armed_ = ::ReadDirectoryChangesW(directory_.get(), buffer_.data(), kBufferBytes, /*watchSubtree=*/TRUE,
                                     kNotifyFilter, /*bytesReturned=*/nullptr, &overlapped_,
                                     /*completion=*/nullptr) != FALSE;
    return armed_;
  }

  /// Takes the names out of the read that has ended. An overflow leaves nothing to take: zero bytes, or an
  /// error.
  std::vector<std::wstring> takeNames() {
    DWORD bytes = 0;
    if (!::GetOverlappedResult(directory_.get(), &overlapped_, &bytes, /*wait=*/FALSE)) bytes = 0;
    armed_ = false;
    ::ResetEvent(event_.get());
    return changedNames(ByteView(buffer_.data(), buffer_.size()).clipped(0, bytes));
  }

 private:
  const std::wstring root_;
  UniqueHandle directory_;
  UniqueHandle event_;
  OVERLAPPED overlapped_ = {};
  std::vector<uint8_t> buffer_;
  bool armed_ = false;
};

RealtimeWatcher::RealtimeWatcher(std::shared_ptr<const SignatureDatabase> database,
                                 const ScanOptions& options, const StopEvent& stop,
                                 DetectionCallback onDetection, const HeldFiles::Delays& delays)
    : options_(options),
      scanner_(std::move(database), options, stop.token()),
      stop_(stop),
      onDetection_(std::move(onDetection)),
      held_(delays) {}

RealtimeWatcher::~RealtimeWatcher() = default;

void RealtimeWatcher::run(const std::vector<std::wstring>& roots) {
  open(roots);
  if (dirs_.empty()) return;
  arm();
  loop();
  dirs_.clear();
}

void RealtimeWatcher::open(const std::vector<std::wstring>& roots) {
  Log& log = Log::instance();
  bool anyOpened = false;
  for (const std::wstring& root : roots) {
    auto dir = std::make_unique<WatchedDir>(root);
    if (!dir->opened()) continue;
    anyOpened = true;
    if (dir->createEvent()) {
      dirs_.push_back(std::move(dir));
    } else {
      log.write(kLogError, "real-time: CreateEvent failed");
    }
  }
  if (!anyOpened) log.write(kLogWarning, "real-time: no watchable directories");
}

void RealtimeWatcher::arm() {
  for (const std::unique_ptr<WatchedDir>& dir : dirs_) {
    if (dir->arm()) continue;
    const DWORD code = ::GetLastError();
    Log::instance().write(kLogWarning, "real-time: ReadDirectoryChangesW failed on " + toUtf8(dir->root()) +
                                           ", win32=" + std::to_string(code));
  }
}

/// Wakes only for changes, for files that are to be tried again, and for the stop, whose event is the last
/// one waited on. Changes and tries take turns, so neither holds the other up.
void RealtimeWatcher::loop() {
  std::vector<HANDLE> events;
  for (const std::unique_ptr<WatchedDir>& dir : dirs_) events.push_back(dir->event());
  events.push_back(stop_.handle());
  while (!stop_.requested()) {
    const DWORD result =
        ::WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(),
                                 /*waitAll=*/FALSE, held_.untilNextDue(millisecondsWithSleep()));
    if (stop_.requested()) return;
    const size_t index = result - WAIT_OBJECT_0;
    if (index < dirs_.size()) {
      if (dirs_[index]->armed()) handle(*dirs_[index]);
    } else if (result != WAIT_TIMEOUT) {
      stop_.sleep(kAfterFailedWaitMs);
    }
    tryHeldFile();
  }
}

void RealtimeWatcher::handle(WatchedDir& dir) {
  try {
    for (const std::wstring& name : dir.takeNames()) {
      if (stop_.requested()) return;
      scanChanged(dir.root(), name);
    }
  } catch (const std::exception& exception) {
    logException(kLogError, "scan aborted: ", exception);
  }
  (void)dir.arm();  // a root that cannot be armed again is no longer watched
}

void RealtimeWatcher::scanChanged(const std::wstring& root, const std::wstring& name) {
  try {
    const std::wstring path = root + L"\\" + withLongNames(root, name);
    if (!shouldScan(path, options_)) return;
    const FileVerdict verdict = scanner_.scanSingleFile(path);
    if (!stop_.requested() && held_.afterNotification(verdict, millisecondsWithSleep())) report(verdict);
  } catch (const std::exception& exception) {
    logException(kLogError, "scan aborted: ", exception);
  }
}

void RealtimeWatcher::tryHeldFile() {
  if (stop_.requested()) return;
  try {
    const std::optional<HeldFiles::Try> due = held_.nextDue(millisecondsWithSleep());
    if (!due) return;
    const FileVerdict verdict = scanner_.scanSingleFile(due->path);
    if (!stop_.requested() && held_.afterTry(verdict, due->last, millisecondsWithSleep())) report(verdict);
  } catch (const std::exception& exception) {
    logException(kLogError, "scan aborted: ", exception);
  }
}

void RealtimeWatcher::report(const FileVerdict& verdict) {
  if (verdict.severity < kSeverityMedium) return;
  onDetection_(verdict);
  Log::instance().write(kLogInfo, "real-time detection: " + toUtf8(verdict.path));
}

}  // namespace korvel::svc
