#include "support/silent_server.h"

#include <stdexcept>
#include <utility>

#include "base/win.h"
#include "support/local_listener.h"

#include <winsock2.h>

namespace korvel::test {
namespace {

constexpr long kClientLimitSeconds = 60;

}  // namespace

SilentServer::SilentServer() : listener_(listenLocally(&url_)) {}

SilentServer::~SilentServer() {
  hangUp();
  ::WSACleanup();
}

bool SilentServer::takeClient() {
  fd_set waiting;
  FD_ZERO(&waiting);
  FD_SET(listener_, &waiting);
  timeval limit{kClientLimitSeconds, 0};
  if (::select(0, &waiting, nullptr, nullptr, &limit) != 1) return false;
  clients_.push_back(::accept(listener_, nullptr, nullptr));
  return clients_.back() != INVALID_SOCKET;
}

void SilentServer::answer(const std::string& body) {
  const std::string text = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
                           "\r\nConnection: close\r\n\r\n" + body;
  const int bytes = static_cast<int>(text.size());
  if (::send(clients_.back(), text.data(), bytes, /*flags=*/0) != bytes)
    throw std::runtime_error("send failed, code " + std::to_string(::WSAGetLastError()));
}

void SilentServer::hangUp() {
  for (const uintptr_t client : clients_) ::closesocket(client);
  clients_.clear();
  if (listener_ != INVALID_SOCKET) ::closesocket(std::exchange(listener_, INVALID_SOCKET));
}

}  // namespace korvel::test
