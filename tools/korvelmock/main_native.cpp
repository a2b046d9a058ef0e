// korvelmock on this machine: over standard input and output only.
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <thread>

#include "korvelmock/program.h"

namespace korvel::mock {
namespace {

class StandardStreams : public Channel {
 public:
  bool read(void* to, size_t bytes) override {
    auto* at = static_cast<char*>(to);
    while (bytes != 0) {
      const ssize_t done = ::read(STDIN_FILENO, at, bytes);
      if (done <= 0) return false;
      at += done;
      bytes -= static_cast<size_t>(done);
    }
    return true;
  }

  bool write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t done = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
      if (done <= 0) return false;
      bytes.remove_prefix(static_cast<size_t>(done));
    }
    return true;
  }
};

class NativeSystem : public System {
 public:
  std::optional<std::string> readFile(const std::string& path) override {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  void out(std::string_view text) override { (void)std::fwrite(text.data(), 1, text.size(), stdout); }
  void err(std::string_view text) override { (void)std::fwrite(text.data(), 1, text.size(), stderr); }
  void sleep(uint32_t milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
  Channel& standardStreams() override { return standard_; }
  std::unique_ptr<Listener> listen(const std::string&, std::string* error) override {
    *error = "named pipes are on Windows only; here there is --stdio";
    return nullptr;
  }

 private:
  StandardStreams standard_;
};

}  // namespace
}  // namespace korvel::mock

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a client that leaves is no reason to die of
  korvel::mock::NativeSystem system;
  return korvel::mock::runKorvelmock({argv + 1, argv + argc}, system);
}
