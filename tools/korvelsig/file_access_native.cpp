#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/sizes.h"
#include "korvelsig/file_access.h"

namespace korvel::sig {
namespace {

constexpr size_t kPieceBytes = 512 * kKiB;

[[noreturn]] void failed(const std::string& what, const std::string& path) {
  const std::string reason = std::strerror(errno);
  throw FileFailure("cannot " + what + " " + path + ": " + reason);
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return number_; }
  /// False when the system could not keep what was written.
  bool close() { return ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

struct stat statusOf(const Descriptor& file, const std::string& path) {
  struct stat status {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) failed("read", path);
  if (!S_ISREG(status.st_mode)) throw FileFailure("cannot read " + path + ": not a file");
  return status;
}

Descriptor opened(const std::string& path) {
  return Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));  // a pipe must not hold us up
}

class SystemFiles : public FileAccess {
 public:
  uint64_t size(const std::string& path) override {
    return static_cast<uint64_t>(statusOf(opened(path), path).st_size);
  }

  void read(const std::string& path, const std::function<void(std::string_view)>& take) override {
    const Descriptor file = opened(path);
    (void)statusOf(file, path);
    const auto piece = std::make_unique_for_overwrite<char[]>(kPieceBytes);
    for (;;) {
      const ssize_t got = ::read(file.get(), piece.get(), kPieceBytes);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) failed("read", path);
      if (got == 0) return;
      take({piece.get(), static_cast<size_t>(got)});
    }
  }

  void replace(const std::string& path, const std::function<void(const Append&)>& fill) override {
    const std::string temporary = path + ".tmp";
    (void)::unlink(temporary.c_str());
    Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.get() < 0) failed("write", temporary);
    try {
      fill([&](std::string_view text) { writeAll(file, text, temporary); });
      if (::fsync(file.get()) != 0 || !file.close()) failed("write", temporary);
      if (::rename(temporary.c_str(), path.c_str()) != 0) failed("replace", path);
    } catch (...) {
      (void)::unlink(temporary.c_str());
      throw;
    }
  }

 private:
  static void writeAll(const Descriptor& file, std::string_view text, const std::string& path) {
    while (!text.empty()) {
      const ssize_t wrote = ::write(file.get(), text.data(), text.size());
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote < 0) failed("write", path);
      text.remove_prefix(static_cast<size_t>(wrote));
    }
  }
};

}  // namespace

std::unique_ptr<FileAccess> systemFiles() { return std::make_unique<SystemFiles>(); }

}  // namespace korvel::sig
