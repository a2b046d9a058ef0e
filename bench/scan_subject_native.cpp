#include "scan_subject.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <utility>

#include "base/paths.h"
#include "base/utf.h"
#include "hash/triple_digest.h"
#include "native_process.h"
#include "pe/pe_analysis.h"
#include "scan/batch_scan.h"
#include "scan/file_rules.h"
#include "scan/run_ahead.h"
#include "scan/scan_filter.h"
#include "signatures/signature_text.h"

namespace korvel::bench {
namespace {

constexpr uint64_t kWholeReadLimitBytes = 8 << 20;
constexpr size_t kPieceBytes = 256 << 10;
constexpr uint64_t kHeaviestFile = 16ull << 20;
constexpr uint64_t kNow = 1'790'000'000;

class OpenFile {
 public:
  explicit OpenFile(const std::wstring& path) : file_(::open(toUtf8(path).c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0) throw std::runtime_error("cannot open " + toUtf8(path));
  }
  ~OpenFile() { ::close(file_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  uint64_t size() const {
    struct stat status {};
    return ::fstat(file_, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
  }
  size_t read(uint8_t* buffer, size_t bytes) const {
    const ssize_t got = ::read(file_, buffer, bytes);
    return got > 0 ? static_cast<size_t>(got) : 0;
  }

 private:
  const int file_;
};

/// The steps of a scan of a run of files, on buffers that are reused.
class Scanner final : public BatchFiles {
 public:
  explicit Scanner(const SignatureTable& signatures) : signatures_(signatures) {}

  void scan(std::span<const std::wstring> paths, const BatchScan::Deliver& deliver) {
    paths_ = paths;
    sizes_.resize(paths.size());
    batches_.scan(*this, paths.size(), deliver);
  }

  BatchRead read(size_t index, std::span<uint8_t> room, size_t& bytesRead) override {
    const OpenFile file(paths_[index]);
    const uint64_t size = sizes_[index] = file.size();
    if (size > kBatchFileLimitBytes) return BatchRead::kAlone;
    if (size + hash::kMessagePaddingBytes > room.size()) return BatchRead::kNextBatch;
    bytesRead = file.read(room.data(), size);
    return BatchRead::kRead;
  }
  FileVerdict judge(size_t index, ByteView bytes, const hash::FileDigests* digests) override {
    digest_.reset();
    const PeAnalysis pe =
        analyzePeBuffer(bytes, sizes_[index], kNow, digests == nullptr ? &digest_ : nullptr);
    return verdictOf(index, sizes_[index], digests == nullptr ? digest_.digests() : *digests, pe);
  }
  FileVerdict scanAlone(size_t index) override {
    const OpenFile file(paths_[index]);
    const uint64_t size = file.size();
    PeAnalysis pe;
    digest_.reset();
    if (size <= kWholeReadLimitBytes) {
      const ByteView bytes(room(buffer_, size), file.read(room(buffer_, size), size));
      pe = analyzePeBuffer(bytes, size, kNow, &digest_);
    } else {
      pe = readInPieces(file, size);
    }
    return verdictOf(index, size, digest_.digests(), pe);
  }

 private:
  FileVerdict verdictOf(size_t index, uint64_t size, const hash::FileDigests& digests,
                        const PeAnalysis& pe) const {
    const std::wstring& path = paths_[index];
    SignatureMatch match;
    const bool matched = signatures_.lookup(digests, &match);
    return buildVerdict(path, fileName(path), size, /*lastWriteTime=*/0, digests, pe, matched, match);
  }
  static uint8_t* room(std::vector<uint8_t>& buffer, uint64_t bytes) {
    if (buffer.size() < bytes) buffer.resize(bytes);
    return buffer.data();
  }

  /// An image is read to its limit first, and digested while it is analysed.
  PeAnalysis readInPieces(const OpenFile& file, uint64_t size) {
    uint8_t* const piece = room(buffer_, kPieceBytes);
    PeAnalysis pe;
    size_t got = file.read(piece, kPieceBytes);
    if (mayBePe(ByteView(piece, got), size)) {
      const size_t limit = std::min(size, kPeReadLimitBytes);
      uint8_t* const image = std::copy_n(piece, got, room(image_, limit)) - got;
      for (size_t more = got; got < limit && more != 0; got += more)
        more = file.read(image + got, limit - got);
      pe = analyzePeBuffer(ByteView(image, got), size, kNow, &digest_);
      got = file.read(piece, kPieceBytes);
    }
    for (; got != 0; got = file.read(piece, kPieceBytes)) digest_.update(piece, got);
    return pe;
  }

  const SignatureTable& signatures_;
  std::unique_ptr<uint8_t[]> arena_{
      new uint8_t[kBatchArenaBytes]};  // not cleared: costs nothing until it is used
  BatchScan batches_{[this] { return arena_.get(); }, {}, {}};
  std::span<const std::wstring> paths_;
  std::vector<uint64_t> sizes_;
  hash::TripleDigest digest_;
  std::vector<uint8_t> buffer_;
  std::vector<uint8_t> image_;
};

}  // namespace

const char* const kScanArea = "scan (native)";

struct ScanSubject::Parts {
  SignatureTable signatures;
  std::map<std::string, std::vector<std::wstring>> listings;  // walking has an area of its own
};

ScanSubject::ScanSubject(const std::string& signatures) : parts_(new Parts) {
  std::ifstream stream(signatures, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  parts_->signatures = parseSignatureText(text).table;
  if (parts_->signatures.empty()) throw std::runtime_error("no signatures in " + signatures);
}

ScanSubject::~ScanSubject() = default;

std::vector<std::wstring> ScanSubject::files(const std::string& folder) const {
  std::vector<std::wstring>& result = parts_->listings[folder];
  if (!result.empty()) return result;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::wstring path = toWide(entry.path().string());
    if (entry.is_regular_file() && entry.file_size() != 0 && shouldScan(path, ScanOptions()))
      result.push_back(path);
  }
  std::sort(result.begin(), result.end());
  return result;
}

void ScanSubject::scan(const std::string& folder, size_t workers, size_t times,
                       const VerdictCallback& onVerdict) const {
  std::vector<std::wstring> paths;
  for (size_t i = 0; i < times; ++i) {
    for (const std::wstring& path : files(folder)) paths.push_back(path);
  }
  if (workers == 0) {
    Scanner scanner(parts_->signatures);
    constexpr PipelineLimits kLimits;
    for (size_t at = 0; at < paths.size(); at += kLimits.fullItems) {
      scanner.scan(std::span(paths).subspan(at, std::min(paths.size() - at, kLimits.fullItems)),
                   [&onVerdict](const FileVerdict& verdict) {
                     onVerdict(verdict);
                     return true;
                   });
    }
    return;
  }
  using Pipeline = OrderedPipeline<std::wstring, FileVerdict>;
  Pipeline pipeline(workers, [this]() -> Pipeline::Work {
    return [scanner = std::make_shared<Scanner>(parts_->signatures)](std::span<const std::wstring> group,
                                                                     const Pipeline::Finish& finish) {
      scanner->scan(group, finish);
    };
  });
  const auto next = [&paths, at = size_t{0}](std::wstring& path, uint64_t& weight) mutable {
    if (at == paths.size()) return Supply::kEnd;
    path = paths[at++];
    weight = std::min<uint64_t>(std::filesystem::file_size(toUtf8(path)), kHeaviestFile);
    return Supply::kItem;
  };
  runAhead(pipeline, next, [&](const FileVerdict& verdict) {
    onVerdict(verdict);
    return true;
  });
}

void readFile(const std::wstring& path, size_t bufferBytes, const std::function<void(ByteView)>& consume) {
  static std::vector<uint8_t> buffer;
  if (buffer.size() < bufferBytes) buffer.resize(bufferBytes);
  const OpenFile file(path);
  while (const size_t got = file.read(buffer.data(), bufferBytes)) consume(ByteView(buffer.data(), got));
}

uint64_t peakResidentBytes() { return statusBytes("VmHWM"); }

}  // namespace korvel::bench
