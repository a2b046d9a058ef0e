// korvelsig on this machine.
#include <cstdio>
#include <ctime>

#include "korvelsig/commands.h"

namespace {

void writeTo(std::FILE* stream, std::string_view text) {
  (void)std::fwrite(text.data(), 1, text.size(), stream);  // a closed pipe is not an error
}

}  // namespace

int main(int argc, char** argv) {
  const std::unique_ptr<korvel::sig::FileAccess> files = korvel::sig::systemFiles();
  const korvel::sig::Surroundings here{*files, [](std::string_view text) { writeTo(stdout, text); },
                                       [](std::string_view text) { writeTo(stderr, text); },
                                       static_cast<uint64_t>(std::time(nullptr))};
  return korvel::sig::runKorvelsig({argv + 1, argv + argc}, here);
}
