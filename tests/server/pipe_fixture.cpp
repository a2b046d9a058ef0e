#include "server/pipe_fixture.h"

#include <memory>
#include <stdexcept>

#include "base/byte_view.h"
#include "base/text.h"
#include "protocol/frame.h"
#include "runtime/log.h"
#include "server/server_pipe.h"
#include "server/transfers.h"

namespace korvel::test {
namespace {

constexpr int kOpenTries = 600;
constexpr DWORD kOpenPauseMs = 100;

[[noreturn]] void throwLastError(const char* what) {
  throw std::runtime_error(std::string(what) + " " + std::to_string(::GetLastError()));
}

std::vector<std::string> splitLines(const std::string& bytes) {
  std::vector<std::string> lines;
  LineReader reader(bytes);
  for (std::string_view line; reader.next(line);) lines.emplace_back(line);
  return lines;
}

}  // namespace

UniqueHandle tryOpenPipe() {
  return UniqueHandle(
      ::CreateFileW(ipc::kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
}

UniqueHandle openPipe() {
  for (int i = 0; i < kOpenTries; ++i) {
    UniqueHandle pipe = tryOpenPipe();
    if (pipe) return pipe;
    ::Sleep(kOpenPauseMs);
  }
  throwLastError("no pipe");
}

void send(HANDLE pipe, const std::string& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    DWORD written = 0;
    if (!::WriteFile(pipe, bytes.data() + done, static_cast<DWORD>(bytes.size() - done), &written, nullptr)) {
      throwLastError("cannot send");
    }
    done += written;
  }
}

std::string receive(HANDLE pipe, size_t bytes) {
  std::string result(bytes, '\0');
  for (size_t done = 0; done < bytes;) {
    DWORD got = 0;
    if (!::ReadFile(pipe, result.data() + done, static_cast<DWORD>(bytes - done), &got, nullptr) ||
        got == 0) {
      throwLastError("cannot receive");
    }
    done += got;
  }
  return result;
}

ReceivedFrame receiveFrame(HANDLE pipe) {
  const std::string bytes = receive(pipe, ipc::kFrameHeaderBytes);
  ipc::FrameHeader header;
  std::string error;
  if (!ipc::decodeFrameHeader(ByteView(std::string_view(bytes)), &header, &error))
    throw std::runtime_error(error);
  return {header.opcode, receive(pipe, header.length)};
}

void drain(HANDLE pipe) {
  char buffer[4096];
  DWORD got = 0;
  while (::ReadFile(pipe, buffer, sizeof buffer, &got, nullptr) && got != 0) {
  }
}

ConnectedPipe::ConnectedPipe()
    : server_(ipc::createServerPipe(PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED)),
      client_(tryOpenPipe()),
      stopEvent_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  if (!server_ || !client_ || !stopEvent_) throwLastError("no pipe pair");
}

void ConnectedPipe::serverSends(const std::string& bytes) const {
  if (!ipc::writeExact(server(), bytes.data(), bytes.size(), stopEvent(), nullptr))
    throwLastError("cannot send");
}

LogCapture::LogCapture() { Log::instance().open(folder_.at(L"korvel.log")); }

// The open file would keep its folder from being removed.
LogCapture::~LogCapture() { Log::instance().open(L"NUL"); }

std::vector<std::string> LogCapture::lines() const {
  constexpr size_t kTimeBytes = sizeof("HH:MM:SS.mmm ") - 1;
  std::vector<std::string> lines = splitLines(readFile(folder_.at(L"korvel.log")));
  for (std::string& line : lines) line.erase(0, kTimeBytes);
  return lines;
}

ConsoleCapture::ConsoleCapture()
    : path_(folder_.at(L"console.txt")), before_(::GetStdHandle(STD_OUTPUT_HANDLE)) {
  file_.reset(
      ::CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr));
  if (!file_) throwLastError("no console file");
  ::SetStdHandle(STD_OUTPUT_HANDLE, file_.get());
}

ConsoleCapture::~ConsoleCapture() {
  ::SetStdHandle(STD_OUTPUT_HANDLE, before_);
  file_.reset();
}

std::vector<std::string> ConsoleCapture::lines() const {
  std::vector<std::string> lines = splitLines(readFile(path_));
  for (std::string& line : lines) {
    if (!line.ends_with('\r')) throw std::runtime_error("a console line without CR LF");
    line.pop_back();
  }
  return lines;
}

}  // namespace korvel::test
