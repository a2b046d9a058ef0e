#include "support/silent_server.h"

#include <stdexcept>
#include <utility>

#include "base/win.h"

#include <winsock2.h>

namespace korvel::test {
namespace {

constexpr long kClientLimitSeconds = 60;

void require(bool done, const char* step) {
  if (!done)
    throw std::runtime_error(std::string(step) + " failed, code " + std::to_string(::WSAGetLastError()));
}

}  // namespace

SilentServer::SilentServer() {
  WSADATA data{};
  require(::WSAStartup(MAKEWORD(2, 2), &data) == 0, "WSAStartup");
  listener_ = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  require(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
  require(::listen(listener_, SOMAXCONN) == 0, "listen");
  int length = sizeof address;
  require(::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) == 0, "getsockname");
  url_ = "http://127.0.0.1:" + std::to_string(::ntohs(address.sin_port));
}

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
  require(::send(clients_.back(), text.data(), bytes, /*flags=*/0) == bytes, "send");
}

void SilentServer::hangUp() {
  for (const uintptr_t client : clients_) ::closesocket(client);
  clients_.clear();
  if (listener_ != INVALID_SOCKET) ::closesocket(std::exchange(listener_, INVALID_SOCKET));
}

}  // namespace korvel::test
