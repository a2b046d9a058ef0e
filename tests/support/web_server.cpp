#include "support/web_server.h"

#include <utility>

#include "support/local_listener.h"

#include <winsock2.h>

namespace korvel::test {
namespace {

constexpr size_t kMostRequestBytes = 16 * 1024;
constexpr long kLookMicroseconds = 20'000;  // between two looks at the end
constexpr DWORD kClientLimitMs = 5'000;

bool waitsForRead(uintptr_t socket) {
  fd_set waiting;
  FD_ZERO(&waiting);
  FD_SET(socket, &waiting);
  timeval limit{0, kLookMicroseconds};
  return ::select(0, &waiting, nullptr, nullptr, &limit) == 1;
}

/// The path of the first line; empty when the client has gone.
std::string requestedPath(uintptr_t client) {
  std::string request;
  while (request.find("\r\n\r\n") == std::string::npos) {
    char piece[4096];
    const int got = ::recv(client, piece, sizeof piece, /*flags=*/0);
    if (got <= 0 || request.size() > kMostRequestBytes) return {};
    request.append(piece, static_cast<size_t>(got));
  }
  const size_t start = request.find(' ') + 1;
  return request.substr(start, request.find(' ', start) - start);
}

}  // namespace

WebServer::WebServer(Answer answer) : answer_(std::move(answer)), listener_(listenLocally(&url_)) {
  thread_ = std::thread([this] { serve(); });
}

WebServer::~WebServer() {
  ended_ = true;
  thread_.join();
  ::closesocket(listener_);
  ::WSACleanup();
}

void WebServer::serve() {
  while (!ended_) {
    if (!waitsForRead(listener_)) continue;
    const SOCKET client = ::accept(listener_, nullptr, nullptr);
    if (client == INVALID_SOCKET) continue;
    ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&kClientLimitMs),
                 sizeof kClientLimitMs);
    ::setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&kClientLimitMs),
                 sizeof kClientLimitMs);
    answerClient(client);
    ::closesocket(client);
  }
}

void WebServer::answerClient(uintptr_t client) const {
  const std::string path = requestedPath(client);
  if (path.empty()) return;
  const std::string body = answer_(path);
  const std::string text = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
                           "\r\nConnection: close\r\n\r\n" + body;
  for (size_t sent = 0; sent < text.size();) {
    const int count = ::send(client, text.data() + sent, static_cast<int>(text.size() - sent), /*flags=*/0);
    if (count <= 0) return;  // the client has gone
    sent += static_cast<size_t>(count);
  }
}

}  // namespace korvel::test
