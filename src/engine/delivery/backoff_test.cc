#include "engine/delivery/backoff.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(BackoffTest, DelaysDoubleWithinBounds) {
  const BackoffPolicy policy{seconds(30), std::chrono::hours(1)};
  EXPECT_EQ(ExponentialDelay(policy, 1), seconds(30));
  EXPECT_EQ(ExponentialDelay(policy, 2), seconds(60));
  EXPECT_EQ(ExponentialDelay(policy, 4), seconds(240));
  EXPECT_EQ(ExponentialDelay(policy, 1000), std::chrono::hours(1));
  EXPECT_EQ(ExponentialDelay({milliseconds(0), seconds(1)}, 1000), milliseconds(0));
}

TEST(BackoffTest, FailuresTogetherAreOneAndSuccessBeginsAnew) {
  const BackoffPolicy policy{seconds(1), seconds(60)};
  const TimePoint start = TimePoint() + seconds(100);
  Backoff backoff;
  EXPECT_LE(backoff.release_time(), start);
  for (int i = 0; i < 3; ++i) backoff.Failed(start + milliseconds(i), policy);
  EXPECT_EQ(backoff.failures(), 1);
  EXPECT_EQ(backoff.release_time(), start + seconds(1));
  backoff.Failed(start + seconds(1), policy);
  EXPECT_EQ(backoff.failures(), 2);
  EXPECT_EQ(backoff.release_time(), start + seconds(3));
  backoff.Succeeded();
  EXPECT_EQ(backoff.failures(), 0);
  EXPECT_EQ(backoff.release_time(), start + seconds(3)) << "a late success ends no wait";
  backoff.Failed(start + seconds(10), policy);
  EXPECT_EQ(backoff.release_time(), start + seconds(11));
}

}  // namespace
}  // namespace vespro::engine
