// Each exchange runs on a thread of its own, which the caller leaves behind when the service stops: the
// system's calls block until an answer or a time-out comes, and a stop does not wait for either. What such a
// thread still uses is its own share of the Transfer; it ends with its next step, or with the process.
#include "net/http_client.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "base/error.h"
#include "net/http_exchange.h"

namespace korvel {
namespace {

constexpr size_t kMostBufferedBytes = 1 << 20;
constexpr std::chrono::milliseconds kStopPoll{50};

bool stopRequested(const std::atomic<bool>* stopping) { return stopping != nullptr && stopping->load(); }

/// What goes from the thread of an exchange to the caller. All members are thread-safe.
class Transfer : public HttpReceiver {
 public:
  /// The exchange's side: runs it to its end.
  void run(const HttpAddress& address) {
    std::string error;
    std::exception_ptr exception;
    bool ok = false;
    try {
      ok = runExchange(address, *this, &error);
    } catch (...) {
      exception = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    done_ = true;
    ok_ = ok;
    error_ = std::move(error);
    exception_ = exception;
    changed_.notify_all();
  }

  void begin(uint64_t announcedBytes) override {
    const std::lock_guard lock(mutex_);
    announcedBytes_ = announcedBytes;
  }

  bool take(std::string_view piece) override {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return abandoned_ || buffer_.size() < kMostBufferedBytes; });
    if (abandoned_) return false;
    buffer_.append(piece);
    changed_.notify_all();
    return true;
  }

  /// The caller's side. Waits for bytes and puts them in the place of `bytes`; false at the end of the
  /// exchange and once `stopping` is set.
  bool next(std::string& bytes, const std::atomic<bool>* stopping) {
    bytes.clear();
    std::unique_lock lock(mutex_);
    while (!stopRequested(stopping)) {
      if (!buffer_.empty()) {
        bytes.swap(buffer_);
        changed_.notify_all();
        return true;
      }
      if (done_) return false;
      changed_.wait_for(lock, kStopPoll);
    }
    return false;
  }

  /// Nobody takes anything any more. True when the exchange has ended by then.
  bool abandon() {
    const std::lock_guard lock(mutex_);
    abandoned_ = true;
    changed_.notify_all();
    return done_;
  }

  uint64_t announcedBytes() const {
    const std::lock_guard lock(mutex_);
    return announcedBytes_;
  }

  /// How an exchange that has ended did; throws what it threw.
  bool result(std::string* error) const {
    const std::lock_guard lock(mutex_);
    if (exception_) std::rethrow_exception(exception_);
    return ok_ || fail(error, error_);
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string buffer_;  // arrived and not yet taken
  uint64_t announcedBytes_ = 0;
  std::string error_;
  std::exception_ptr exception_;
  bool ok_ = false;
  bool done_ = false;
  bool abandoned_ = false;
};

/// The thread of one exchange: joined where it has ended, left behind where it has not.
class ExchangeThread {
 public:
  explicit ExchangeThread(HttpAddress address)
      : thread_([transfer = transfer_, own = std::move(address)] { transfer->run(own); }) {}
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
  const std::shared_ptr<Transfer> transfer_ = std::make_shared<Transfer>();
  std::thread thread_;
};

/// `take` is called with the bytes as they come and the announced length.
template <typename Take>
bool download(const std::string& url, const Take& take, std::string* error,
              const std::atomic<bool>* stopping) {
  if (error != nullptr) error->clear();
  HttpAddress address;
  if (!splitUrl(url, address, error)) return false;
  if (!stopRequested(stopping)) {
    ExchangeThread exchange(std::move(address));
    for (std::string bytes; exchange.transfer().next(bytes, stopping);) {
      take(bytes, exchange.transfer().announcedBytes());
    }
    if (!stopRequested(stopping)) return exchange.transfer().result(error);
  }
  return fail(error, "service is stopping");
}

}  // namespace

bool httpGet(const std::string& url, std::string* body, std::string* error,
             const std::atomic<bool>* stopping) {
  if (body != nullptr) body->clear();
  const auto append = [body](const std::string& bytes, uint64_t announced) {
    if (body == nullptr) return;
    // A server that announces the length saves the copies of a growing body; it cannot make us reserve more
    // than we would read.
    if (body->empty()) body->reserve(static_cast<size_t>(std::min(announced, kMaxHttpBodyBytes)));
    body->append(bytes);
  };
  return download(url, append, error, stopping);
}

bool httpGetPieces(const std::string& url, const std::function<void(std::string_view)>& take,
                   std::string* error, const std::atomic<bool>* stopping) {
  return download(
      url, [&take](const std::string& bytes, uint64_t) { take(bytes); }, error, stopping);
}

}  // namespace korvel
