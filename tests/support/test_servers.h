// The two servers that tests/net/run_net_tests.sh starts, and the variables that they set for the test
// program. A program that was started without its servers fails its server tests with the hint below instead
// of skipping them. Windows only.
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "base/files.h"
#include "base/utf.h"
#include "support/temp_folder.h"

namespace korvel::test {

inline std::string serverVariable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr)
    throw std::runtime_error(std::string(name) +
                             " is not set: scripts/test starts the servers that this needs");
  return value;
}

inline std::string localUrl(const char* portVariable, const std::string& path) {
  return "http://127.0.0.1:" + serverVariable(portVariable) + path;
}

/// nginx: ordinary traffic, files below the folder of publish().
inline std::string nginxUrl(const std::string& path) { return localUrl("KORVEL_TEST_HTTP_PORT", path); }
/// odd_server.py: the first component of the path names the behaviour.
inline std::string oddUrl(const std::string& path) { return localUrl("KORVEL_TEST_ODD_PORT", path); }

/// A folder in which every temporary file can be created and meets a full disk (error 112) with its first
/// byte.
inline std::wstring fullFolder() { return toWide(serverVariable("KORVEL_TEST_FULL")); }

/// Lets nginx serve `bytes` under `path`, which begins with a slash.
inline void publish(const std::string& path, std::string_view bytes) {
  std::wstring file = toWide(serverVariable("KORVEL_TEST_WWW") + path);
  for (wchar_t& unit : file) {
    if (unit == L'/') unit = L'\\';
  }
  writeFile(file, bytes);
}

/// Whether this machine (a Wine prefix, that is) was set up for tests that change the system's own files.
inline bool isTestMachine() { return pathExists(L"C:\\korvel-test-machine"); }

}  // namespace korvel::test
