#include "base/clock.h"

#include <gtest/gtest.h>

#include <thread>

namespace vespro {
namespace {

TEST(ClockTest, KnowsHowLongTheMachineRuns) {
  const SystemClock clock;
  const std::string boot = clock.BootId();
  const auto before = clock.SinceBoot();
  std::this_thread::sleep_for(std::chrono::milliseconds(60));
  const auto passed = clock.SinceBoot() - before;
  EXPECT_GE(passed, std::chrono::milliseconds(40)) << "the tick of Windows is 16 ms";
  EXPECT_LT(passed, std::chrono::seconds(30));
  EXPECT_NE(boot, "");
  EXPECT_EQ(boot.find_first_of(" \t\r\n"), std::string::npos) << boot;
  EXPECT_EQ(boot, SystemClock().BootId()) << "it is the same start of the machine";
}

}  // namespace
}  // namespace vespro
