// What odd_server.py (see test_servers.h) says about the requests that it has seen. Windows only.
#pragma once

#include <stdexcept>
#include <string>

#include "net/http_client.h"
#include "support/test_servers.h"

namespace korvel::test {

/// What the odd server says about itself; these requests do not count as such.
inline std::string askOddServer(const std::string& path) {
  std::string body;
  std::string error;
  if (!httpGet(oddUrl(path), &body, &error)) throw std::runtime_error(path + ": " + error);
  return body;
}
/// Requests that the odd server has seen.
inline int requestsSeen() { return std::stoi(askOddServer("/count")); }
/// The paths of the requests after the first `from`, an LF behind each.
inline std::string pathsSince(int from) { return askOddServer("/paths/" + std::to_string(from)); }

}  // namespace korvel::test
