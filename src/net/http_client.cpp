// Each exchange runs on a thread of its own, because the system's calls block for as long as they like. The
// caller detaches the thread when the service stops and when a step of the exchange lasts too long. A
// detached thread uses only the Transfer, which it shares; it ends after its current step, or with the
// process.
#include "net/http_client.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <thread>
#include <utility>

#include "base/error.h"
#include "base/mutex.h"
#include "base/sizes.h"
#include "net/http_exchange.h"

namespace korvel {
namespace {

constexpr size_t kMostBufferedBytes = 1 * kMiB;

/// Passes the body and the outcome from the thread of an exchange to the caller. Thread-safe.
class Transfer : public HttpReceiver {
 public:
  explicit Transfer(HttpAddress address) : exchange_(std::move(address)) {}

  /// The exchange's side: runs it to its end.
  void run() EXCLUDES(mutex_) {
    std::string error;
    std::exception_ptr exception;
    bool ok = false;
    try {
      ok = exchange_.run(*this, &error);
    } catch (...) {
      exception = std::current_exception();
    }
    const MutexLock lock(mutex_);
    done_ = true;
    ok_ = ok;
    error_ = std::move(error);
    exception_ = exception;
    changed_.notifyAll();
  }

  void begin(uint64_t announcedBytes) override EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    announcedBytes_ = announcedBytes;
  }

  bool take(std::string_view piece) override EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    while (!abandoned_ && buffer_.size() >= kMostBufferedBytes) changed_.wait(mutex_);
    if (abandoned_) return false;
    buffer_.append(piece);
    changed_.notifyAll();
    return true;
  }

  /// The caller's side. Waits for bytes and puts them in the place of `bytes`; false at the end of the
  /// exchange, and once it is abandoned. Abandons an exchange whose step lasts too long.
  bool next(std::string& bytes) EXCLUDES(mutex_) {
    bytes.clear();
    const MutexLock lock(mutex_);
    while (!abandoned_ && !done_ && buffer_.empty()) {
      if (exchange_.giveUpOverdue(&timeOut_)) {
        abandoned_ = true;
      } else {
        changed_.waitUntil(mutex_, exchange_.lookAgainAt());
      }
    }
    if (abandoned_ || buffer_.empty()) return false;
    bytes.swap(buffer_);
    changed_.notifyAll();
    return true;
  }

  /// Makes take() refuse all further bytes. True when the exchange has already ended.
  bool abandon() EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    abandoned_ = true;
    changed_.notifyAll();
    return done_;
  }

  uint64_t announcedBytes() const EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    return announcedBytes_;
  }

  /// The outcome of an exchange that has ended or timed out; throws what it threw.
  bool result(std::string* error) const EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (!timeOut_.empty()) return fail(error, timeOut_);
    if (exception_) std::rethrow_exception(exception_);
    return ok_ || fail(error, error_);
  }

 private:
  HttpExchange exchange_;
  mutable Mutex mutex_;
  ConditionVariable changed_;
  std::string buffer_ GUARDED_BY(mutex_);  // arrived and not yet taken
  uint64_t announcedBytes_ GUARDED_BY(mutex_) = 0;
  std::string error_ GUARDED_BY(mutex_);
  std::exception_ptr exception_ GUARDED_BY(mutex_);
  bool ok_ GUARDED_BY(mutex_) = false;
  bool done_ GUARDED_BY(mutex_) = false;
  bool abandoned_ GUARDED_BY(mutex_) = false;
  std::string timeOut_ GUARDED_BY(mutex_);  // the text of the step that lasted too long
};

/// The thread of one exchange: joined when the exchange has ended, detached otherwise.
class ExchangeThread {
 public:
  explicit ExchangeThread(HttpAddress address)
      : transfer_(std::make_shared<Transfer>(std::move(address))),
        thread_([transfer = transfer_] { transfer->run(); }) {}
  ~ExchangeThread() {
    if (transfer_->abandon()) {
      thread_.join();
    } else {
      thread_.detach();
    }
  }
  ExchangeThread(const ExchangeThread&) = delete;
  ExchangeThread& operator=(const ExchangeThread&) = delete;

  Transfer& transfer() { return *transfer_; }

 private:
  const std::shared_ptr<Transfer> transfer_;
  std::thread thread_;
};

/// `take` is called with the bytes as they come and the announced length.
template <typename Take>
bool download(const std::string& url, const Take& take, std::string* error, const StopToken& stop) {
  if (error != nullptr) error->clear();
  HttpAddress address;
  if (!splitUrl(url, address, error)) return false;
  if (!stop.stop_requested()) {
    ExchangeThread exchange(std::move(address));
    Transfer& transfer = exchange.transfer();
    const StopCallback abandonAtStop(stop, [&transfer] { (void)transfer.abandon(); });
    for (std::string bytes; transfer.next(bytes);) take(bytes, transfer.announcedBytes());
    if (!stop.stop_requested()) return transfer.result(error);
  }
  return fail(error, "service is stopping");
}

}  // namespace

bool httpGet(const std::string& url, std::string* body, std::string* error, const StopToken& stop) {
  if (body != nullptr) body->clear();
  const auto append = [body](const std::string& bytes, uint64_t announced) {
    if (body == nullptr) return;
    // Reserving the announced length saves the copies of a growing body; the limit keeps a server from making
    // us reserve more than we would read.
    if (body->empty()) body->reserve(static_cast<size_t>(std::min(announced, kMaxHttpBodyBytes)));
    body->append(bytes);
  };
  return download(url, append, error, stop);
}

bool httpGetPieces(const std::string& url, const std::function<void(std::string_view)>& take,
                   std::string* error, const StopToken& stop) {
  return download(
      url, [&take](const std::string& bytes, uint64_t) { take(bytes); }, error, stop);
}

}  // namespace korvel
