#include "engine/notify_records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace korvel::svc {
namespace {

using Names = std::vector<std::wstring>;

/// Builds a notification buffer record by record.
class Records {
 public:
  Records& add(const std::wstring& name, uint32_t action = 1) {
    if (last_ != npos) setNext(static_cast<uint32_t>(bytes_.size() - last_));
    last_ = bytes_.size();
    put32(0);
    put32(action);
    put32(static_cast<uint32_t>(name.size() * 2));
    for (const wchar_t unit : name) {
      bytes_.push_back(static_cast<uint8_t>(unit));
      bytes_.push_back(static_cast<uint8_t>(static_cast<uint32_t>(unit) >> 8));
    }
    while (bytes_.size() % 4 != 0 || bytes_.size() - last_ < 16) bytes_.push_back(0);
    return *this;
  }
  void setNext(uint32_t offset) { storeLe32(&bytes_[last_], offset); }
  void setNameBytes(uint32_t count) { storeLe32(&bytes_[last_ + 8], count); }
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  Names names() const { return changedNames(ByteView(bytes_)); }

 private:
  static constexpr size_t npos = static_cast<size_t>(-1);
  void put32(uint32_t value) {
    bytes_.resize(bytes_.size() + 4);
    storeLe32(&bytes_[bytes_.size() - 4], value);
  }
  std::vector<uint8_t> bytes_;
  size_t last_ = npos;
};

TEST(ChangedNames, NamesComeInOrderWhateverTheAction) {
  Records records;
  for (uint32_t action = 1; action <= 5; ++action)
    records.add(L"dir\\f" + std::to_wstring(action) + L".exe", action);
  EXPECT_EQ(records.names(),
            (Names{L"dir\\f1.exe", L"dir\\f2.exe", L"dir\\f3.exe", L"dir\\f4.exe", L"dir\\f5.exe"}));
}

TEST(ChangedNames, OnlyTheFirstCharacterOfTheRelativeNameHidesAChange) {
  EXPECT_EQ(Records().add(L".git\\index").add(L"repo\\.git\\index").names(), Names{L"repo\\.git\\index"});
}

TEST(ChangedNames, AnEmptyNameIsSkipped) {
  EXPECT_EQ(Records().add(L"").add(L"a.exe").names(), Names{L"a.exe"});
}

TEST(ChangedNames, CyrillicNamesKeepTheirUnits) {
  EXPECT_EQ(Records().add(L"Ж.exe").names(), Names{L"Ж.exe"});
}

TEST(ChangedNames, AnOddNameLengthEndsTheWalk) {
  Records records;
  records.add(L"good.exe").add(L"odd.exe");
  records.setNameBytes(3);
  EXPECT_EQ(records.names(), Names{L"good.exe"});
}

TEST(ChangedNames, ANameBeyondTheBufferEndsTheWalk) {
  Records records;
  records.add(L"good.exe").add(L"long.exe");
  records.setNameBytes(1000);
  EXPECT_EQ(records.names(), Names{L"good.exe"});
}

TEST(ChangedNames, FewerThanSixteenBytesOfARecordEndTheWalk) {
  std::vector<uint8_t> bytes = Records().add(L"a").bytes();
  ASSERT_EQ(bytes.size(), 16u);
  EXPECT_EQ(changedNames(ByteView(bytes)), Names{L"a"});
  bytes.pop_back();
  EXPECT_TRUE(changedNames(ByteView(bytes)).empty());
}

TEST(ChangedNames, ZeroBytesAfterAnOverflowYieldNothing) { EXPECT_TRUE(changedNames(ByteView()).empty()); }

TEST(ChangedNames, EveryPrefixOfABufferIsReadWithoutLookingBeyondIt) {
  const std::vector<uint8_t> bytes = Records().add(L"first.exe").add(L"second.exe").add(L"third.exe").bytes();
  for (size_t size = 0; size <= bytes.size(); ++size) {
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::copy(bytes.data(), bytes.data() + size, block.get());
    EXPECT_LE(changedNames(ByteView(block.get(), size)).size(), 3u);
  }
}

TEST(ChangedNames, AChainThatHardlyMovesStaysBounded) {
  std::vector<uint8_t> bytes(65'536, 1);  // every offset is 0x01010101 or, shifted, runs out at once
  for (size_t i = 0; i + 4 <= bytes.size(); i += 4) storeLe32(&bytes[i], 4);
  EXPECT_LE(changedNames(ByteView(bytes)).size(), bytes.size() / 4);
}

}  // namespace
}  // namespace korvel::svc
