// Scanning ahead with made-up files: what the scanner does with real ones, but natively, where the sanitizers
// see the threads at work.
#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "hash/triple_digest.h"
#include "pe/pe_analysis.h"
#include "scan/file_rules.h"
#include "scan/run_ahead.h"
#include "signatures/signature_text.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

constexpr size_t kFiles = 300;
constexpr uint64_t kNow = 1'790'000'000;
// The SHA-256 of "abc" (FIPS 180-4).
constexpr const char* kAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

struct FakeFile {
  std::wstring name;
  test::Bytes bytes;
};

/// Small files, images, a few that are large beside the others, and a listed one here and there.
std::vector<FakeFile> fakeFiles() {
  std::vector<FakeFile> files;
  for (uint32_t i = 0; i < kFiles; ++i) {
    const std::wstring name = std::to_wstring(i) + (i % 7 == 0 ? L".pdf.exe" : L".exe");
    if (i % 5 == 0) {
      test::PeBuilder image;
      image.section({".text", test::kPeCode, test::noiseBytes(512 + i * 16, i + 1)});
      image.import("KERNEL32.dll", {"WriteProcessMemory", "Sleep"});
      files.push_back({name, image.build()});
    } else if (i % 11 == 0) {
      files.push_back({name, test::bytesOf("abc")});
    } else {
      files.push_back({name, test::noiseBytes(i % 50 == 49 ? 200'000 : 100 + i, i + 1)});
    }
  }
  return files;
}

class PipelineScan : public testing::Test {
 protected:
  using Verdicts = std::vector<FileVerdict>;
  using Pipeline = OrderedPipeline<size_t, FileVerdict>;

  FileVerdict scan(size_t index, hash::TripleDigest& digest) const {
    const FakeFile& file = files_[index];
    digest.reset();
    digest.update(file.bytes.data(), file.bytes.size());
    const hash::FileDigests digests = digest.digests();
    SignatureMatch match;
    const bool matched = signatures_.lookup(digests, &match);
    const PeAnalysis pe =
        analyzePeBuffer(ByteView(file.bytes.data(), file.bytes.size()), file.bytes.size(), kNow);
    return buildVerdict(L"C:\\Users\\u\\" + file.name, file.name, file.bytes.size(), /*lastWriteTime=*/index,
                        digests, pe, matched, match);
  }

  Verdicts scanInline() const {
    hash::TripleDigest digest;
    Verdicts verdicts;
    for (size_t i = 0; i < files_.size(); ++i) verdicts.push_back(scan(i, digest));
    return verdicts;
  }

  /// Work that fails at one file; SIZE_MAX for none.
  std::function<Pipeline::Work()> scanning(size_t failing = SIZE_MAX) const {
    return [this, failing] {
      return Pipeline::oneByOne(
          [this, failing, digest = std::make_shared<hash::TripleDigest>()](const size_t& index) {
            if (index == failing) throw std::runtime_error("cannot scan");
            return scan(index, *digest);
          });
    };
  }

  auto everyFile() const {
    return [this, at = size_t{0}](size_t& index, uint64_t& weight) mutable {
      if (at == files_.size()) return Supply::kEnd;
      index = at++;
      weight = files_[index].bytes.size();
      return Supply::kItem;
    };
  }

  const std::vector<FakeFile> files_ = fakeFiles();
  const SignatureTable signatures_ =
      parseSignatureText(std::string(kAbc) + ":tag:Family:critical:Test.Name:somewhere\n").table;
};

TEST_F(PipelineScan, VerdictsAndTheirOrderAreTheSameForEveryNumberOfWorkers) {
  const Verdicts expected = scanInline();
  const size_t listed =
      std::accumulate(expected.begin(), expected.end(), size_t{0},
                      [](size_t sum, const FileVerdict& verdict) { return sum + verdict.signatureMatched; });
  EXPECT_GT(listed, 10u);
  for (const size_t workers : {1u, 2u, 4u}) {
    Pipeline pipeline(workers, scanning());
    Verdicts verdicts;
    runAhead(pipeline, everyFile(), [&](const FileVerdict& verdict) {
      verdicts.push_back(verdict);
      return true;
    });
    EXPECT_EQ(verdicts, expected) << workers;
  }
}

TEST_F(PipelineScan, WhatWasScannedAheadOfTheLastDeliveryLeavesNoTrace) {
  const Verdicts expected = scanInline();
  for (const size_t last : {size_t{0}, size_t{17}, kFiles - 1}) {
    Pipeline pipeline(4, scanning());
    Verdicts verdicts;
    runAhead(pipeline, everyFile(), [&](const FileVerdict& verdict) {
      verdicts.push_back(verdict);
      return verdicts.size() <= last;
    });
    EXPECT_EQ(verdicts, Verdicts(expected.begin(), expected.begin() + static_cast<ptrdiff_t>(last) + 1));
  }
}

TEST_F(PipelineScan, AFailureComesAfterTheVerdictsBeforeIt) {
  constexpr size_t kFailing = 40;
  Pipeline pipeline(4, scanning(kFailing));
  size_t delivered = 0;
  const auto count = [&delivered](const FileVerdict&) {
    ++delivered;
    return true;
  };
  EXPECT_THROW(runAhead(pipeline, everyFile(), count), std::runtime_error);
  EXPECT_EQ(delivered, kFailing);
}

}  // namespace
}  // namespace korvel
