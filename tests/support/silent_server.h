// A server that accepts connections on 127.0.0.1 and says nothing on them until it is told to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace korvel::test {

/// Clients can connect from construction on, before takeClient() is called. Throws when it cannot listen.
class SilentServer {
 public:
  SilentServer();
  ~SilentServer();
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  const std::string& url() const { return url_; }

  /// Waits until one more client has connected; false when none comes within a minute.
  bool takeClient();
  /// Answers the last client with this body.
  void answer(const std::string& body);
  /// Ends all connections and listens no more.
  void hangUp();

 private:
  std::string url_;
  uintptr_t listener_;  // a SOCKET
  std::vector<uintptr_t> clients_;
};

}  // namespace korvel::test
