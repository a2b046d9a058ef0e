#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <vector>

#include "base/byte_view.h"
#include "base/clock.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"
#include "hash/kernels.h"
#include "hash/md5.h"
#include "hash/sha1.h"
#include "hash/sha256.h"
#include "hash/word_bytes.h"
#include "literal_scan.h"
#include "pe/pe_analysis.h"
#include "scan/file_rules.h"
#include "signatures/signature_database.h"

namespace korvel::bench {
namespace {

constexpr size_t kReadChunkBytes = 1 << 20;
constexpr uint64_t kWholeReadLimitBytes = 8 << 20;
constexpr size_t kBlock = 64;

/// A digest that copies every byte into its block and compresses one block at a time.
template <typename Algorithm, void (*kCompress)(uint32_t*, const uint8_t*, size_t)>
class PlainDigest {
 public:
  void update(const uint8_t* data, size_t length) {
    bits_ += uint64_t{8} * length;
    feed(data, length);
  }

  auto digest() {
    const uint64_t bits = Algorithm::kByteOrder == std::endian::little ? bits_ : __builtin_bswap64(bits_);
    const uint8_t end = 0x80, zero = 0;
    feed(&end, 1);
    while (waiting_ != kBlock - sizeof bits) feed(&zero, 1);
    uint8_t count[sizeof bits];
    storeLe64(count, bits);
    feed(count, sizeof count);
    return hash::digestBytes(state_, Algorithm::kByteOrder);
  }

 private:
  void feed(const uint8_t* data, size_t length) {
    while (length != 0) {
      const size_t taken = std::min(length, kBlock - waiting_);
      std::memcpy(block_ + waiting_, data, taken);
      data += taken;
      length -= taken;
      waiting_ += taken;
      if (waiting_ < kBlock) return;
      kCompress(state_.data(), block_, 1);
      waiting_ = 0;
    }
  }

  std::remove_const_t<decltype(Algorithm::kInitialState)> state_ = Algorithm::kInitialState;
  uint64_t bits_ = 0;
  uint8_t block_[kBlock];
  size_t waiting_ = 0;
};
using PlainMd5 = PlainDigest<hash::Md5Algorithm, hash::Md5Algorithm::compress>;
using PlainSha1 = PlainDigest<hash::Sha1Algorithm, hash::portable::sha1>;
using PlainSha256 = PlainDigest<hash::Sha256Algorithm, hash::portable::sha256>;

UniqueHandle open(const std::wstring& path) {
  return UniqueHandle(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, /*security=*/nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN,
                                    /*template=*/nullptr));
}

size_t read(HANDLE file, std::vector<uint8_t>& buffer) {
  DWORD got = 0;
  return ::ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &got, /*overlapped=*/nullptr)
             ? got
             : 0;
}

template <typename Hasher>
auto digestOfFile(const std::wstring& path) {
  const UniqueHandle file = open(path);
  std::vector<uint8_t> buffer(kReadChunkBytes);
  Hasher hasher;
  while (const size_t got = file ? read(file.get(), buffer) : 0) hasher.update(buffer.data(), got);
  return hasher.digest();
}

template <typename Hasher>
auto digestOfBytes(const std::vector<uint8_t>& bytes) {
  Hasher hasher;
  hasher.update(bytes.data(), bytes.size());
  return hasher.digest();
}

/// The first bytes of a file; empty when they cannot be read.
std::vector<uint8_t> readWhole(const std::wstring& path, uint64_t bytes) {
  const UniqueHandle file = open(path);
  if (!file) return {};
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  buffer.resize(read(file.get(), buffer));
  return buffer;
}

}  // namespace

LiteralScanner::LiteralScanner(const std::string& signatures)
    : database_(std::make_shared<SignatureDatabase>()) {
  std::string error;
  if (!database_->loadFile(toWide(signatures), &error)) throw std::runtime_error(error);
}

FileVerdict LiteralScanner::scan(const std::wstring& path) const {
  WIN32_FILE_ATTRIBUTE_DATA attributes{};
  if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes)) {
    throw std::runtime_error("cannot read the attributes of " + toUtf8(path));
  }
  const uint64_t size = uint64_t{attributes.nFileSizeHigh} << 32 | attributes.nFileSizeLow;
  const uint64_t written =
      uint64_t{attributes.ftLastWriteTime.dwHighDateTime} << 32 | attributes.ftLastWriteTime.dwLowDateTime;
  if (size == 0) {
    FileVerdict empty;
    empty.path = path;
    empty.fileName = fileName(path);
    empty.lastWriteTime = written;
    return empty;
  }
  hash::FileDigests digests = {digestOfFile<PlainMd5>(path), digestOfFile<PlainSha1>(path),
                               digestOfFile<PlainSha256>(path)};
  if (size <= kWholeReadLimitBytes) {
    if (const std::vector<uint8_t> bytes = readWhole(path, size); !bytes.empty()) {
      digests = {digestOfBytes<PlainMd5>(bytes), digestOfBytes<PlainSha1>(bytes),
                 digestOfBytes<PlainSha256>(bytes)};
    }
  }
  SignatureMatch match;
  const bool matched = database_->lookup(digests, &match);
  const std::vector<uint8_t> image = readWhole(path, std::min(size, kPeReadLimitBytes));
  const PeAnalysis pe = analyzePeBuffer(ByteView(image.data(), image.size()), size, unixSecondsNow());
  return buildVerdict(path, fileName(path), size, written, digests, pe, matched, match);
}

}  // namespace korvel::bench
