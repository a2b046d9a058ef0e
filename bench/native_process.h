// What only the native benchmarks ask the system: temporary files, the memory peak of a run in a process of
// its own, and the processor time of a command.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::bench {

/// A file in the folder for temporary files; the destructor removes it.
class TemporaryFile {
 public:
  TemporaryFile();
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const std::filesystem::path& path() const { return path_; }
  void append(std::string_view text) const;

 private:
  std::filesystem::path path_;
};

/// Reads a file in pieces of `pieceBytes` without a buffer of the library in between.
void readInPieces(const std::filesystem::path& path, size_t pieceBytes,
                  const std::function<void(std::string_view)>& consume);

/// Runs `body` in a child process. Returns by how many bytes its peak of resident memory exceeds the memory
/// that was resident before.
uint64_t peakOf(const std::function<void()>& body);

/// A memory figure of this process, by its name in /proc/self/status.
uint64_t statusBytes(const std::string& name);

/// The processor seconds of a command and its children.
double commandSeconds(const std::vector<std::string>& command);

}  // namespace korvel::bench
