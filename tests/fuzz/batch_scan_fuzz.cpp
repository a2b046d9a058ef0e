// A run of files made of the input, scanned one by one, in batches, and in batches ahead of their turn:
// always the same verdicts in the same order. A file has three bytes in front, its length and what is odd
// about it.
#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz/payload_input.h"
#include "hash/triple_digest.h"
#include "pe/pe_analysis.h"
#include "scan/batch_scan.h"
#include "scan/file_rules.h"
#include "scan/run_ahead.h"
#include "signatures/signature_text.h"

using namespace korvel;
using fuzz::require;

namespace {

constexpr uint64_t kNow = 1'700'000'000;
constexpr size_t kMostFiles = 64;
constexpr uint8_t kAlone = 1, kLateInTheArena = 2, kImage = 4;

struct InputFile {
  std::vector<uint8_t> bytes;
  uint8_t oddity = 0;
};

/// A file's bytes are those that follow, over and over up to its length.
std::vector<InputFile> filesOf(const uint8_t* data, size_t size) {
  std::vector<InputFile> files;
  while (size >= 3 && files.size() < kMostFiles) {
    const size_t length = (size_t{data[0]} | size_t{data[1]} << 8) % 3000;
    InputFile file{{}, data[2]};
    data += 3;
    size -= 3;
    const size_t own = std::min(size, length);
    if ((file.oddity & kImage) != 0) file.bytes = {'M', 'Z'};
    for (size_t i = 0; i < length; ++i) file.bytes.push_back(own == 0 ? uint8_t{0} : data[i % own]);
    data += own;
    size -= own;
    files.push_back(std::move(file));
  }
  return files;
}

/// The empty text is listed.
const SignatureTable& signatures() {
  static const SignatureTable table =
      parseSignatureText("d41d8cd98f00b204e9800998ecf8427e:tag:Family:critical:Test.Name:somewhere\n").table;
  return table;
}

FileVerdict verdictOf(size_t index, const InputFile& file, const hash::FileDigests* known) {
  hash::TripleDigest digest;
  const bool together = known == nullptr;
  const PeAnalysis pe = analyzePeBuffer(ByteView(file.bytes.data(), file.bytes.size()), file.bytes.size(),
                                        kNow, together ? &digest : nullptr);
  const hash::FileDigests digests = together ? digest.digests() : *known;
  SignatureMatch match;
  const bool matched = signatures().lookup(digests, &match);
  const std::wstring name = std::to_wstring(index) + L".pdf.exe";
  return buildVerdict(L"C:\\" + name, name, file.bytes.size(), index, digests, pe, matched, match);
}

class Run final : public BatchFiles {
 public:
  Run(std::span<const InputFile> files, size_t first) : files_(files), first_(first) {}

  BatchRead read(size_t index, std::span<uint8_t> room, size_t& bytesRead) override {
    const InputFile& file = files_[index];
    if ((file.oddity & kAlone) != 0) return BatchRead::kAlone;
    const bool begun = room.size() < kBatchArenaBytes;
    if (begun && (file.oddity & kLateInTheArena) != 0) return BatchRead::kNextBatch;
    require(file.bytes.size() + hash::kMessagePaddingBytes <= room.size());
    std::copy(file.bytes.begin(), file.bytes.end(), room.begin());
    bytesRead = file.bytes.size();
    return BatchRead::kRead;
  }
  FileVerdict judge(size_t index, ByteView bytes, const hash::FileDigests* digests) override {
    const std::vector<uint8_t>& own = files_[index].bytes;
    require(bytes.size() == own.size() && std::equal(own.begin(), own.end(), bytes.data()));
    return verdictOf(first_ + index, files_[index], digests);
  }
  FileVerdict scanAlone(size_t index) override { return verdictOf(first_ + index, files_[index], nullptr); }

 private:
  const std::span<const InputFile> files_;
  const size_t first_;  // the number of the first file
};

uint8_t* arenaOf(size_t worker) {
  static std::vector<uint8_t> arenas[2];
  arenas[worker].resize(kBatchArenaBytes);
  return arenas[worker].data();
}

std::vector<FileVerdict> inBatches(const std::vector<InputFile>& files) {
  std::vector<FileVerdict> verdicts;
  Run run(files, 0);
  BatchScan batch([] { return arenaOf(0); }, {}, {});
  const size_t delivered = batch.scan(run, files.size(), [&](FileVerdict verdict) {
    verdicts.push_back(std::move(verdict));
    return true;
  });
  require(delivered == files.size());
  return verdicts;
}

std::vector<FileVerdict> aheadOfTheirTurn(const std::vector<InputFile>& files) {
  using Pipeline = OrderedPipeline<size_t, FileVerdict>;
  size_t made = 0;
  const PipelineLimits small{.windowItems = 16, .groupItems = 3, .fullItems = 7};
  Pipeline pipeline(
      2,
      [&]() -> Pipeline::Work {
        return [&files, worker = made++](std::span<const size_t> group, const Pipeline::Finish& finish) {
          Run run(std::span(files).subspan(group.front(), group.size()), group.front());
          BatchScan([worker] { return arenaOf(worker); }, {}, {}).scan(run, group.size(), finish);
        };
      },
      small);
  std::vector<FileVerdict> verdicts;
  size_t at = 0;
  const auto next = [&](size_t& index, uint64_t& weight) {
    if (at == files.size()) return Supply::kEnd;
    index = at++;
    weight = files[index].bytes.size();
    return Supply::kItem;
  };
  runAhead(pipeline, next, [&](FileVerdict verdict) {
    verdicts.push_back(std::move(verdict));
    return true;
  });
  return verdicts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<InputFile> files = filesOf(data, size);
  std::vector<FileVerdict> expected;
  for (size_t i = 0; i < files.size(); ++i) expected.push_back(verdictOf(i, files[i], nullptr));
  require(inBatches(files) == expected);
  // Threads cost more than everything else here.
  if (size % 4 == 0) require(aheadOfTheirTurn(files) == expected);
  return 0;
}
