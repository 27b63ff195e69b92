#include "engine/delivery/scheduler.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Deals `count` messages to whoever may take the next, and tells who got how many.
std::vector<int> Deal(Shares& shares, std::size_t targets, int count) {
  std::vector<int> got(targets);
  for (int i = 0; i < count; ++i) {
    std::size_t target = 0;
    while (target < targets && !shares.MayTake(target)) ++target;
    if (target == targets) {
      ADD_FAILURE() << "nobody may take message " << i;
      break;
    }
    shares.Take(target);
    ++got[target];
  }
  return got;
}

TEST(SharesTest, AreExact) {
  Shares two_of_three({2, 1});
  EXPECT_EQ(Deal(two_of_three, 2, 3), (std::vector{2, 1}));
  EXPECT_EQ(Deal(two_of_three, 2, 999), (std::vector{666, 333}));
  Shares uneven({1, 3, 7});
  EXPECT_EQ(Deal(uneven, 3, 1100), (std::vector{100, 300, 700}));
  Shares alone({5});
  EXPECT_EQ(Deal(alone, 1, 7), (std::vector{7}));
}

TEST(SharesTest, WhoIsGoneLeavesItsShareAndDoesNotCatchUp) {
  Shares shares({1, 1, 2});
  shares.SetTakingPart(2, false);
  EXPECT_EQ(Deal(shares, 3, 100), (std::vector{50, 50, 0}));
  EXPECT_FALSE(shares.MayTake(2));
  shares.SetTakingPart(2, true);
  EXPECT_EQ(Deal(shares, 3, 400), (std::vector{100, 100, 200}));
}

TEST(SharesTest, SlackLetsOneGoAhead) {
  Shares shares({1, 1});
  for (int i = 0; i <= 10; ++i) {
    EXPECT_TRUE(shares.MayTake(0, 10)) << i;
    shares.Take(0);
  }
  EXPECT_FALSE(shares.MayTake(0, 10));
  EXPECT_TRUE(shares.MayTake(1));
}

TEST(RetryQueueTest, GivesWhatIsDueInOrder) {
  RetryQueue queue;
  const TimePoint start{};
  const auto add = [&](const char* address, seconds due) {
    queue.Add({{1, address, ""}, {}}, start + due);
  };
  add("late@x", seconds(9));
  add("first@x", seconds(1));
  add("second@x", seconds(1));
  add("gone@x", seconds(1));
  EXPECT_EQ(queue.NextDue(), start + seconds(1));
  EXPECT_FALSE(queue.TakeDue(start).has_value());
  queue.RemoveIf([](const Item& item) { return item.recipient.address == "gone@x"; });
  EXPECT_EQ(queue.TakeDue(start + seconds(5))->recipient.address, "first@x");
  EXPECT_EQ(queue.TakeDue(start + seconds(5))->recipient.address, "second@x");
  EXPECT_FALSE(queue.TakeDue(start + seconds(5)).has_value());
  EXPECT_EQ(queue.size(), 1U);
}

TEST(RetryQueueTest, DelaysDoubleWithinBounds) {
  EXPECT_EQ(RetryDelay(seconds(30), 1), seconds(30));
  EXPECT_EQ(RetryDelay(seconds(30), 2), seconds(60));
  EXPECT_EQ(RetryDelay(seconds(30), 4), seconds(240));
  EXPECT_EQ(RetryDelay(seconds(30), 1000), std::chrono::hours(1));
}

TEST(TokenBucketTest, IsSmooth) {
  const TimePoint start{};
  TokenBucket bucket(5, start);
  int taken = 0;
  for (milliseconds now{0}; now <= seconds(10); now += milliseconds(1)) {
    taken += bucket.Take(start + now);
  }
  EXPECT_EQ(taken, 51);  // one at once, then five a second
  const TimePoint rested = start + seconds(100);
  EXPECT_TRUE(bucket.Take(rested));
  EXPECT_FALSE(bucket.Take(rested)) << "what was not used is not saved up";
  EXPECT_FALSE(bucket.Take(bucket.NextAt(rested) - milliseconds(1)));
  EXPECT_TRUE(bucket.Take(bucket.NextAt(rested)));
  TokenBucket open(0, start);
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(open.Take(start));
}

}  // namespace
}  // namespace vespro::engine
