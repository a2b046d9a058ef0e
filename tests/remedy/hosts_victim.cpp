// Applies and removes a block in the hosts file named on the command line until it is killed.
#include <string>
#include <vector>

#include "base/unique_resource.h"
#include "base/win.h"
#include "remedy/hosts_file.h"

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) return 2;
  const std::wstring hosts = argv[1];
  std::vector<std::string> domains;
  for (int i = 0; i < 10'000; ++i) domains.push_back("domain" + std::to_string(i) + ".com");

  korvel::UniqueHandle(::CreateFileW((hosts + L".started").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
  for (;;) {
    if (!korvel::applyBlocklistTo(hosts, domains, nullptr)) return 1;
    if (!korvel::removeBlocklistFrom(hosts, nullptr)) return 1;
  }
}
