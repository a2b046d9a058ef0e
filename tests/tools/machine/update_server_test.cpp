#include "korvelctl/machine/update_server.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

TEST(UpdateServer, AnAddressHasASchemeAndAHost) {
  for (const char* url : {"https://updates.example.com", "http://127.0.0.1:8080", "HTTPS://host/korvel/"})
    EXPECT_TRUE(isServerAddress(url)) << url;
  for (const char* url : {"", "https://", "host", "ftp://host", "http:///path", "http://:80", "https://a b",
                          "https://host\nWebShield=0", "https://host\"", "file://host"})
    EXPECT_FALSE(isServerAddress(url)) << url;
  EXPECT_FALSE(isServerAddress("https://" + std::string(3'000, 'h')));
}

}  // namespace
}  // namespace korvel::ctl
