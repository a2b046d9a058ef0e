// The report that a failed stop adds to its failure.
#include "e2e/thread_report.h"

#include "e2e/service_test.h"

namespace korvel::test {
namespace {

class ThreadReport : public ServiceTest {};

TEST_F(ThreadReport, TellsWhereTheThreadsOfTheServiceAreAndLetsThemRunOn) {
  startService();
  const std::string report = threadReport(service().id());
  EXPECT_TRUE(report.starts_with("threads of process " + std::to_string(service().id()) + ":\n  thread "))
      << report;
  EXPECT_NE(report.find(" ntdll.dll+0x"), std::string::npos) << report;
  EXPECT_NE(report.find("    KorvelService.exe+0x"), std::string::npos) << report;
  EXPECT_EQ(report.find("cannot be looked at"), std::string::npos) << report;
  EXPECT_EQ(status().serviceVersion, "1.2.0");
}

TEST_F(ThreadReport, OfAProcessThatHasEndedHasNoThread) {
  startService();
  const DWORD process = service().id();
  stopService();
  EXPECT_EQ(threadReport(process), "threads of process " + std::to_string(process) + ":\n");
}

}  // namespace
}  // namespace korvel::test
