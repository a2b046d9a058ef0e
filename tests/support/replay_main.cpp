// Runs a fuzz target once over every file named on the command line; a finding ends the process as it would
// end the fuzzer. Prints one line with the number of files.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    // An exact heap block of its own, so that the sanitizer sees one byte too many.
    const std::unique_ptr<uint8_t[]> block(new uint8_t[bytes.size()]);
    for (size_t at = 0; at < bytes.size(); ++at) block[at] = static_cast<uint8_t>(bytes[at]);
    LLVMFuzzerTestOneInput(block.get(), bytes.size());
  }
  std::printf("replayed %d inputs\n", argc - 1);
  return 0;
}
