// The scene of the refusals has every refusal of docs/vectors, and the pretended service no other.
#include <fstream>
#include <map>

#include "korvelmock/scenes.h"
#include "tools/korvelmock/mock_client.h"

namespace korvel::test {
namespace {

Json refusals() {
  std::ifstream file(std::string(KORVEL_VECTORS_DIR) + "/refusals.json");
  return Json::parse(file)["refusals"];
}

TEST(MockScenes, RefusalsGivesEveryRefusalThatThereIs) {
  MockClient client(mock::findScene("refusals")->text);
  mock::Player plain(mock::parseScript(mock::findScene("refusals")->text));
  int seen = 0;
  for (const Json& one : refusals()) {
    const uint32_t opcode = one["request"];
    const std::string name = kit::operationName(opcode);
    const Json reply = name.empty() ? kit::messageValue(kit::Side::kReply, ipc::kErrorOpcode,
                                                        plain.answer({opcode, {}}).bytes.substr(24))
                                          .value()
                                    : client.ask(name);
    EXPECT_EQ(reply.value("error", reply.value("text", "")), one["text"]) << name;
    EXPECT_EQ(reply.contains("error"), one["reply"] == ipc::kErrorOpcode) << name;
    ++seen;
  }
  EXPECT_GT(seen, 30);
}

}  // namespace
}  // namespace korvel::test
