// A folder of its own for one test, removed with everything in it at the end. Windows only.
#pragma once

#include <string>
#include <string_view>

namespace korvel::test {

class TempFolder {
 public:
  TempFolder();
  /// Made directly in `parent`, which may be shared with test runs that know nothing of this one.
  explicit TempFolder(const std::wstring& parent);
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// "C:\...\korvel-test-<n>", without a trailing separator.
  const std::wstring& path() const { return path_; }
  /// A path inside the folder.
  std::wstring at(const std::wstring& name) const { return path_ + L"\\" + name; }
  /// Writes a file inside the folder, parents included, and returns its full path.
  std::wstring write(const std::wstring& name, std::string_view bytes) const;

 private:
  std::wstring path_;
};

/// Replaces the content of a file, parents included; throws on failure.
void writeFile(const std::wstring& path, std::string_view bytes);
/// The content of a file; throws when it cannot be read.
std::string readFile(const std::wstring& path);
/// Deletes a file or a whole tree; read-only entries too. Links are removed, not followed.
void removeTree(const std::wstring& path);

}  // namespace korvel::test
