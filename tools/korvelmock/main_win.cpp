// korvelmock on Windows: on a named pipe, or over standard input and output.
#include <string>

#include "base/files.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "korvelmock/program.h"
#include "protocol/frame.h"

namespace korvel::mock {
namespace {

/// A pipe, or the two standard streams.
class HandleChannel : public Channel {
 public:
  HandleChannel(HANDLE input, HANDLE output) : input_(input), output_(output) {}

  bool read(void* to, size_t bytes) override {
    auto* at = static_cast<char*>(to);
    while (bytes != 0) {
      DWORD done = 0;
      if (!::ReadFile(input_, at, ipc::chunkOf(bytes), &done, /*overlapped=*/nullptr) || done == 0)
        return false;
      at += done;
      bytes -= done;
    }
    return true;
  }

  bool write(std::string_view bytes) override {
    while (!bytes.empty()) {
      DWORD done = 0;
      if (!::WriteFile(output_, bytes.data(), ipc::chunkOf(bytes.size()), &done, /*overlapped=*/nullptr))
        return false;
      bytes.remove_prefix(done);
    }
    return true;
  }

 private:
  HANDLE input_;
  HANDLE output_;
};

/// One instance of the pipe, so that a second client finds it busy.
class PipeListener : public Listener {
 public:
  PipeListener(UniqueHandle pipe, std::wstring name)
      : pipe_(std::move(pipe)), name_(std::move(name)), channel_(pipe_.get(), pipe_.get()) {}

  void keepBusy(uint32_t milliseconds) override {
    UniqueHandle holder(::CreateFileW(name_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, /*security=*/nullptr,
                                      OPEN_EXISTING, SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS,
                                      /*template=*/nullptr));
    ::Sleep(milliseconds);
    holder.reset();
    ::DisconnectNamedPipe(pipe_.get());
  }

  Channel* accept() override {
    if (!::ConnectNamedPipe(pipe_.get(), /*overlapped=*/nullptr) &&
        ::GetLastError() != ERROR_PIPE_CONNECTED &&
        ::GetLastError() != ERROR_NO_DATA)  // it came and has left already
      return nullptr;
    return &channel_;
  }

  void disconnect() override {
    (void)::FlushFileBuffers(pipe_.get());
    ::DisconnectNamedPipe(pipe_.get());
  }

 private:
  UniqueHandle pipe_;
  std::wstring name_;
  HandleChannel channel_;
};

class WindowsSystem : public System {
 public:
  std::optional<std::string> readFile(const std::string& path) override {
    std::string bytes;
    if (!readWholeFile(toWide(path), bytes)) return std::nullopt;
    return bytes;
  }
  void out(std::string_view text) override { write(STD_OUTPUT_HANDLE, text); }
  void err(std::string_view text) override { write(STD_ERROR_HANDLE, text); }
  void sleep(uint32_t milliseconds) override { ::Sleep(milliseconds); }
  Channel& standardStreams() override { return standard_; }

  std::unique_ptr<Listener> listen(const std::string& pipe, std::string* error) override {
    constexpr std::wstring_view kFolder = L"\\\\.\\pipe\\";
    std::wstring name = toWide(pipe);
    if (!name.starts_with(kFolder)) name.insert(0, kFolder);
    // Not every system heeds the flag for the first instance.
    const bool taken =
        ::WaitNamedPipeW(name.c_str(), NMPWAIT_NOWAIT) || ::GetLastError() != ERROR_FILE_NOT_FOUND;
    if (taken) {
      *error = toUtf8(name) + " is there already; does the service run?";
      return nullptr;
    }
    UniqueHandle handle(::CreateNamedPipeW(
        name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, /*instances=*/1,
        ipc::kIoChunkBytes, ipc::kIoChunkBytes, /*timeout=*/0, /*security=*/nullptr));
    if (!handle) {
      *error = toUtf8(name) + " cannot be made (win32=" + std::to_string(::GetLastError()) + ")";
      return nullptr;
    }
    return std::make_unique<PipeListener>(std::move(handle), std::move(name));
  }

 private:
  /// UTF-8; the texts of this program are ASCII but for the paths of its arguments.
  static void write(DWORD standardHandle, std::string_view text) {
    const HANDLE handle = ::GetStdHandle(standardHandle);
    if (KernelHandleTraits::valid(handle)) (void)writeAll(handle, text);  // the reader may be gone
  }

  HandleChannel standard_{::GetStdHandle(STD_INPUT_HANDLE), ::GetStdHandle(STD_OUTPUT_HANDLE)};
};

}  // namespace
}  // namespace korvel::mock

int wmain(int argc, wchar_t** argv) {
  korvel::mock::WindowsSystem system;
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(korvel::toUtf8(argv[i]));
  return korvel::mock::runKorvelmock(std::move(arguments), system);
}
