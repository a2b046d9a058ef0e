#include "support/local_listener.h"

#include <stdexcept>

#include "base/win.h"

#include <winsock2.h>

namespace korvel::test {
namespace {

void require(bool done, const char* step) {
  if (!done)
    throw std::runtime_error(std::string(step) + " failed, code " + std::to_string(::WSAGetLastError()));
}

}  // namespace

uintptr_t listenLocally(std::string* url) {
  WSADATA data{};
  require(::WSAStartup(MAKEWORD(2, 2), &data) == 0, "WSAStartup");
  const SOCKET listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  require(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
  require(::listen(listener, SOMAXCONN) == 0, "listen");
  int length = sizeof address;
  require(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0, "getsockname");
  *url = "http://127.0.0.1:" + std::to_string(::ntohs(address.sin_port));
  return listener;
}

}  // namespace korvel::test
