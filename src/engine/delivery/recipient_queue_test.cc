#include "engine/delivery/recipient_queue.h"

#include <gtest/gtest.h>

#include <string>

namespace vespro::engine {
namespace {

using std::chrono::seconds;

constexpr TimePoint kStart{};
constexpr auto kAnybody = [](const AttemptState&) { return true; };

class Numbers final : public WorkSource {
 public:
  explicit Numbers(std::size_t count) : count_(count) {}
  Result<std::vector<Recipient>> Next(std::size_t max) override {
    if (fails) return Status(Code::kResumable, "the list was changed");
    std::vector<Recipient> next;
    for (; given < count_ && next.size() < max; ++given) {
      next.push_back({given + 1, std::to_string(given), ""});
    }
    return next;
  }
  std::size_t given = 0;
  bool fails = false;

 private:
  std::size_t count_;
};

struct Batch {
  std::vector<Recipient> recipients;
  std::vector<AttemptState> states;
  std::string Addresses() const {
    std::string all;
    for (const Recipient& recipient : recipients) all += recipient.address + " ";
    return all;
  }
};

TEST(DeferredRecipientsTest, GivesWhatIsDueInOrder) {
  DeferredRecipients deferred;
  const auto add = [&](const char* address, seconds due) {
    deferred.Add({{1, address, ""}, {}}, kStart + due);
  };
  add("late@x", seconds(9));
  add("first@x", seconds(1));
  add("second@x", seconds(1));
  add("gone@x", seconds(1));
  EXPECT_EQ(deferred.NextDue(), kStart + seconds(1));
  EXPECT_FALSE(deferred.TakeDue(kStart).has_value());
  deferred.RemoveIf([](const QueuedRecipient& one) { return one.recipient.address == "gone@x"; });
  EXPECT_EQ(deferred.TakeDue(kStart + seconds(5))->recipient.address, "first@x");
  EXPECT_EQ(deferred.TakeDue(kStart + seconds(5))->recipient.address, "second@x");
  EXPECT_FALSE(deferred.TakeDue(kStart + seconds(5)).has_value());
  EXPECT_EQ(deferred.size(), 1U);
}

TEST(RecipientQueueTest, PrefersTheDueThenTheUnreadThenTheRest) {
  Numbers source(3);
  RecipientQueue queue(source, 1);
  AttemptState here, elsewhere, rejected;
  here.last_server = 0;
  elsewhere.last_server = 1;
  rejected.rejected_by = {0};
  queue.Requeue({{10, "rejected", ""}, rejected});
  queue.Requeue({{11, "here", ""}, here});
  queue.Requeue({{12, "elsewhere", ""}, elsewhere});
  queue.Defer({{13, "later", ""}, {}}, kStart + seconds(1));
  const auto eligible = [](const AttemptState& state) { return !state.RejectedBy(0); };
  const auto preferred = [](const AttemptState& state) { return state.last_server != 0; };
  Batch batch;
  queue.NextBatch(100, eligible, preferred, batch.recipients, batch.states);
  EXPECT_EQ(batch.Addresses(), "elsewhere 0 1 2 here ");
  EXPECT_EQ(batch.states.size(), 5U);
  EXPECT_EQ(queue.in_flight(), 5U);
  EXPECT_FALSE(queue.HasEligible(eligible));
  EXPECT_TRUE(queue.HasEligible(kAnybody));
  EXPECT_FALSE(queue.Exhausted());
  EXPECT_EQ(queue.NextDue(), kStart + seconds(1));
  queue.PromoteDue(kStart + seconds(1));
  EXPECT_EQ(queue.NextDue(), std::nullopt);

  Batch rest;
  queue.NextBatch(100, kAnybody, kAnybody, rest.recipients, rest.states);
  EXPECT_EQ(rest.Addresses(), "rejected later ");
  queue.Finished(7);
  EXPECT_EQ(queue.in_flight(), 0U);
  EXPECT_TRUE(queue.Exhausted());
}

TEST(RecipientQueueTest, ReadsTheListAsItIsNeeded) {
  Numbers source(100'000);
  RecipientQueue queue(source, 10);
  EXPECT_EQ(source.given, 0U);
  EXPECT_EQ(queue.InSight(), SIZE_MAX);
  EXPECT_EQ(source.given, RecipientQueue::kLookAhead);
  Batch batch;
  queue.NextBatch(RecipientQueue::kLookAhead - 5, kAnybody, kAnybody, batch.recipients,
                  batch.states);
  EXPECT_EQ(queue.InSight(), 5U);
  EXPECT_EQ(queue.left(), queue.given()) << "nobody is lost between the lists";

  // No further while too many are waiting.
  for (std::size_t i = 0; i < RecipientQueue::kMaxWaiting; ++i) {
    queue.Defer({{1, "x", ""}, {}}, kStart);
  }
  Batch unread;
  queue.NextBatch(5, kAnybody, kAnybody, unread.recipients, unread.states);
  EXPECT_FALSE(queue.HasUnread());
  EXPECT_FALSE(queue.Exhausted());
  queue.RemoveIf([](const QueuedRecipient&) { return true; });
  EXPECT_EQ(queue.waiting(), 0U);
  EXPECT_TRUE(queue.HasUnread());
}

TEST(RecipientQueueTest, AListThatCantBeReadIsNotAtItsEnd) {
  Numbers source(10);
  source.fails = true;
  RecipientQueue broken(source, 1);
  EXPECT_FALSE(broken.HasUnread());
  EXPECT_EQ(broken.status().code(), Code::kResumable);
  EXPECT_FALSE(broken.Exhausted());

  source.fails = false;
  RecipientQueue stopped(source, 1);
  stopped.StopReading();
  EXPECT_FALSE(stopped.HasUnread());
  EXPECT_TRUE(stopped.status().ok());
  EXPECT_FALSE(stopped.Exhausted());
}

}  // namespace
}  // namespace vespro::engine
