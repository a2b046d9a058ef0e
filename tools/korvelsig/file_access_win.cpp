#include "base/files.h"
#include "base/sizes.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelsig/file_access.h"

namespace korvel::sig {
namespace {

constexpr DWORD kPieceBytes = 512 * kKiB;

[[noreturn]] void failed(const std::string& what, const std::string& path) {
  const DWORD code = ::GetLastError();
  throw FileFailure("cannot " + what + " " + path + ", win32=" + std::to_string(code));
}

UniqueHandle opened(const std::string& path) {
  UniqueHandle file = openForReading(toWide(path));
  if (!file) failed("read", path);
  return file;
}

class SystemFiles : public FileAccess {
 public:
  uint64_t size(const std::string& path) override {
    const UniqueHandle file = opened(path);
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(file.get(), &size)) failed("read", path);
    return static_cast<uint64_t>(size.QuadPart);
  }

  void read(const std::string& path, const std::function<void(std::string_view)>& take) override {
    const UniqueHandle file = opened(path);
    const auto piece = std::make_unique_for_overwrite<char[]>(kPieceBytes);
    for (;;) {
      DWORD got = 0;
      if (!::ReadFile(file.get(), piece.get(), kPieceBytes, &got, /*overlapped=*/nullptr))
        failed("read", path);
      if (got == 0) return;
      take({piece.get(), got});
    }
  }

  void replace(const std::string& path, const std::function<void(const Append&)>& fill) override {
    FileReplacement file(toWide(path), toWide(path + ".tmp"));
    if (!file.open()) failed("write", path + ".tmp");
    fill([&](std::string_view text) {
      if (!file.write(text)) failed("write", path + ".tmp");
    });
    if (!file.finish()) failed("write", path + ".tmp");
    if (!file.commit(/*clearAttributes=*/false)) failed("replace", path);
  }
};

}  // namespace

std::unique_ptr<FileAccess> systemFiles() { return std::make_unique<SystemFiles>(); }

}  // namespace korvel::sig
