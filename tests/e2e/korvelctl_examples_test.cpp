// Every example of the documents and of the help texts, with a service: none is wrong usage, and each ends as
// it is meant to.
#include <algorithm>
#include <optional>

#include "base/files.h"
#include "documents.h"
#include "e2e/control_client.h"
#include "e2e/sample_files.h"
#include "e2e/service_manager.h"
#include "fw/fake/fake_firewall.h"

namespace korvel::test {
namespace {

/// What stands in the examples for an id of the quarantine.
constexpr std::wstring_view kExampleId = L"1763698260114";
constexpr wchar_t kUserFolder[] = L"C:\\Users\\korvel-examples";
constexpr wchar_t kSamples[] = L"C:\\Samples";

/// An example that is not simply run as it is with exit code 0.
struct Plan {
  std::wstring_view example;
  std::vector<DWORD> exitCodes = {0};
  std::wstring added;         ///< arguments behind those of the example
  std::wstring instead = {};  ///< when not empty, in place of the example
  bool endless = false;       ///< runs until it is ended
};

void addExample(std::vector<std::wstring>& list, std::string_view example) {
  const std::wstring wide = toWide(example);
  if (std::find(list.begin(), list.end(), wide) == list.end()) list.push_back(wide);
}

constexpr std::string_view kProgram = "korvelctl ";

/// Lines of fenced blocks that are a command, and commands between back quotes elsewhere.
void addExamplesOf(std::string_view document, std::vector<std::wstring>& list) {
  bool fenced = false;
  while (!document.empty()) {
    const size_t end = std::min(document.find('\n'), document.size());
    std::string_view line = document.substr(0, end);
    document.remove_prefix(std::min(end + 1, document.size()));
    if (line.starts_with("```")) {
      fenced = !fenced;
    } else if (fenced) {
      if (line.starts_with("> ")) line.remove_prefix(2);
      if (line.starts_with(kProgram)) addExample(list, line.substr(kProgram.size()));
    } else {
      for (size_t open = line.find('`'); open != std::string_view::npos; open = line.find('`')) {
        const size_t close = line.find('`', open + 1);
        if (close == std::string_view::npos) break;
        const std::string_view span = line.substr(open + 1, close - open - 1);
        if (span.starts_with(kProgram)) addExample(list, span.substr(kProgram.size()));
        line.remove_prefix(close + 1);
      }
    }
  }
}

class Examples : public ControlClient {
 protected:
  void SetUp() override {
    ControlClient::SetUp();
    fake_.emplace();
    fwfake::State state;
    state.profiles = {{1, -1}, {2, -1}, {4, -1}};
    fake_->set(state);
    registered_.emplace();
    // Nobody listens there, so updates fail at once.
    writeSettings("UpdateServer=http://127.0.0.1:9/korvel\n");
    startService();
    folder().write(L"setup.exe", "x");
    folder().write(L"names.txt", "setup.exe\n");
    for (const std::wstring place : {kUserFolder, kSamples}) writeFile(place + L"\\a.exe", "x");
    folder().write(L"in\\eicar.com", eicarText());
    (void)scan({folder().at(L"in")});
    ASSERT_EQ(ctl(L"threats quarantine 1").exitCode, 0u);
    ASSERT_TRUE(::SetCurrentDirectoryW(folder().at(L"").c_str()));
  }
  void TearDown() override {
    ::SetCurrentDirectoryW(L"C:\\");
    ControlClient::TearDown();
    registered_.reset();
    fake_.reset();
    removeTree(kUserFolder);
    removeTree(kSamples);
  }

