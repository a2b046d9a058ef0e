// Reads a signature file as the service does and finds every line that the service skips, loses or reads
// differently. Keeps no lines, so a file of any size costs no memory while its digests ascend. Pure; not
// thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "korvelsig/finding.h"
#include "korvelsig/line_pieces.h"
#include "korvelsig/signature_line.h"
#include "signatures/signature_table.h"

namespace korvel::sig {

/// The service reads a feed of at most 128 MiB, and a line of it has 65 bytes.
inline constexpr uint64_t kMaxFeedLines = 2'064'888;

struct CheckedFile {
  std::vector<Finding> findings;
  std::string version;
  uint64_t generated = 0;
  uint64_t lines = 0;
  uint64_t entryLines = 0;  ///< that the service reads, repeated ones included
  uint64_t skippedLines = 0;
  std::string size;       ///< the value of the last SIZE line
  uint64_t sizeLine = 0;  ///< 0: there is none
  /// Whether the digests of each kind ascend. If not, what repeats is not found yet: see addRepeatedLines().
  bool ascending = true;
};

/// Whether the digests of one kind come in ascending order.
class DigestOrder {
 public:
  enum class Place { kAscending, kRepeated, kBelow };
  Place note(std::span<const uint8_t> digest, uint64_t line);
  /// The first line of the digest noted last.
  uint64_t firstLine() const { return firstLine_; }

 private:
  Sha256Key last_{};
  uint64_t firstLine_ = 0;  ///< 0: no digest yet
};

class FileCheck {
 public:
  /// Adds every entry whose line has no error to `table`, which may be null. `strict` also finds the first
  /// line that is not as writeDatabase() writes it.
  explicit FileCheck(SignatureTableBuilder* table, bool strict = false);
  FileCheck(const FileCheck&) = delete;
  FileCheck& operator=(const FileCheck&) = delete;

  void feed(std::string_view piece) { pieces_.feed(piece); }
  /// Ends the file. Call once, as the last function.
  CheckedFile finish();

  // For the pieces.
  void bareLine(const Sha256Key& key, std::string_view text);
  void line(std::string_view text);

 private:
  void noteKeyword(const SignatureLine& line);
  void noteEntry(std::span<const uint8_t> digest);
  void noteCanonical(const SignatureLine& line);
  void findInWhole();

  LinePieces<FileCheck> pieces_{*this};
  SignatureTableBuilder* const table_;
  const bool strict_;
  CheckedFile file_;
  DigestOrder md5_;
  DigestOrder sha1_;
  DigestOrder sha256_;
  uint64_t sha256Lines_ = 0;
  std::vector<Finding> repeated_;  ///< all of them as long as the digests ascend
  bool headerSeen_ = false;
  bool keywordBroken_ = false;     ///< a header or a version is there, but has no value
  uint64_t keywordLines_[3] = {};  ///< where VERSION, GENERATED and SIZE stood last
  std::string lastDigest_;         ///< for the order of the canonical form; binary
  bool canonical_ = true;          ///< so far
};

/// Finds the lines that repeat a digest of an earlier line, whatever their order: the first one wins. Holds
/// all digests of the file. Pure; not thread-safe.
class RepeatedLines {
 public:
  RepeatedLines() = default;
  RepeatedLines(const RepeatedLines&) = delete;
  RepeatedLines& operator=(const RepeatedLines&) = delete;

  void feed(std::string_view piece) { pieces_.feed(piece); }
  /// One W02 for each repeated line. Call once, as the last function.
  std::vector<Finding> finish();

  // For the pieces.
  void bareLine(const Sha256Key& key, std::string_view text);
  void line(std::string_view text);

 private:
  struct Place {
    Sha256Key key;  ///< shorter digests end in zeros
    uint8_t size;
    uint32_t line;
  };

  LinePieces<RepeatedLines> pieces_{*this};
  std::vector<Place> places_;
  uint64_t lines_ = 0;
};

/// Completes the findings of a file whose digests do not ascend.
void addRepeatedLines(std::vector<Finding> repeated, CheckedFile& file);

}  // namespace korvel::sig
