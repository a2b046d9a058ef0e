// From the creation of a file below a watched root to its detection, against a bare directory watch that
// opens, reads and closes each reported file.
//
// Usage: realtime_bench [--tiny]
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "base/utf.h"
#include "engine/notify_records.h"
#include "engine/realtime_watcher.h"
#include "measure.h"
#include "runtime/stop_event.h"
#include "signatures/signature_database.h"
#include "support/temp_folder.h"

namespace {

using korvel::ByteView;
using korvel::UniqueHandle;
using korvel::bench::Arguments;
using korvel::bench::Figures;
using korvel::bench::wallSeconds;
using korvel::test::TempFolder;

constexpr double kLimitSeconds = 20;
constexpr DWORD kBufferBytes = 65'536;
constexpr DWORD kChanges = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE |
                           FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_CREATION;

/// The last file that a watcher has reported.
class Report {
 public:
  void put(const std::wstring& path) { last_ = std::hash<std::wstring>()(path); }
  /// False when the path is not reported in time.
  bool awaited(const std::wstring& path, double limitSeconds) const {
    const size_t expected = std::hash<std::wstring>()(path);
    const double limit = wallSeconds() + limitSeconds;
    while (last_ != expected) {
      if (wallSeconds() > limit) return false;
      std::this_thread::yield();
    }
    return true;
  }

 private:
  std::atomic<size_t> last_{0};
};

/// The product's watcher on one folder.
class Watcher {
 public:
  Watcher(const TempFolder& folder, Report& report)
      : watcher_(std::make_shared<korvel::SignatureDatabase>(), korvel::ScanOptions(), stopEvent_,
                 [&report](const korvel::FileVerdict& verdict) { report.put(verdict.path); }),
        thread_([this, &folder] { watcher_.run({folder.path()}); }) {}
  ~Watcher() {
    stop_.request_stop();
    thread_.join();
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

 private:
  korvel::StopSource stop_;
  const korvel::StopEvent stopEvent_{stop_.get_token()};
  korvel::svc::RealtimeWatcher watcher_;
  std::thread thread_;
};

/// The control: one overlapped watch of one folder. Ends with the file "end".
class BareWatcher {
 public:
  BareWatcher(const TempFolder& folder, Report& report)
      : folder_(folder),
        directory_(::CreateFileW(folder.path().c_str(), FILE_LIST_DIRECTORY,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, /*security=*/nullptr,
                                 OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED,
                                 /*template=*/nullptr)),
        thread_([this, &report] { watch(report); }) {}
  ~BareWatcher() {
    folder_.write(L"end", "");
    thread_.join();
  }
  BareWatcher(const BareWatcher&) = delete;
  BareWatcher& operator=(const BareWatcher&) = delete;

 private:
  void watch(Report& report) {
    const UniqueHandle event(::CreateEventW(nullptr, /*manualReset=*/TRUE, /*initialState=*/FALSE, nullptr));
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.get();
    std::vector<uint8_t> buffer(kBufferBytes);
    DWORD bytes = 0;
    while (::ReadDirectoryChangesW(directory_.get(), buffer.data(), kBufferBytes, /*watchSubtree=*/TRUE,
                                   kChanges,
                                   /*bytesReturned=*/nullptr, &overlapped, /*completion=*/nullptr) &&
           ::GetOverlappedResult(directory_.get(), &overlapped, &bytes, /*wait=*/TRUE)) {
      for (const std::wstring& name : korvel::svc::changedNames(ByteView(buffer.data(), bytes))) {
        if (name == L"end") return;
        try {
          (void)korvel::test::readFile(folder_.at(name));
          report.put(folder_.at(name));
        } catch (const std::exception&) {
          // still being written
        }
      }
    }
  }

  const TempFolder& folder_;
  const UniqueHandle directory_;
  std::thread thread_;
};

/// A folder under a watcher of one kind, and files made in it one after the other.
template <typename Kind>
class Trial {
 public:
  explicit Trial(int files) : files_(files) {
    // Armed once a file is reported.
    for (int i = 0; i < 100; ++i) {
      if (reported(0.2)) return;
    }
    throw std::runtime_error("the watch was never armed");
  }

  double run() {
    const double start = wallSeconds();
    for (int i = 0; i < files_; ++i) {
      if (!reported(kLimitSeconds)) throw std::runtime_error("a file was not reported");
    }
    return wallSeconds() - start;
  }

 private:
  bool reported(double limitSeconds) {
    return report_.awaited(folder_.write(std::to_wstring(++made_) + L".pdf.exe", "MZ"), limitSeconds);
  }

  const int files_;
  int made_ = 0;
  TempFolder folder_;
  Report report_;
  Kind watcher_{folder_, report_};
};

void run(const Arguments& arguments) {
  const int files = arguments.tiny() ? 5 : 100;
  Trial<Watcher> ours(files);
  Trial<BareWatcher> bare(files);
  const std::vector<double> best =
      korvel::bench::bestOf(arguments.rounds(9), {[&] { return ours.run(); }, [&] { return bare.run(); }});
  const Figures figures("realtime");
  figures.plain("creation to detection, to a bare watch that reads the file", best[0] / best[1]);
  figures.plain("creation to detection", best[0] / files * 1e6, "us");
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }
