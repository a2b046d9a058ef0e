#include "runtime/console_line.h"

#include <gtest/gtest.h>

#include "base/paths.h"
#include "base/unique_resource.h"
#include "support/pseudo_console.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

/// Puts a handle in the place of the standard output for the length of a test.
class RedirectedOutput {
 public:
  explicit RedirectedOutput(HANDLE output) : before_(::GetStdHandle(STD_OUTPUT_HANDLE)) {
    ::SetStdHandle(STD_OUTPUT_HANDLE, output);
  }
  ~RedirectedOutput() { ::SetStdHandle(STD_OUTPUT_HANDLE, before_); }
  RedirectedOutput(const RedirectedOutput&) = delete;
  RedirectedOutput& operator=(const RedirectedOutput&) = delete;

 private:
  HANDLE before_;
};

TEST(WriteConsoleLine, AFileReceivesUtf8AndCrLf) {
  const test::TempFolder folder;
  const std::wstring path = folder.at(L"out.txt");
  {
    const UniqueHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                          CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(file);
    const RedirectedOutput redirected(file.get());
    writeConsoleLine(L"служба запущена в консольном режиме. Ctrl+C для остановки.");
    writeConsoleLine(L"");
    writeConsoleLine(L"два\nстроки");
  }
  EXPECT_EQ(test::readFile(path),
            "служба запущена в консольном режиме. Ctrl+C для остановки.\r\n\r\nдва\nстроки\r\n");
}

TEST(WriteConsoleLine, APipeReceivesUtf8AndCrLf) {
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  ASSERT_TRUE(::CreatePipe(&readEnd, &writeEnd, nullptr, 0));
  const UniqueHandle reader(readEnd);
  UniqueHandle writer(writeEnd);
  {
    const RedirectedOutput redirected(writer.get());
    writeConsoleLine(L"готово");
  }
  writer.reset();
  char bytes[64] = {};
  DWORD got = 0;
  ASSERT_TRUE(::ReadFile(reader.get(), bytes, sizeof bytes, &got, nullptr));
  EXPECT_EQ(std::string(bytes, got), "готово\r\n");
}

std::wstring consoleChild() {
  wchar_t executable[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(/*module=*/nullptr, executable, MAX_PATH);
  return joinPath(parentDirectory(executable), L"console_child.exe");
}

TEST(WriteConsoleLine, AConsoleReceivesTheTextAsItIs) {
  const test::ConsoleRun run = test::runInConsole(consoleChild(), L"console");
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(run.screen, "служба\r\nx\r\n");
}

TEST(WriteConsoleLine, WithoutAnOutputTheConsoleReceivesIt) {
  const test::ConsoleRun run = test::runInConsole(consoleChild(), L"no-output");
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(run.screen, "служба\r\nx\r\n");
}

TEST(WriteConsoleLine, WithoutAnyConsoleTheLineIsDroppedAndTheNextOneLooksAgain) {
  const test::ConsoleRun run = test::runInConsole(consoleChild(), L"lost-and-found");
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(run.screen, "found\r\n");
}

TEST(WriteConsoleLine, AnOutputThatTakesNothingIsSilentlyIgnored) {
  const test::TempFolder folder;
  const std::wstring path = folder.write(L"out.txt", "before");
  {
    const UniqueHandle readOnly(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const RedirectedOutput redirected(readOnly.get());
    writeConsoleLine(L"x");
  }
  EXPECT_EQ(test::readFile(path), "before");
}

}  // namespace
}  // namespace korvel
