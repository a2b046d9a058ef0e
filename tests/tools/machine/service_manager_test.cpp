// A registration of its own name does not exist: these tests register KorvelService itself and run only where
// nothing is of value.
#include "korvelctl/machine/service_manager.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/files.h"

namespace korvel::ctl {
namespace {

constexpr wchar_t kProgram[] = L"C:\\Program Files\\Korvel\\KorvelService.exe";

/// What was asked of the manager in the calls whose effect the test platform does not keep.
struct Asked {
  std::wstring description;
  Recovery recovery;
  DWORD fail = 0;  ///< the code that the next call fails with
};
Asked asked;

const ScmCalls kRecording = {
    [](SC_HANDLE service, DWORD level, void* info) WINAPI -> BOOL {
      if (asked.fail != 0) {
        ::SetLastError(asked.fail);
        return FALSE;
      }
      if (level == SERVICE_CONFIG_DESCRIPTION) {
        asked.description = static_cast<SERVICE_DESCRIPTIONW*>(info)->lpDescription;
        return ::ChangeServiceConfig2W(service, level, info);
      }
      const auto* failure = static_cast<const SERVICE_FAILURE_ACTIONSW*>(info);
      asked.recovery = {failure->dwResetPeriod, {}};
      for (DWORD i = 0; i < failure->cActions; ++i) {
        asked.recovery.steps.push_back(
            {static_cast<RecoveryAction>(failure->lpsaActions[i].Type), failure->lpsaActions[i].Delay});
      }
      EXPECT_NE(failure->lpsaActions, nullptr) << "that would keep the old actions";
      EXPECT_EQ(failure->lpRebootMsg, nullptr);
      EXPECT_EQ(failure->lpCommand, nullptr);
      return TRUE;
    },
    [](SC_HANDLE service, DWORD level, BYTE* buffer, DWORD size, DWORD* needed) WINAPI -> BOOL {
      if (level != SERVICE_CONFIG_FAILURE_ACTIONS)
        return ::QueryServiceConfig2W(service, level, buffer, size, needed);
      auto* failure = reinterpret_cast<SERVICE_FAILURE_ACTIONSW*>(buffer);
      *failure = {};
      failure->dwResetPeriod = asked.recovery.resetSeconds;
      failure->cActions = static_cast<DWORD>(asked.recovery.steps.size());
      failure->lpsaActions = reinterpret_cast<SC_ACTION*>(failure + 1);
      for (size_t i = 0; i < asked.recovery.steps.size(); ++i) {
        failure->lpsaActions[i] = {static_cast<SC_ACTION_TYPE>(asked.recovery.steps[i].action),
                                   asked.recovery.steps[i].delayMs};
      }
      return TRUE;
    }};

class ServiceManager : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(pathExists(L"C:\\korvel-test-machine")) << "not a machine for tests";
    asked = {};
    (void)removeService();
  }
  void TearDown() override { (void)removeService(); }

  static ServiceFacts facts() {
    ServiceFacts facts;
    EXPECT_EQ(queryService(facts, kRecording), 0u);
    return facts;
  }
  static bool install(const std::wstring& program = kProgram) {
    bool created = false;
    EXPECT_EQ(installService(servicePlan(program), &created, kRecording), 0u);
    return created;
  }
};

TEST_F(ServiceManager, AServiceThatIsNotInstalledIsAnAnswerToo) {
  EXPECT_EQ(facts().state, ScmState::kNotInstalled);
  EXPECT_EQ(removeService(), static_cast<uint32_t>(ERROR_SERVICE_DOES_NOT_EXIST));
  EXPECT_EQ(startService(), static_cast<uint32_t>(ERROR_SERVICE_DOES_NOT_EXIST));
  EXPECT_EQ(stopService(), static_cast<uint32_t>(ERROR_SERVICE_DOES_NOT_EXIST));
}

TEST_F(ServiceManager, AnInstallationIsAsPlanned) {
  EXPECT_TRUE(install());
  const ServiceFacts found = facts();
  EXPECT_EQ(found.state, ScmState::kStopped);
  EXPECT_EQ(found.commandLine, L"\"C:\\Program Files\\Korvel\\KorvelService.exe\"");
  EXPECT_EQ(found.displayName, L"KORVEL Antivirus");
  EXPECT_EQ(found.description, servicePlan(kProgram).description);
  EXPECT_EQ(found.startType, static_cast<uint32_t>(SERVICE_AUTO_START));
  EXPECT_EQ(found.recovery, servicePlan(kProgram).recovery);
  EXPECT_TRUE(serviceFaults(found, kProgram).empty());
}

TEST_F(ServiceManager, AnOldRegistrationIsRepaired) {
  const UniqueScmHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  {
    const UniqueScmHandle service(
        ::CreateServiceW(manager.get(), L"KorvelService", L"old", SERVICE_ALL_ACCESS,
                         SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                         L"C:\\old folder\\KorvelService.exe", nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(service);
  }
  EXPECT_EQ(serviceFaults(facts(), kProgram),
            (std::vector<ServiceFault>{ServiceFault::kOtherProgram, ServiceFault::kNotQuoted,
                                       ServiceFault::kNotAutomatic, ServiceFault::kNoRecovery}));
  EXPECT_FALSE(install());
  EXPECT_TRUE(serviceFaults(facts(), kProgram).empty());
}

TEST_F(ServiceManager, InstallingTwiceChangesNothing) {
  EXPECT_TRUE(install());
  EXPECT_FALSE(install());
  EXPECT_TRUE(serviceFaults(facts(), kProgram).empty());
}

TEST_F(ServiceManager, AFailureOfOneStepIsTold) {
  asked.fail = ERROR_ACCESS_DENIED;
  bool created = false;
  EXPECT_EQ(installService(servicePlan(kProgram), &created, kRecording),
            static_cast<uint32_t>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(created) << "so that the caller can say what is there";
}

TEST_F(ServiceManager, ARemovedServiceIsGoneAndCanBeInstalledAgain) {
  install();
  EXPECT_EQ(removeService(), 0u);
  EXPECT_EQ(facts().state, ScmState::kNotInstalled);
  EXPECT_TRUE(install());
}

TEST_F(ServiceManager, AServiceThatIsStoppedNeedsNoWaiting) {
  install();
  ServiceFacts found;
  EXPECT_EQ(waitForService(ScmState::kStopped, 0, found), 0u);
  EXPECT_EQ(found.state, ScmState::kStopped);
  EXPECT_EQ(stopService(), static_cast<uint32_t>(ERROR_SERVICE_NOT_ACTIVE));
}

TEST_F(ServiceManager, WaitingForAStartEndsWhenTheServiceIsStopped) {
  install();
  ServiceFacts found;
  EXPECT_EQ(waitForService(ScmState::kRunning, 60'000, found),
            static_cast<uint32_t>(ERROR_SERVICE_NOT_ACTIVE));
}

TEST_F(ServiceManager, KillingAServiceWithoutAProcessDoesNothing) {
  install();
  EXPECT_EQ(killService(kRecording), 0u);
  EXPECT_EQ(asked.recovery, servicePlan(kProgram).recovery);
}

}  // namespace
}  // namespace korvel::ctl
