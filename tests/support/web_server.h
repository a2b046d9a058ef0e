// A small web server on 127.0.0.1 that answers every request at once. Windows only.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace korvel::test {

class WebServer {
 public:
  /// Gives the body for a path; called on the server's own thread.
  using Answer = std::function<std::string(const std::string& path)>;

  /// Serves from now on. Throws when it cannot listen.
  explicit WebServer(Answer answer);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  const std::string& url() const { return url_; }

 private:
  void serve();
  void answerClient(uintptr_t client) const;

  Answer answer_;
  std::string url_;
  uintptr_t listener_;  // a SOCKET
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

}  // namespace korvel::test
