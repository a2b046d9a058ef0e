// korvelctl.exe as scripts and people use it, with the service beside it.
#pragma once

#include <nlohmann/json.hpp>

#include "base/utf.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"

namespace korvel::test {

class ControlClient : public ServiceTest {
 protected:
  /// Speaks English, and waits for a service for a second at most.
  static std::wstring withManners(const std::wstring& arguments) {
    return L"--lang en --timeout 1 " + arguments;
  }
  static Finished ctl(const std::wstring& arguments) {
    return runToEnd(controlExecutable(), withManners(arguments), /*limitMs=*/240'000);
  }
  static nlohmann::json parsed(const Finished& run) {
    try {
      return nlohmann::json::parse(run.output);
    } catch (const nlohmann::json::exception& problem) {
      ADD_FAILURE() << problem.what() << "\n" << run.output << run.errorOutput;
      return nlohmann::json::object();
    }
  }
  /// The one document of a command.
  static nlohmann::json json(const std::wstring& arguments) { return parsed(ctl(L"--json " + arguments)); }
  /// The lines of a command with --ndjson.
  static std::vector<nlohmann::json> lines(const Finished& run) {
    std::vector<nlohmann::json> list;
    size_t at = 0;
    while (at < run.output.size()) {
      const size_t end = std::min(run.output.find('\n', at), run.output.size());
      list.push_back(nlohmann::json::parse(run.output.substr(at, end - at)));
      at = end + 1;
    }
    return list;
  }
  static std::wstring quoted(const std::wstring& path) { return L"\"" + path + L"\""; }
  static bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }
};

}  // namespace korvel::test
