// The service with a minifilter driver that the test plays: a copy of the executable with the stand-in filter
// library (fltlib.dll) beside it.
#pragma once

#include <optional>
#include <string>

#include "e2e/service_test.h"
#include "support/fake_driver.h"

namespace korvel::test {

class DriverTest : public ServiceTest {
 protected:
  void SetUp() override;
  /// The driver goes away first, which lets the service's link end.
  void TearDown() override;
  /// Starts the service and waits for it to connect.
  void startWithDriver();

  std::optional<FakeDriver> driver_;

 private:
  std::wstring before_;  ///< KORVEL_SERVICE
};

}  // namespace korvel::test
