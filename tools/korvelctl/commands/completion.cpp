// completion: a script for the shell.
#include "korvelctl/render/completion.h"

#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/log_words.h"
#include "korvelctl/commands/commands.h"

namespace korvel::ctl {
namespace {

/// The script is the same in every form of output.
int completion(const Command& root, Context& context) {
  context.write(powershellCompletion(root, context.language()));
  return kExitDone;
}

}  // namespace

void addCompletionCommand(Command& root) {
  const auto shell = std::make_shared<std::string>();
  root.add("completion", words::kCompletionHelp,
           [&root, shell](Context& context) { return completion(root, context); })
      .argumentChoice("SHELL", {"powershell"}, *shell, words::kCompletionShell)
      .example("korvelctl completion powershell", words::kCompletionExample);
}

}  // namespace korvel::ctl
