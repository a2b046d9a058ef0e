// Messages as JSON, and bytes in JSON.
#include "protokit/message_json.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "protokit/byte_pieces.h"

namespace korvel::kit {
namespace {

TEST(BytePieces, BlanksAndCaseOfDigitsMeanNothing) {
  EXPECT_EQ(bytesOfHex("4c 56\t52 4B\n"), "LVRK");
  EXPECT_EQ(hexOf("LVRK"), "4c56524b");
}

TEST(BytePieces, ThatAreNoBytesAreRefused) {
  for (const char* text : {"4", "4c5", "xx", "4 c", "4c*2"})
    EXPECT_THROW(bytesOfHex(text), std::invalid_argument) << text;
}

TEST(BytePieces, AreRepeatedAndFollowEachOther) {
  EXPECT_EQ(bytesOfPieces("41*3"), "AAA");
  EXPECT_EQ(bytesOfPieces(Json::array({"41", "4243*2", ""})), "ABCBC");
  EXPECT_EQ(bytesOfPieces("41*0"), "");
}

TEST(BytePieces, MoreThan64MiBAreRefused) {
  EXPECT_THROW(bytesOfPieces("41*67108865"), std::invalid_argument);
  EXPECT_THROW(bytesOfPieces("41*x"), std::invalid_argument);
  EXPECT_THROW(bytesOfPieces(Json::array({7})), std::invalid_argument);
  EXPECT_THROW(bytesOfPieces(7), std::invalid_argument);
}

TEST(MessageJson, NamesAndNumbersOfOperations) {
  for (uint32_t opcode = 1; opcode <= ipc::kLastOpcode; ++opcode)
    EXPECT_EQ(operationNumber(operationName(opcode)), opcode);
  EXPECT_EQ(operationName(0), "");
  EXPECT_EQ(operationName(22), "");
  EXPECT_FALSE(operationNumber("Nothing"));
}

TEST(MessageJson, ElementsOfARepeatedListAreNumbered) {
  const Json value = {{"threats", {{"times", 3}, {"each", {{"path", "C:\\{n}\\{n}.exe"}}}}}};
  const auto threats = ipc::decodeResults(messagePayload(Side::kReply, 6, value));
  ASSERT_TRUE(threats);
  ASSERT_EQ(threats->size(), 3u);
  EXPECT_EQ(threats->front().path, L"C:\\1\\1.exe");
  EXPECT_EQ(threats->back().path, L"C:\\3\\3.exe");
}

TEST(MessageJson, FieldsThatAreMissingHaveTheirDefaults) {
  const auto status = ipc::decodeStatus(messagePayload(Side::kReply, 1, {{"scanRunning", true}}));
  ASSERT_TRUE(status);
  EXPECT_TRUE(status->scanRunning);
  EXPECT_EQ(status->serviceVersion, "");
}

TEST(MessageJson, WhatIsNoFieldOrOfAnotherTypeIsNamed) {
  const auto wrong = [](Side side, uint32_t opcode, const Json& value) {
    try {
      (void)messagePayload(side, opcode, value);
    } catch (const std::invalid_argument& problem) {
      return std::string(problem.what());
    }
    return std::string();
  };
  EXPECT_EQ(wrong(Side::kReply, 1, {{"skanRunning", true}}), "\"skanRunning\" is no field of \"value\"");
  EXPECT_EQ(wrong(Side::kReply, 1, {{"scanRunning", 1}}), "\"scanRunning\" must be true or false");
  EXPECT_EQ(wrong(Side::kReply, 2, {{"tickCount", -1}}), "\"tickCount\" must be a number of 32 bits");
  EXPECT_EQ(wrong(Side::kReply, 2, {{"tickCount", 4294967296}}), "\"tickCount\" must be a number of 32 bits");
  EXPECT_EQ(wrong(Side::kRequest, 3, {{"targets", "C:"}}),
            "\"targets\" must be a list, or {\"times\": N, \"each\": ...}");
  EXPECT_EQ(wrong(Side::kReply, 5, {{"x", 1}}), "\"x\" is no field of \"value\"");
  EXPECT_EQ(wrong(Side::kReply, 22, Json::object()), "no operation has the number 22");
}

TEST(MessageJson, ARefusalIsItsText) {
  const std::string payload = messagePayload(Side::kReply, ipc::kErrorOpcode, {{"error", "нет"}});
  EXPECT_EQ(messageValue(Side::kReply, ipc::kErrorOpcode, payload), (Json{{"error", "нет"}}));
  EXPECT_EQ(messageValue(Side::kReply, ipc::kErrorOpcode, ""), (Json{{"error", ""}}));
  EXPECT_FALSE(messageValue(Side::kReply, ipc::kErrorOpcode, "x"));
}

}  // namespace
}  // namespace korvel::kit
