#include "scan/walked_files.h"

#include <optional>
#include <utility>
#include <vector>

#include "base/interruptible_io.h"
#include "scan/file_steps.h"
#include "scan/scan_file.h"

namespace korvel {
namespace {

class WalkedFiles final : public BatchFiles {
 public:
  WalkedFiles(std::span<const WalkedFile> files, const ScanContext& context, ScanScratch& scratch)
      : files_(files), context_(context), scratch_(scratch), looks_(files.size()) {}

  /// Whatever is not plainly read goes the way of a single file.
  BatchRead read(size_t index, std::span<uint8_t> room, size_t& bytesRead) override {
    const InterruptibleIo interruptible(context_.abandoned);
    FileLook look = lookAt(context_, files_[index].path, files_[index].attributes);
    if (look.use != FileUse::kRead || look.size > kBatchFileLimitBytes) return BatchRead::kAlone;
    const auto size = static_cast<size_t>(look.size);
    if (size + hash::kMessagePaddingBytes > room.size()) return BatchRead::kNextBatch;
    OpenedFile file(*context_.calls, look.apiPath);
    const std::optional<size_t> got = file ? file.read(room.data(), size) : std::nullopt;
    if (!got) return BatchRead::kAlone;
    looks_[index] = std::move(look);
    bytesRead = *got;
    return BatchRead::kRead;
  }

  FileVerdict judge(size_t index, ByteView bytes, const hash::FileDigests* digests) override {
    FileLook& look = looks_[index];
    const FileContent content = contentOfBytes(bytes, look.size, digests, scratch_.digest());
    return judgeFile(context_, std::move(look), content);
  }

  FileVerdict scanAlone(size_t index) override {
    return scanFile(context_, files_[index].path, scratch_, files_[index].attributes);
  }

 private:
  const std::span<const WalkedFile> files_;
  const ScanContext& context_;
  ScanScratch& scratch_;
  std::vector<FileLook> looks_;  // of the files in the arena
};

}  // namespace

WalkedFilesScan::WalkedFilesScan(const ScanContext& context, ScanScratch& scratch, StopToken cancelled)
    : context_(context),
      scratch_(scratch),
      // In the memory for a large image, which is not needed while a batch is: this keeps the total below 72
      // MiB.
      batches_([&scratch] { return scratch.imageBuffer(kBatchArenaBytes); }, std::move(cancelled),
               context.abandoned, context.kernels) {}

size_t WalkedFilesScan::scan(std::span<const WalkedFile> files, const BatchScan::Deliver& deliver) {
  WalkedFiles walked(files, context_, scratch_);
  return batches_.scan(walked, files.size(), deliver);
}

}  // namespace korvel