  std::vector<Plan> plans() {
    const std::wstring dry = L"--dry-run";
    return {
        {L"help COMMAND", {0}, L"", L"help scan"},
        {L"check FILE…", {0}, L"", L"check setup.exe"},
        {L"config fix --dry-run", {0, 2}, L""},
        {L"config lint", {0, 1}, L""},
        {L"config set ScheduledHour=22", {0}, L"--accept-server-reset --dry-run"},
        {L"config set WebShield=on --keep-server", {0}, L"--accept-server-reset --dry-run"},
        {L"doctor", {0, 1}, L"--offline"},
        {L"doctor --json", {0, 1}, L"--offline"},
        {L"log tail -f --ndjson", {}, L"", L"", true},
        {L"scan \"C:\\\"", {64}, L""},
        {L"scan quick", {0, 1}, L""},
        {L"scan user --action quarantine", {0, 5}, L""},
        {L"service install", {0}, dry},
        {L"service install --path \"D:\\Korvel\\KorvelService.exe\"",
         {0},
         L"",
         L"service install --dry-run --path " + quoted(serviceExecutable())},
        {L"service uninstall", {0}, dry},
        {L"service uninstall --yes", {0}, dry},
        {L"service start", {0}, dry},
        {L"service stop --yes", {0}, dry},
        {L"service restart", {0}, dry},
        {L"service state", {3}, L""},
        {L"stop", {0}, dry},
        {L"stop --yes", {0}, dry},
        {L"status --check", {2}, L""},
        {L"status --check --json", {2}, L""},
        {L"update program", {2}, L""},
        {L"update signatures", {2}, L""},
        {L"threats", {0, 1}, L""},
        {L"threats list --all", {0, 1}, L""},
        {L"wait", {0, 1}, L""},
        {L"watch", {0}, L"--for 1"},
        {L"watch --eventlog", {0}, L"--for 1"},
        {L"watch --eventlog --quiet", {0}, L"--for 1"},
        {L"quarantine export", {0}, L"", L"help quarantine export"},
        {L"quarantine restore 1763698260114", {0}, dry},
        {L"raw OP [HEX|@FILE]", {0}, L"", L"raw Ping"},
        {L"raw 9 7b1867fba1010000", {0}, dry},
        {L"--trace FILE", {0}, L"", L"--trace exchanges.ndjson ping"},
        // The list is that of the quick scan, whose findings lie below the Windows folder.
        {L"threats quarantine 1 3", {2}, L""},
        {L"quarantine verify --dir D:\\copy\\Quarantine",
         {0},
         L"",
         L"quarantine verify --dir " + quoted(settings().quarantineDir)},
    };
  }

  /// The command line of an example, with the id of a record that is there.
  std::wstring commandLine(const std::wstring& example, const Plan& plan) {
    std::wstring line = plan.instead.empty() ? example : plan.instead;
    if (!plan.added.empty()) line += L" " + plan.added;
    if (const size_t at = line.find(kExampleId); at != std::wstring::npos)
      line.replace(at, kExampleId.size(), std::to_wstring(quarantine().at(0).id));
    return line;
  }

  static std::vector<std::wstring> commands() {
    std::vector<std::wstring> all = {L""};
    for (size_t i = 0; i < all.size(); ++i) {
      const std::string text = ctl(L"help " + all[i]).output;
      size_t at = text.find("\nCommands:\n");
      if (at == std::string::npos) continue;
      for (at += 11; at < text.size() && text[at] != '\n'; at = text.find('\n', at) + 1) {
        if (text[at + 2] == ' ') continue;
        const std::wstring name = toWide(text.substr(at + 2, text.find(' ', at + 2) - at - 2));
        all.push_back(all[i].empty() ? name : all[i] + L" " + name);
      }
    }
    return all;
  }

  static void addHelpExamples(std::vector<std::wstring>& list) {
    for (const std::wstring& command : commands()) {
      const std::string text = ctl(L"help " + command).output;
      size_t at = text.find("\nExamples:\n");
      while (at != std::string::npos && (at = text.find("\n  korvelctl ", at)) != std::string::npos) {
        const size_t end = text.find('\n', at + 1);
        addExample(list, std::string_view(text).substr(at + 13, end - at - 13));
        at = end;
      }
    }
  }

  std::optional<fwfake::FakeFirewall> fake_;
  std::optional<RegisteredService> registered_;
};

TEST_F(Examples, OfTheDocumentsAndOfTheHelpEndAsTheyAreMeantTo) {
  std::vector<std::wstring> examples;
  for (const Document& document : kDocuments) addExamplesOf(document.text, examples);
  EXPECT_GE(examples.size(), 25u) << "the documents have been read";
  addHelpExamples(examples);
  EXPECT_GE(examples.size(), 60u) << "the help has been read";

  std::vector<Plan> unused = plans();
  const std::vector<Plan> all = unused;
  for (const std::wstring& example : examples) {
    const auto isFor = [&example](const Plan& plan) { return plan.example == example; };
    const auto found = std::find_if(all.begin(), all.end(), isFor);
    std::erase_if(unused, isFor);
    const Plan plan = found == all.end() ? Plan{example, {0}, L""} : *found;
    const std::wstring line = commandLine(example, plan);
    if (plan.endless) {
      ChildProcess child;
      child.start(controlExecutable(), withManners(line));
      EXPECT_TRUE(eventually(20'000, [&child] { return has(child.output(), "\n"); })) << toUtf8(line);
      EXPECT_TRUE(child.running()) << toUtf8(line);
      continue;
    }
    const Finished run = ctl(line);
    EXPECT_TRUE(std::find(plan.exitCodes.begin(), plan.exitCodes.end(), run.exitCode) != plan.exitCodes.end())
        << toUtf8(line) << " ended with " << run.exitCode << "\n"
        << run.output << run.errorOutput;
  }
  for (const Plan& plan : unused)
    ADD_FAILURE() << "no longer an example: " << toUtf8(std::wstring(plan.example));
  EXPECT_EQ(ctl(L"ping").exitCode, 0u) << "the service still answers";
}

}  // namespace
}  // namespace korvel::test
