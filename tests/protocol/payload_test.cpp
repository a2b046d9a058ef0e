#include "protocol/payload.h"

#include <gtest/gtest.h>

#include "protocol/frame.h"
#include "protocol/wire.h"

namespace korvel::ipc {
namespace {

using test::text;
using test::u32;
using test::u64;

TEST(PayloadWriter, StoresIntegersLittleEndianAndStringsWithTheirByteCount) {
  PayloadWriter writer;
  writer.putU32(0x01020304);
  writer.putU64(0x0102030405060708);
  writer.putBool(true);
  writer.putBool(false);
  writer.putString(std::string("a\0b", 3));
  writer.putString("");
  EXPECT_EQ(writer.bytes(), std::string("\4\3\2\1\x8\7\6\5\4\3\2\1\1\0\0\0\0\0\0\0\3\0\0\0a\0b\0\0\0\0", 31));
}

TEST(PayloadWriter, WritesWideStringsAsUtf8) {
  PayloadWriter writer;
  writer.putWString(L"C:\\Тест");
  writer.putWString(L"");
  EXPECT_EQ(writer.take(), text("C:\\Тест") + u32(0));
}

TEST(PayloadReader, ReadsWhatTheWriterWrote) {
  PayloadWriter writer;
  writer.putU32(0xFFFFFFFF);
  writer.putU64(0xFFFFFFFFFFFFFFFF);
  writer.putString("текст");
  writer.putWString(L"C:\\Загрузки\\a.exe");
  writer.putBool(true);
  PayloadReader reader(writer.bytes());
  EXPECT_EQ(reader.getU32(), 0xFFFFFFFFu);
  EXPECT_EQ(reader.getU64(), 0xFFFFFFFFFFFFFFFFu);
  EXPECT_EQ(reader.getString(), "текст");
  EXPECT_EQ(reader.getWString(), L"C:\\Загрузки\\a.exe");
  EXPECT_TRUE(reader.getBool());
  EXPECT_TRUE(reader.ok());
  EXPECT_EQ(reader.remaining(), 0u);
}

TEST(PayloadReader, AnyNonZeroNumberIsTrue) {
  const std::string payload = u32(0x100) + u32(0x80000000) + u32(0);
  PayloadReader reader(payload);
  EXPECT_TRUE(reader.getBool());
  EXPECT_TRUE(reader.getBool());
  EXPECT_FALSE(reader.getBool());
  EXPECT_TRUE(reader.ok());
}

TEST(PayloadReader, ThreeBytesAreNoU32AndSevenNoU64AndThePositionStays) {
  const std::string payload = "\1\2\3";
  PayloadReader reader(payload);
  EXPECT_EQ(reader.getU32(), 0u);
  EXPECT_FALSE(reader.ok());
  EXPECT_EQ(reader.remaining(), 3u);

  const std::string seven = "1234567";
  PayloadReader second(seven);
  EXPECT_EQ(second.getU64(), 0u);
  EXPECT_FALSE(second.ok());
  EXPECT_EQ(second.remaining(), 7u);
}

TEST(PayloadReader, StringLongerThanTheRestFailsAndStaysFailed) {
  const std::string payload = u32(5) + "abcd";
  PayloadReader reader(payload);
  EXPECT_EQ(reader.getString(), "");
  EXPECT_FALSE(reader.ok());
  EXPECT_EQ(reader.getU32(), 0u);
  EXPECT_EQ(reader.getU64(), 0u);
  EXPECT_EQ(reader.getString(), "");
  EXPECT_EQ(reader.getWString(), L"");
  EXPECT_FALSE(reader.getBool());
  EXPECT_FALSE(reader.ok());
  EXPECT_EQ(reader.remaining(), payload.size());
}

TEST(PayloadReader, AFailedReadIsNotForgottenWhenLaterBytesWouldFit) {
  const std::string payload = u32(7) + "ab";
  PayloadReader reader(payload);
  EXPECT_EQ(reader.getU64(), 0u);
  EXPECT_EQ(reader.getU32(), 0u);  // four bytes are there all the same
  EXPECT_FALSE(reader.ok());
}

TEST(PayloadReader, StringThatEndsWithThePayloadFits) {
  const std::string payload = u32(4) + "abcd";
  PayloadReader reader(payload);
  EXPECT_EQ(reader.getString(), "abcd");
  EXPECT_TRUE(reader.ok());
}

TEST(PayloadReader, HugeCountsDoNotWrapAround) {
  for (const uint32_t count : {0xFFFFFFFFu, 0xFFFFFFFCu, 0x80000000u, 33'554'433u}) {
    const std::string payload = u32(count) + "abcdefgh";
    PayloadReader reader(payload);
    EXPECT_EQ(reader.getWString(), L"");
    EXPECT_FALSE(reader.ok());
  }
}

TEST(PayloadReader, AStringMayHoldThirtyTwoMebibytesButNotOneByteMore) {
  for (const size_t size : {size_t{kMaxPayloadBytes}, size_t{kMaxPayloadBytes} + 1}) {
    const std::string payload = u32(size) + std::string(size, 'x');
    PayloadReader reader(payload);
    const std::string result = reader.getString();
    EXPECT_EQ(reader.ok(), size == kMaxPayloadBytes);
    EXPECT_EQ(result.size(), reader.ok() ? size : 0);
  }
}

TEST(PayloadReader, MalformedUtf8IsReplacedNotRefused) {
  const std::string payload = text("a\xFFz");
  PayloadReader reader(payload);
  EXPECT_EQ(reader.getWString(), L"a\xFFFDz");
  EXPECT_TRUE(reader.ok());
}

TEST(PayloadReader, EmptyPayloadReadsAsNothing) {
  const std::string payload;
  PayloadReader reader(payload);
  EXPECT_TRUE(reader.ok());
  EXPECT_EQ(reader.getString(), "");
  EXPECT_FALSE(reader.ok());
}

}  // namespace
}  // namespace korvel::ipc
