// The exit-code matrix: each command in its outcomes, once as people read it and once with --json, which is
// one document every time. Together they end with every exit code of the documents but that of a bug.
#include <set>

#include "base/files.h"
#include "config/data_paths.h"
#include "e2e/control_client.h"
#include "e2e/sample_files.h"
#include "support/exit_meanings.h"

namespace korvel::test {
namespace {

struct Outcome {
  std::wstring arguments;
  DWORD exitCode;
  std::string schema = "error";  ///< without "korvel." and "/1"
};

class JsonMatrix : public ControlClient {
 protected:
  void expectAll(const std::vector<Outcome>& outcomes) {
    for (const Outcome& outcome : outcomes) {
      const Finished run = ctl(outcome.arguments + L" --json");
      EXPECT_EQ(run.exitCode, outcome.exitCode) << toUtf8(outcome.arguments) << "\n" << run.output;
      nlohmann::json document = parsed(run);
      EXPECT_EQ(document["schema"], "korvel." + outcome.schema + "/1") << toUtf8(outcome.arguments);
      if (outcome.schema == "error") {
        EXPECT_EQ(document["exit"], run.exitCode) << toUtf8(outcome.arguments);
      }
      seen_.insert(static_cast<int>(run.exitCode));
      std::string last;
      for (const nlohmann::json& line : lines(ctl(outcome.arguments + L" --ndjson"))) {
        EXPECT_TRUE(line["type"].is_string()) << toUtf8(outcome.arguments) << line.dump();
        last = line.value("schema", "");
      }
      EXPECT_EQ(last, "korvel." + outcome.schema + "/1") << toUtf8(outcome.arguments) << " as lines";
    }
  }
  std::set<int> seen_;
};

TEST_F(JsonMatrix, WithoutAServiceEveryCommandPrintsOneDocument) {
  writeSettings("ScanArchives=yes\n");  // the service reads it as off
  const std::wstring eicar = quoted(folder().write(L"eicar.com", eicarText()));
  const std::wstring clean = quoted(folder().write(L"clean.txt", "x"));
  const std::wstring empty = quoted(folder().write(L"empty.exe", ""));
  const std::wstring place = quoted(folder().at(L""));
  std::vector<Outcome> outcomes = {
      {L"check " + clean, 0, "check"},
      {L"check " + eicar, 1, "check"},
      {L"check " + empty, 5, "check"},
      {L"check " + quoted(folder().at(L"none")), 2, "check"},
      {L"check", 64},
      {L"config lint " + quoted(settingsPath()), 1, "lint"},
      {L"config lint " + quoted(folder().at(L"none")), 2},
      {L"config fix", 64},
      {L"config fix --dry-run", 0, "lint"},
      {L"doctor --offline", 1, "doctor"},
      {L"shield status", 0, "shield"},
      {L"shield status --hosts " + quoted(folder().at(L"none")), 2},
      {L"service state", 3, "service"},
      {L"service start", 3},
      {L"service stop", 3},
      {L"service install --dry-run", 0, "service"},
      {L"service uninstall --dry-run", 0, "service"},
      {L"quarantine verify --dir " + quoted(folder().at(L"none")), 2},
      {L"log rotate --max ten", 64},
  };
  const std::wstring unreachable[] = {L"status",
                                      L"ping",
                                      L"scan " + place.substr(0, place.size() - 2) + L"\"",
                                      L"wait",
                                      L"cancel",
                                      L"progress",
                                      L"threats",
                                      L"threats quarantine 1",
                                      L"threats delete 1 --yes",
                                      L"quarantine list",
                                      L"quarantine restore 1",
                                      L"quarantine delete 1 --yes",
                                      L"quarantine verify",
                                      L"quarantine export 1 -o x.bin",
                                      L"config list",
                                      L"config get WebShield",
                                      L"config set WebShield=1",
                                      L"update signatures",
                                      L"update program",
                                      L"reload",
                                      L"firewall status",
                                      L"firewall reset --yes",
                                      L"firewall export -o x.json",
                                      L"stop --yes",
                                      L"selftest",
                                      L"watch --for 1"};
  for (const std::wstring& command : unreachable) outcomes.push_back({command + L" --timeout 0", 3});
  expectAll(outcomes);
}

TEST_F(JsonMatrix, WithAServiceEveryCommandPrintsOneDocumentAndEveryExitCodeIsSeen) {
  startService();
  folder().write(L"clean\\a.exe", "x");
  folder().write(L"bad\\eicar.com", eicarText());
  folder().write(L"other\\eicar.txt", eicarText());
  expectAll({
      {L"ping", 0, "status"},
      {L"status", 0, "status"},
      {L"status --check", 2, "status"},
      {L"scan " + quoted(folder().at(L"clean")) + L" --dry-run", 0, "scan"},
      {L"scan " + quoted(folder().at(L"clean")), 0, "scan"},
      {L"scan " + quoted(folder().at(L"other")), 5, "scan"},
      {L"scan " + quoted(folder().at(L"bad\\eicar.com")), 64},
      {L"scan " + quoted(folder().at(L"bad")), 1, "scan"},
      {L"wait", 1, "scan"},
      {L"progress", 0, "scan"},
      {L"cancel", 0, "scan"},
      {L"threats", 1, "threats"},
      {L"threats delete 1", 64},
      {L"threats delete 1 --dry-run", 0, "action"},
      {L"threats quarantine 9", 2, "action"},
      {L"quarantine list", 0, "quarantine"},
      {L"quarantine restore 17", 2, "action"},
      {L"quarantine delete --all", 0, "action"},
      {L"config list", 0, "config"},
      {L"config get WebShield", 0, "config"},
      {L"config get Nonsense", 64},
      {L"config set WebShield=0", 0, "config"},
      {L"config set WebShield=maybe", 64},
      {L"reload", 0, "update"},
      {L"update", 64},
      {L"firewall reset", 64},
      {L"watch --for 1", 0, "events"},
      {L"doctor --offline", 1, "doctor"},
      {L"selftest --dry-run", 0, "selftest"},
      {L"log tail -n 3", 0, "log"},
      {L"log rotate", 0, "log"},
      {L"stop --dry-run", 0, "service"},
      {L"nonsense", 64},
  });
  stopService();
  expectAll({{L"ping --timeout 0", 3}});
  // A pipe without the service behind it.
  const UniqueHandle pipe(::CreateNamedPipeW(L"\\\\.\\pipe\\KorvelAV", PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1,
                                             4096, 4096, 0, nullptr));
  ChildProcess child;
  child.start(controlExecutable(), withManners(L"ping --json"));
  ::ConnectNamedPipe(pipe.get(), nullptr);
  DWORD done = 0;
  ::WriteFile(pipe.get(), "this is not a frame of ours", 24, &done, nullptr);
  const std::optional<DWORD> broken = child.waitForExit(30'000);
  ASSERT_TRUE(broken.has_value());
  seen_.insert(static_cast<int>(*broken));
  for (const ExitMeaning& meaning : kExitMeanings) {
    if (meaning.code != 70) {
      EXPECT_TRUE(seen_.contains(meaning.code)) << "no command ended with " << meaning.code;
    }
    seen_.erase(meaning.code);
  }
  EXPECT_TRUE(seen_.empty()) << "the documents lack " << (seen_.empty() ? 0 : *seen_.begin());
}

}  // namespace
}  // namespace korvel::test
