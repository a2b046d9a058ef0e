// The command line of korvelmock, its files and its connections.
#include "korvelmock/program.h"

#include <map>

#include "korvelmock/scenes.h"
#include "tools/korvelmock/mock_client.h"

namespace korvel::test {
namespace {

class MemoryListener : public mock::Listener {
 public:
  explicit MemoryListener(std::vector<std::string> clients, std::vector<std::string>& log)
      : clients_(std::move(clients)), log_(log) {}

  void keepBusy(uint32_t milliseconds) override { log_.push_back("busy " + std::to_string(milliseconds)); }
  mock::Channel* accept() override {
    if (next_ == clients_.size()) return nullptr;
    channel_ = std::make_unique<MemoryChannel>(clients_[next_++]);
    return channel_.get();
  }
  void disconnect() override { log_.push_back("answered " + std::to_string(channel_->output.size())); }

 private:
  std::vector<std::string> clients_;
  size_t next_ = 0;
  std::unique_ptr<MemoryChannel> channel_;
  std::vector<std::string>& log_;
};

class MemorySystem : public mock::System {
 public:
  std::map<std::string, std::string> files;
  std::vector<std::string> clients;  ///< what each sends
  MemoryChannel standard{frameOf(2)};
  std::string output;
  std::string errors;
  std::vector<std::string> log;

  std::optional<std::string> readFile(const std::string& path) override {
    return files.contains(path) ? std::optional(files[path]) : std::nullopt;
  }
  void out(std::string_view text) override { output += text; }
  void err(std::string_view text) override { errors += text; }
  void sleep(uint32_t milliseconds) override { log.push_back("sleep " + std::to_string(milliseconds)); }
  mock::Channel& standardStreams() override { return standard; }
  std::unique_ptr<mock::Listener> listen(const std::string& pipe, std::string* error) override {
    log.push_back("listen " + pipe);
    if (pipe == "taken") {
      *error = "it is taken";
      return nullptr;
    }
    return std::make_unique<MemoryListener>(clients, log);
  }
};

TEST(MockProgram, NeedsAScriptOrAScene) {
  for (const std::vector<std::string>& wrong :
       std::vector<std::vector<std::string>>{{},
                                             {"--pipe", "x"},
                                             {"--scene", "fresh", "--script", "a.json"},
                                             {"--scene", "fresh", "--connections", "0"},
                                             {"--nonsense"}}) {
    MemorySystem system;
    EXPECT_EQ(mock::runKorvelmock(wrong, system), 64);
    EXPECT_NE(system.errors, "");
  }
}

TEST(MockProgram, SaysWhyAScriptCannotBePlayed) {
  MemorySystem system;
  system.files["bad.json"] = R"({"busy": 1})";
  EXPECT_EQ(mock::runKorvelmock({"--script", "bad.json"}, system), 2);
  EXPECT_EQ(mock::runKorvelmock({"--script", "no.json"}, system), 2);
  EXPECT_EQ(mock::runKorvelmock({"--scene", "no"}, system), 2);
  EXPECT_EQ(system.errors,
            "korvelmock: script.busy: is unknown\n"
            "korvelmock: cannot read no.json\n"
            "korvelmock: there is no scene no; korvelmock --scenes lists them\n");
  EXPECT_EQ(system.log.size(), 0u);
}

TEST(MockProgram, ListsPrintsAndChecksScenes) {
  MemorySystem system;
  EXPECT_EQ(mock::runKorvelmock({"--scenes"}, system), 0);
  EXPECT_EQ(system.output.find("absent         the pipe comes after 2 s"), 0u) << system.output;
  system.output.clear();
  EXPECT_EQ(mock::runKorvelmock({"--scene", "fresh", "--print"}, system), 0);
  EXPECT_EQ(system.output, mock::findScene("fresh")->text);
  system.output.clear();
  system.files["good.json"] = "{}";
  EXPECT_EQ(mock::runKorvelmock({"--script", "good.json", "--check"}, system), 0);
  EXPECT_EQ(system.output + system.errors, "");
}

TEST(MockProgram, SpeaksOverTheStandardStreamsAndTellsOnStandardErrorOnly) {
  MemorySystem system;
  EXPECT_EQ(mock::runKorvelmock({"--scene", "fresh", "--stream"}, system), 0);
  EXPECT_EQ(system.standard.output.size(), 28u);
  EXPECT_EQ(system.output, "");
  EXPECT_EQ(system.errors, "Ping, 0 bytes: reply, 4 bytes\n");
  EXPECT_EQ(system.log.size(), 0u);
}

TEST(MockProgram, ServesClientsOneAfterTheOtherAndRemembersWhatTheyDid) {
  MemorySystem system;
  system.clients = {frameOf(3, ipc::encodeStartScan({ScanScope::kQuick, {}})),
                    frameOf(3, ipc::encodeStartScan({})), frameOf(21), frameOf(2)};
  EXPECT_EQ(mock::runKorvelmock({"--scene", "fresh", "--quiet"}, system), 0);
  EXPECT_EQ(system.output, "korvelmock: KorvelAV is open\n");
  EXPECT_EQ(system.errors, "");
  // The second client finds the scan of the first; the third stops the service.
  EXPECT_EQ(system.log,
            (std::vector<std::string>{"listen KorvelAV", "answered 24", "answered 53", "answered 24"}));
}

TEST(MockProgram, EndsAfterSoManyConnections) {
  MemorySystem system;
  system.clients = {frameOf(2), frameOf(2), frameOf(2)};
  EXPECT_EQ(mock::runKorvelmock({"--scene", "busy", "--pipe", "other", "--connections", "2"}, system), 0);
  EXPECT_EQ(system.log,
            (std::vector<std::string>{"listen other", "busy 2000", "answered 28", "answered 28"}));
}

TEST(MockProgram, SaysWhyThereIsNoPipe) {
  MemorySystem system;
  EXPECT_EQ(mock::runKorvelmock({"--scene", "absent", "--pipe", "taken"}, system), 3);
  EXPECT_EQ(system.errors, "korvelmock: it is taken\n");
  EXPECT_EQ(system.log, (std::vector<std::string>{"sleep 2000", "listen taken"}));
}

}  // namespace
}  // namespace korvel::test
