// docs/vectors is what the codec says. With KORVEL_WRITE_VECTORS set the files are written anew; look at the
// difference before it is committed. decode_vectors.py reads them a second time, on its own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

#include "hash/sha256.h"
#include "protocol/frame.h"
#include "protokit/byte_pieces.h"
#include "tools/protokit/vector_cases.h"

namespace korvel::test {
namespace {

using kit::Side;

constexpr size_t kMostMutated = 2'048;

/// The outcome of every change of one byte, as one digest. For each byte in turn the payload with the byte
/// XOR 1, XOR 128 and XOR 255: a line with what it says as JSON without blanks, or "refused".
std::string mutationsOf(const VectorCase& of) {
  hash::Sha256 outcomes;
  std::string payload = of.payload;
  for (char& byte : payload) {
    const char original = byte;
    for (const int change : {0x01, 0x80, 0xFF}) {
      byte = static_cast<char>(original ^ change);
      const auto value = kit::messageValue(of.side, of.opcode, payload);
      const std::string line = (value ? value->dump(-1, ' ', /*ensure_ascii=*/true) : "refused") + "\n";
      outcomes.update(reinterpret_cast<const uint8_t*>(line.data()), line.size());
    }
    byte = original;
  }
  return outcomes.hexDigest();
}

Json jsonOf(const VectorCase& of) {
  Json json = {{"name", of.name}, {"kind", of.side == Side::kRequest ? "request" : "reply"}};
  json["payload"] = of.pieces.is_null() ? Json(kit::hexOf(of.payload)) : of.pieces;
  json["value"] = of.value;
  if (!of.refusal.empty()) json["refusal"] = of.refusal;
  if (of.payload.size() <= kMostMutated) json["mutations"] = mutationsOf(of);
  return json;
}

void compare(const std::string& name, const Json& content) {
  const std::string path = std::string(KORVEL_VECTORS_DIR) + "/" + name + ".json";
  const std::string text = content.dump(2) + "\n";
  if (std::getenv("KORVEL_WRITE_VECTORS") != nullptr) {
    std::ofstream(path, std::ios::binary) << text;
    return;
  }
  std::ifstream file(path, std::ios::binary);
  ASSERT_TRUE(file) << path;
  const std::string there((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  EXPECT_EQ(text, there) << name;
}

TEST(Vectors, FilesAreWhatTheCodecSays) {
  for (const VectorFile& file : vectorFiles()) {
    Json content = {
        {"opcode", file.opcode}, {"name", kit::operationName(file.opcode)}, {"cases", Json::array()}};
    for (const VectorCase& one : file.cases) content["cases"].push_back(jsonOf(one));
    compare(file.name, content);
  }
}

TEST(Vectors, FramesAreWhatTheHeaderDecoderSays) {
  Json content = {{"frames", Json::array()}};
  for (const FrameCase& one : frameCases()) {
    ipc::FrameHeader header;
    std::string error;
    EXPECT_EQ(ipc::decodeFrameHeader(ByteView(one.bytes), &header, &error), one.error.empty()) << one.name;
    EXPECT_EQ(error, one.error) << one.name;
    Json json = {{"name", one.name},
                 {"bytes", one.pieces.is_null() ? Json(kit::hexOf(one.bytes)) : one.pieces}};
    if (one.error.empty()) {
      json["opcode"] = header.opcode;
      json["length"] = header.length;
    } else {
      json["error"] = one.error;
    }
    content["frames"].push_back(json);
  }
  compare("frames", content);
}

TEST(Vectors, RefusalsAreErrorFramesOrFailedChanges) {
  Json content = {{"refusals", Json::array()}};
  for (const Refusal& one : refusals()) {
    const std::string payload =
        one.inReply ? ipc::encodeFirewallChange({false, one.text}) : ipc::encodeText(one.text);
    const uint32_t opcode = one.inReply ? one.opcode : ipc::kErrorOpcode;
    const auto value = kit::messageValue(Side::kReply, opcode, payload);
    ASSERT_TRUE(value);
    EXPECT_EQ((*value)[one.inReply ? "text" : "error"], one.text);
    content["refusals"].push_back({{"request", one.opcode},
                                   {"reply", opcode},
                                   {"text", one.text},
                                   {"when", one.when},
                                   {"payload", kit::hexOf(payload)}});
  }
  compare("refusals", content);
}

TEST(Vectors, EveryOperationHasRequestsAndReplies) {
  const auto files = vectorFiles();
  ASSERT_EQ(files.size(), ipc::kLastOpcode);
  for (uint32_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(files[i].opcode, i + 1);
    std::set<Side> sides;
    for (const VectorCase& one : files[i].cases) {
      if (!one.value.is_null()) sides.insert(one.side);
    }
    EXPECT_EQ(sides.size(), 2u) << files[i].name;
  }
}

TEST(Vectors, EveryCaseDecodesAsItSays) {
  for (const VectorFile& file : vectorFiles()) {
    for (const VectorCase& one : file.cases) {
      const auto value = kit::messageValue(one.side, one.opcode, one.payload);
      ASSERT_EQ(value.has_value(), !one.value.is_null()) << file.name << ": " << one.name;
      if (one.pieces.is_null() && value) EXPECT_EQ(*value, one.value) << file.name << ": " << one.name;
      if (!one.pieces.is_null()) EXPECT_EQ(kit::bytesOfPieces(one.pieces), one.payload) << one.name;
    }
  }
}

TEST(Vectors, EveryValueEncodesToItsBytes) {
  for (const VectorFile& file : vectorFiles()) {
    for (const VectorCase& one : file.cases) {
      if (one.value.is_null() || !one.sameBytes) continue;
      EXPECT_TRUE(kit::messagePayload(one.side, one.opcode, one.value) == one.payload)
          << file.name << ": " << one.name;
    }
  }
}

TEST(Vectors, EveryPrefixOfAMalformedCaseIsDecodedOrRefused) {
  for (const VectorFile& file : vectorFiles()) {
    for (const VectorCase& one : file.cases) {
      if (one.payload.size() > kMostMutated) continue;
      const auto whole = kit::messageValue(one.side, one.opcode, one.payload);
      for (size_t length = 0; length < one.payload.size(); ++length) {
        const auto value = kit::messageValue(one.side, one.opcode, std::string(one.payload.data(), length));
        if (value && whole && one.sameBytes && value->size() > 0 && !value->contains("listing") &&
            !value->contains("argument"))
          ADD_FAILURE() << file.name << ": " << one.name << " is decoded after " << length << " bytes";
      }
    }
  }
}

}  // namespace
}  // namespace korvel::test
