// Stands in for the engine's header where the engine host is compiled for its tests: the steps that the host
// takes, noted in order, each of which fails the way the test has set.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace korvel::svc {

class ScanWorker {
 public:
  /// What the next steps do; the first is the constructor. They may throw.
  struct Script {
    std::function<void()> construct = [] {};
    std::function<bool(std::string*)> init = [](std::string*) { return true; };
    std::function<bool(std::string*)> start = [](std::string*) { return true; };
    std::function<void()> stop = [] {};
    std::function<void()> destroy = [] {};
    std::vector<std::string> steps;
  };
  static Script& script() {
    static Script script;
    return script;
  }

  ScanWorker() {
    script().steps.emplace_back("construct");
    script().construct();
  }
  ~ScanWorker() {
    script().steps.emplace_back("destroy");
    script().destroy();
  }
  bool init(std::string* error) {
    script().steps.emplace_back("init");
    return script().init(error);
  }
  bool start(std::string* error) {
    script().steps.emplace_back("start");
    return script().start(error);
  }
  void stop() {
    script().steps.emplace_back("stop");
    script().stop();
  }
};

}  // namespace korvel::svc
