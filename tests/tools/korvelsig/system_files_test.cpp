// The files of the machine, through the interface that the commands use.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "korvelsig/file_access.h"

namespace korvel::sig {
namespace {

class SystemFiles : public testing::Test {
 protected:
  SystemFiles()
      : folder_(std::filesystem::temp_directory_path() /
                ("korvelsig-test-" +
                 std::to_string(std::chrono::system_clock::now().time_since_epoch().count()))) {
    std::filesystem::create_directories(folder_);
  }
  ~SystemFiles() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string at(const std::string& name) const { return (folder_ / name).string(); }
  void write(const std::string& name, const std::string& text) const {
    std::ofstream(at(name), std::ios::binary) << text;
  }
  std::string read(const std::string& name) const {
    std::string text;
    files_->read(at(name), [&text](std::string_view piece) { text += piece; });
    return text;
  }
  size_t filesInFolder() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder_), {}));
  }

  const std::filesystem::path folder_;
  const std::unique_ptr<FileAccess> files_ = systemFiles();
};

TEST_F(SystemFiles, AFileIsReadWholeInPieces) {
  std::string text;
  while (text.size() < 3'000'000) text += std::to_string(text.size()) + "\r\n";
  write("a", text);
  EXPECT_EQ(files_->size(at("a")), text.size());
  EXPECT_EQ(read("a"), text);
}

TEST_F(SystemFiles, AMissingFileAndAFolderAreFailures) {
  EXPECT_THROW(read("missing"), FileFailure);
  EXPECT_THROW((void)files_->size(at("missing")), FileFailure);
  EXPECT_THROW(read("."), FileFailure);
}

TEST_F(SystemFiles, AReplacedFileHoldsTheNewTextAndLeavesNothingBeside) {
  write("a", "a longer old text");
  write("a.tmp", "left behind");
  files_->replace(at("a"), [](const FileAccess::Append& append) {
    append("new\n");
    append("text");
  });
  EXPECT_EQ(read("a"), "new\ntext");
  EXPECT_EQ(filesInFolder(), 1u);
}

TEST_F(SystemFiles, AFailureWhileWritingKeepsTheOldFile) {
  write("a", "old");
  const auto breakOff = [](const FileAccess::Append& append) {
    append("new");
    throw FileFailure("enough");
  };
  EXPECT_THROW(files_->replace(at("a"), breakOff), FileFailure);
  EXPECT_EQ(read("a"), "old");
  EXPECT_EQ(filesInFolder(), 1u);
}

TEST_F(SystemFiles, AFileInAMissingFolderCannotBeWritten) {
  EXPECT_THROW(files_->replace(at("no/such"), [](const FileAccess::Append&) {}), FileFailure);
}

}  // namespace
}  // namespace korvel::sig
