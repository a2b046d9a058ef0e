// What a command says about its steps.
#pragma once

#include <string>

#include "korvelctl/cli/context.h"
#include "korvelctl/render/listing.h"

namespace korvel::ctl {

/// What an installation says about its steps: "Data folder  C:\...: closed".
class Steps {
 public:
  explicit Steps(Context& context) : context_(context) {}
  void add(const Text& title, const char* id, const std::string& item, const std::string& outcome,
           Json details) {
    facts_.add(context_.say(title), item.empty() ? outcome : item + ": " + outcome);
    Json step{{"step", id}};
    step.update(details);
    json_.push_back(std::move(step));
  }
  void print() { context_.print(facts_.text(context_.look())); }
  const Json& json() const { return json_; }

 private:
  Context& context_;
  Facts facts_;
  Json json_ = Json::array();
};

}  // namespace korvel::ctl
