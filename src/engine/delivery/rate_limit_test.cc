#include "engine/delivery/rate_limit.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr TimePoint kStart{};

TEST(TokenBucketTest, IsSmooth) {
  TokenBucket bucket(5, kStart);
  int taken = 0;
  for (milliseconds now{0}; now <= seconds(10); now += milliseconds(1)) {
    taken += bucket.Take(kStart + now);
  }
  EXPECT_EQ(taken, 51);  // one at once, then five a second
  const TimePoint rested = kStart + seconds(100);
  EXPECT_TRUE(bucket.Take(rested));
  EXPECT_FALSE(bucket.Take(rested)) << "what was not used is not saved up";
  EXPECT_FALSE(bucket.Take(bucket.NextAt(rested) - milliseconds(1)));
  EXPECT_TRUE(bucket.Take(bucket.NextAt(rested)));
  TokenBucket open(0, kStart);
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(open.Take(kStart));
}

TEST(RateLimitsTest, AServersLimitAndTheJobsHoldTogether) {
  RateLimits limits(10, kStart);
  const std::size_t slow = limits.Add(1, kStart);
  EXPECT_TRUE(limits.Take(slow, kStart));
  EXPECT_EQ(limits.retry_at(), TimePoint::max());

  const TimePoint next = kStart + milliseconds(100);  // a token for the job, none for the server
  EXPECT_FALSE(limits.Allows(slow, next));
  EXPECT_FALSE(limits.Take(slow, next));
  EXPECT_EQ(limits.retry_at(), kStart + seconds(1));
  EXPECT_TRUE(limits.Take(RateLimits::kUnlimited, next)) << "the refused one took a token";
  EXPECT_FALSE(limits.Take(RateLimits::kUnlimited, next));
  EXPECT_EQ(limits.retry_at(), kStart + milliseconds(200)) << "the earlier one counts";
  limits.ForgetRefusals();
  EXPECT_EQ(limits.retry_at(), TimePoint::max());
}

TEST(RateLimitsTest, OpensNoMoreConnectionsThanMessagesAreLetThrough) {
  RateLimits limits(50, kStart);  // up to five at once
  const TimePoint later = kStart + seconds(1);
  EXPECT_TRUE(limits.MayConnect(4, later));
  EXPECT_FALSE(limits.MayConnect(5, later));
  EXPECT_EQ(limits.retry_at(), TimePoint::max()) << "there are tokens: no timer has to bring them";
  const std::size_t slow = limits.Add(1, later);
  EXPECT_TRUE(limits.MayConnectTo(slow, 0, later));
  EXPECT_FALSE(limits.MayConnectTo(slow, 1, later));
  EXPECT_TRUE(limits.MayConnectTo(RateLimits::kUnlimited, 1000, later));
}

}  // namespace
}  // namespace vespro::engine
