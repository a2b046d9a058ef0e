#include "scan/report_pace.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

TEST(ReportPace, TheNextReportIsDueAfter120Milliseconds) {
  const ReportPace::Time start{milliseconds(5'000)};
  ReportPace pace;
  pace.reported(start);
  EXPECT_FALSE(pace.due(start));
  EXPECT_FALSE(pace.due(start + milliseconds(120) - microseconds(1)));
  EXPECT_TRUE(pace.due(start + milliseconds(120)));
  EXPECT_TRUE(pace.due(start + milliseconds(5'000)));
}

TEST(ReportPace, TheDistanceCountsFromTheLastReport) {
  const ReportPace::Time start{milliseconds(5'000)};
  ReportPace pace;
  pace.reported(start);
  pace.reported(start + milliseconds(100));
  EXPECT_FALSE(pace.due(start + milliseconds(219)));
  EXPECT_TRUE(pace.due(start + milliseconds(220)));
}

}  // namespace
}  // namespace korvel
