// A listening socket on a free port of 127.0.0.1. Windows only.
#pragma once

#include <cstdint>
#include <string>

namespace korvel::test {

/// Starts the system's sockets for this process and listens; `url` gets "http://127.0.0.1:PORT". The caller
/// closes the socket and calls WSACleanup. Throws when it cannot listen.
uintptr_t listenLocally(std::string* url);

}  // namespace korvel::test
