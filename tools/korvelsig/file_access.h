// How korvelsig reaches files; tests put a stand-in in its place. Paths are UTF-8.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace korvel::sig {

/// A file that cannot be read or written; the text names it and the reason.
class FileFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Functions throw FileFailure. Not thread-safe.
class FileAccess {
 public:
  virtual ~FileAccess() = default;

  virtual uint64_t size(const std::string& path) = 0;
  /// Hands the file over in pieces, which `take` may not keep, until `take` returns or throws. Pipes and
  /// devices are refused.
  virtual void read(const std::string& path, const std::function<void(std::string_view)>& take) = 0;

  /// Writes through a temporary file beside the target: at `path` is the old or the new file, whole.
  /// `fill` is called once with a function that appends text.
  using Append = std::function<void(std::string_view)>;
  virtual void replace(const std::string& path, const std::function<void(const Append&)>& fill) = 0;
};

/// The files of this machine.
std::unique_ptr<FileAccess> systemFiles();

}  // namespace korvel::sig
