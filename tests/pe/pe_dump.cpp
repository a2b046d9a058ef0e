// Prints what the PE analysis sees in files, one JSON object per line, for comparison with other parsers.
// Files are named as arguments or, without arguments, one per line on standard input.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include <nlohmann/json.hpp>

#include "pe/pe_analysis.h"

namespace {

using korvel::ByteView;
using nlohmann::json;

json describe(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return {{"path", path}, {"error", "cannot open"}};
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const korvel::PeAnalysis analysis = korvel::analyzePeBuffer(ByteView(bytes), bytes.size(), UINT32_MAX);
  const korvel::PeInfo& info = analysis.info;
  json codes = json::array();
  for (const korvel::Finding& finding : analysis.findings) codes.push_back(finding.code);
  return {{"path", path},
          {"isPe", info.isPe},
          {"isDll", info.isDll},
          {"machine", info.machine},
          {"subsystem", info.subsystem},
          {"timeDateStamp", info.timeDateStamp},
          {"hasImports", info.hasImports},
          {"hasResources", info.hasResources},
          {"hasDebug", info.hasDebug},
          {"hasTls", info.hasTls},
          {"sectionCount", info.sectionCount},
          {"imports", info.imports},
          {"entropy", info.entropy},
          {"maxSectionEntropy", info.maxSectionEntropy},
          {"hasOverlay", info.hasOverlay},
          {"overlaySize", info.overlaySize},
          {"packed", info.packed},
          {"packer", analysis.packer},
          {"findings", codes}};
}

void print(const std::string& path) { std::cout << describe(path).dump() << '\n'; }

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) print(argv[i]);
  if (argc > 1) return 0;
  for (std::string path; std::getline(std::cin, path);) print(path);
  return 0;
}
