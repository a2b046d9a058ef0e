#include "hash/file_digest.h"

#include <algorithm>
#include <vector>

#include "base/files.h"
#include "base/long_path.h"
#include "base/unique_resource.h"
#include "base/win.h"
#include "hash/md5.h"
#include "hash/sha1.h"
#include "hash/sha256.h"

namespace korvel::hash {
namespace {

template <typename Digest>
std::string digestFile(const std::wstring& path, size_t chunkSize) {
  // Shared for reading only, so that a file open for writing elsewhere is not digested half-written.
  const UniqueHandle file(::CreateFileW(forFileApi(path).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                        /*security=*/nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN | kOpenAnonymously,
                                        /*template=*/nullptr));
  if (!file) return {};
  std::vector<uint8_t> buffer(chunkSize);
  const DWORD want = static_cast<DWORD>(std::min<size_t>(chunkSize, MAXDWORD));

  Digest digest;
  DWORD got = 0;
  // A failed read ends the loop: the digest is then that of the bytes before it.
  while (::ReadFile(file.get(), buffer.data(), want, &got, /*overlapped=*/nullptr) && got != 0) {
    digest.update(buffer.data(), got);
  }
  return digest.hexDigest();
}

}  // namespace

std::string md5File(const std::wstring& path, size_t chunkSize) { return digestFile<Md5>(path, chunkSize); }
std::string sha1File(const std::wstring& path, size_t chunkSize) { return digestFile<Sha1>(path, chunkSize); }
std::string sha256File(const std::wstring& path, size_t chunkSize) {
  return digestFile<Sha256>(path, chunkSize);
}

}  // namespace korvel::hash
