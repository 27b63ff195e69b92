#include "engine/delivery/concurrency.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

using std::chrono::seconds;

constexpr TimePoint kStart = TimePoint() + std::chrono::hours(1);

TEST(ConcurrencyTest, FallsToWhatIsServedAndTriesOneMoreEverMoreSeldom) {
  Concurrency connections(seconds(30), 0, kStart);
  EXPECT_TRUE(connections.Allows(1000, kStart)) << "nothing is held back before a refusal";
  connections.OnRefused(4, kStart);
  connections.OnRefused(3, kStart);
  EXPECT_EQ(connections.most(), 3U);
  EXPECT_TRUE(connections.Allows(2, kStart));
  TimePoint now = kStart;
  for (const int wait : {30, 60, 120}) {
    EXPECT_FALSE(connections.Allows(3, now + seconds(wait) - seconds(1)));
    now += seconds(wait);
    ASSERT_TRUE(connections.Allows(3, now));
    EXPECT_FALSE(connections.Allows(4, now)) << "one more at a time";
    connections.OnOpened(4, now);
    EXPECT_FALSE(connections.Allows(4, now));
    connections.OnRefused(3, now);
    EXPECT_EQ(connections.most(), 3U);
  }
  now += seconds(240);
  connections.OnOpened(4, now);
  EXPECT_TRUE(connections.Allows(4, now + seconds(240))) << "it was served";
  connections.OnRefused(0, now);
  EXPECT_EQ(connections.most(), 1U);
}

TEST(ConcurrencyTest, BeginsAgainWithOne) {
  Concurrency connections(seconds(30), 5, kStart);
  EXPECT_FALSE(connections.Allows(5, kStart)) << "learnt before";
  const TimePoint when = kStart + std::chrono::minutes(10);
  connections.BeginAgain(when);
  EXPECT_TRUE(connections.Allows(0, when));
  EXPECT_FALSE(connections.Allows(1, when));
  EXPECT_TRUE(connections.Allows(1, when + seconds(30)));
}

}  // namespace
}  // namespace vespro::engine
