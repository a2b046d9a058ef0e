// A detected file's way into quarantine and out of it.
#include "base/files.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

class Quarantine : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    startService();
  }
  /// Writes the EICAR file into the test's folder and scans it; returns the one threat.
  ThreatRecord detect(const std::wstring& name = L"in\\eicar.com") {
    file_ = folder().write(name, eicarText());
    scan({folder().at(L"in")});
    const auto found = results();
    if (found.size() != 1) throw std::runtime_error("not one threat but " + std::to_string(found.size()));
    return found[0];
  }
  std::string decide(uint32_t action, const ThreatRecord& threat) {
    return reply(Opcode::kThreatDecision, ipc::encodeThreatDecision({action, threat}));
  }
  std::string index() { return readFile(defaultQuarantineDir() + L"\\quarantine.db"); }

  std::wstring file_;
};

TEST_F(Quarantine, IsPreparedAtStart) {
  EXPECT_EQ(index(), "KORVELQUARANTINE/1\n");
  EXPECT_TRUE(quarantine().empty());
}

TEST_F(Quarantine, TakesTheFileAwayAndListsIt) {
  decide(ipc::kActionQuarantine, detect());
  EXPECT_FALSE(pathExists(file_));
  const auto records = quarantine();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].originalPath, file_);
  EXPECT_EQ(records[0].threat, "EICAR-Test-File");
  EXPECT_EQ(records[0].code, "EICAR");
  EXPECT_EQ(records[0].severity, kSeverityHigh);
  EXPECT_EQ(records[0].size, 68u);
  EXPECT_TRUE(records[0].storedFileExists);
  EXPECT_LE(records[0].time - records[0].id / 1000, 1u);  // a second may have begun between the two
  EXPECT_EQ(readFile(records[0].storedPath), eicarText());
  EXPECT_EQ(records[0].storedPath, defaultQuarantineDir() + L"\\" + std::to_wstring(records[0].time) +
                                       L"_275a021bbfb6489e_eicar.com");
  EXPECT_TRUE(logGets("[INF] quarantined: " + toUtf8(file_) + "\n"));
}

TEST_F(Quarantine, RestoresTheFileByteForByteIntoItsLostFolder) {
  decide(ipc::kActionQuarantine, detect());
  removeTree(folder().at(L"in"));
  const uint64_t id = quarantine().at(0).id;
  EXPECT_EQ(reply(Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(id)), "");
  EXPECT_EQ(readFile(file_), eicarText());
  EXPECT_TRUE(quarantine().empty());
  EXPECT_EQ(refusal(Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(id)), "record not found");
}

TEST_F(Quarantine, RestoreOverwritesWhatTookThePlace) {
  decide(ipc::kActionQuarantine, detect());
  writeFile(file_, "newcomer");
  reply(Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(quarantine().at(0).id));
  EXPECT_EQ(readFile(file_), eicarText());
}

TEST_F(Quarantine, DeletesTheStoredFileAndItsRecord) {
  decide(ipc::kActionQuarantine, detect());
  const QuarantineRecord record = quarantine().at(0);
  EXPECT_EQ(reply(Opcode::kDeleteQuarantined, ipc::encodeQuarantineId(record.id)), "");
  EXPECT_FALSE(pathExists(record.storedPath));
  EXPECT_FALSE(pathExists(file_));
  EXPECT_TRUE(quarantine().empty());
  EXPECT_EQ(refusal(Opcode::kDeleteQuarantined, ipc::encodeQuarantineId(record.id)), "record not found");
}

TEST_F(Quarantine, DeletingAThreatLeavesNothingOfIt) {
  decide(ipc::kActionDelete, detect());
  EXPECT_FALSE(pathExists(file_));
  EXPECT_TRUE(quarantine().empty());
  EXPECT_EQ(index(), "KORVELQUARANTINE/1\n");
  EXPECT_TRUE(logGets("[INF] deleted: " + toUtf8(file_) + "\n"));
  EXPECT_EQ(log().find("quarantined: "), std::string::npos);
}

TEST_F(Quarantine, AMissingFileIsRefused) {
  ThreatRecord threat = detect();
  removeTree(file_);
  for (const uint32_t action : {ipc::kActionQuarantine, ipc::kActionDelete}) {
    EXPECT_EQ(refusal(Opcode::kThreatDecision, ipc::encodeThreatDecision({action, threat})),
              "file not found");
  }
}

TEST_F(Quarantine, AFileInUseStaysWhereItIs) {
  const ThreatRecord threat = detect();
  const UniqueHandle inUse(::CreateFileW(file_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(inUse);
  EXPECT_EQ(refusal(Opcode::kThreatDecision, ipc::encodeThreatDecision({ipc::kActionQuarantine, threat})),
            "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)");
  EXPECT_TRUE(pathExists(file_));
  EXPECT_EQ(index(), "KORVELQUARANTINE/1\n");
}

TEST_F(Quarantine, SurvivesARestart) {
  decide(ipc::kActionQuarantine, detect());
  const auto before = quarantine();
  stopService();
  startService();
  EXPECT_EQ(quarantine(), before);
}

TEST_F(Quarantine, TellsOfAStoredFileThatIsGone) {
  decide(ipc::kActionQuarantine, detect());
  removeTree(quarantine().at(0).storedPath);
  const auto records = quarantine();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].storedFileExists);
  EXPECT_EQ(refusal(Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(records[0].id)),
            "restore failed, code 2");
  EXPECT_EQ(quarantine().size(), 1u);
}

TEST_F(Quarantine, FollowsTheDirectoryInForce) {
  SettingsFields changed = settings();
  changed.quarantineDir = folder().at(L"Карантин");
  reply(Opcode::kSetConfig, ipc::encodeSettings(changed));
  decide(ipc::kActionQuarantine, detect());
  const auto records = quarantine();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_TRUE(records[0].storedPath.starts_with(changed.quarantineDir + L"\\"));
  EXPECT_TRUE(pathExists(changed.quarantineDir + L"\\quarantine.db"));
}

}  // namespace
}  // namespace korvel::test
