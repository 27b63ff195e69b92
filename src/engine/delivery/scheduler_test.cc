#include "engine/delivery/scheduler.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

using std::chrono::seconds;

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

}  // namespace
}  // namespace vespro::engine
