#include "native_process.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace korvel::bench {
namespace {

/// Ends this process, a child that shares nothing worth cleaning up, with the growth of its peak in the pipe.
[[noreturn]] void reportPeak(const std::function<void()>& body, int pipe) {
  uint64_t grown = 0;
  int status = 1;
  try {
    ::malloc_trim(0);                               // what the parent has freed must not serve the body
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again from what is resident
    const uint64_t before = statusBytes("VmRSS");
    body();
    grown = statusBytes("VmHWM") - before;
    status = 0;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "error: %s\n", exception.what());
  }
  if (::write(pipe, &grown, sizeof grown) != sizeof grown) status = 1;
  ::_exit(status);
}

void awaitSuccess(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, 0) != child || status != 0)
    throw std::runtime_error("a child process failed");
}

pid_t forked() {
  std::fflush(stdout);
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  return child;
}

double childrenSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

uint64_t statusBytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) return std::stoull(line.substr(name.size() + 1)) * 1024;
  }
  throw std::runtime_error("no " + name + " in /proc/self/status");
}

TemporaryFile::TemporaryFile() {
  std::string name = (std::filesystem::temp_directory_path() / "korvel-bench-XXXXXX").string();
  const int file = ::mkstemp(name.data());
  if (file < 0) throw std::runtime_error("no temporary file");
  ::close(file);
  path_ = name;
}

TemporaryFile::~TemporaryFile() {
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

void TemporaryFile::append(std::string_view text) const {
  std::ofstream stream(path_, std::ios::binary | std::ios::app);
  if (!stream.write(text.data(), static_cast<std::streamsize>(text.size())))
    throw std::runtime_error("cannot write a temporary file");
}

void readInPieces(const std::filesystem::path& path, size_t pieceBytes,
                  const std::function<void(std::string_view)>& consume) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) throw std::runtime_error("cannot open " + path.string());
  const auto piece = std::make_unique_for_overwrite<char[]>(pieceBytes);
  ssize_t got = 0;
  while ((got = ::read(file, piece.get(), pieceBytes)) > 0) consume({piece.get(), static_cast<size_t>(got)});
  ::close(file);
  if (got < 0) throw std::runtime_error("cannot read " + path.string());
}

uint64_t peakOf(const std::function<void()>& body) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  const pid_t child = forked();
  if (child == 0) reportPeak(body, ends[1]);
  ::close(ends[1]);
  uint64_t grown = 0;
  const bool read = ::read(ends[0], &grown, sizeof grown) == sizeof grown;
  ::close(ends[0]);
  awaitSuccess(child);
  if (!read) throw std::runtime_error("a child process said nothing");
  return grown;
}

double commandSeconds(const std::vector<std::string>& command) {
  const double before = childrenSeconds();
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = forked();
  if (child == 0) {
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
  }
  awaitSuccess(child);
  return childrenSeconds() - before;
}

}  // namespace korvel::bench
