#include "korvelctl/render/service.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

ServiceFacts running() {
  const ServicePlan plan = servicePlan(L"C:\\Program Files\\Korvel\\KorvelService.exe");
  ServiceFacts facts;
  facts.state = ScmState::kRunning;
  facts.processId = 1234;
  facts.commandLine = plan.commandLine;
  facts.account = L"LocalSystem";
  facts.startType = 2;
  facts.recovery = plan.recovery;
  return facts;
}

TEST(ServiceText, ShowsTheRegistrationInOneColumn) {
  Look look;
  EXPECT_EQ(renderService(running(), {}, look),
            "State          runs, process 1234\n"
            "Program        \"C:\\Program Files\\Korvel\\KorvelService.exe\"\n"
            "Account        LocalSystem\n"
            "Start          with Windows\n"
            "After a crash  restart after 1\u00A0min, restart after 1\u00A0min, nothing\n");
  look.language = Language::kRussian;
  ServiceFacts facts = running();
  facts.startType = 3;
  facts.recovery.reset();
  EXPECT_EQ(renderService(facts, {ServiceFault::kNotAutomatic}, look),
            "Состояние       работает, процесс 1234\n"
            "Программа       \"C:\\Program Files\\Korvel\\KorvelService.exe\"\n"
            "Учётная запись  LocalSystem\n"
            "Запуск          по требованию\n"
            "После сбоя      неизвестно\n"
            "Исправить       не запускается вместе с Windows\n");
}

TEST(ServiceText, AStoppedServiceTellsItsCodeOnlyWhenItFailed) {
  ServiceFacts facts;
  facts.state = ScmState::kStopped;
  EXPECT_EQ(serviceStateText(facts, Language::kEnglish), "stopped");
  facts.exitCode = 1077;
  EXPECT_EQ(serviceStateText(facts, Language::kEnglish), "stopped") << "it was never started";
  facts.exitCode = 1066;
  facts.specificExitCode = 0;
  EXPECT_EQ(serviceStateText(facts, Language::kEnglish), "stopped, last ended with code 1066/0");
  facts.state = ScmState::kNotInstalled;
  EXPECT_EQ(renderService(facts, {}, Look()), "State  not installed\n");
}

TEST(ServiceJson, HasWordsAndNumbersForScripts) {
  const auto json = serviceJson(running(), {ServiceFault::kNotQuoted});
  EXPECT_EQ(json["state"], "running");
  EXPECT_EQ(json["process_id"], 1234);
  EXPECT_EQ(json["program"], "C:\\Program Files\\Korvel\\KorvelService.exe");
  EXPECT_EQ(json["start"], "automatic");
  EXPECT_EQ(json["recovery"]["reset_s"], 86'400);
  EXPECT_EQ(json["recovery"]["steps"][1]["action"], "restart");
  EXPECT_EQ(json["recovery"]["steps"][1]["delay_ms"], 60'000);
  EXPECT_EQ(json["faults"][0], "not_quoted");
  EXPECT_EQ(serviceJson({}, {}).dump(), R"({"installed":false,"state":"not_installed"})");
}

}  // namespace
}  // namespace korvel::ctl
