#include "engine/delivery/pace.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <functional>
#include <memory>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr TimePoint kStart = TimePoint() + std::chrono::hours(1);

// The ways in which servers count: whether a message is taken at `now`.
using Counts = std::function<bool(milliseconds now)>;

Counts FixedWindow(std::size_t most, milliseconds window, milliseconds offset) {
  return [=, current = std::int64_t{-1}, count = std::size_t{0}](milliseconds now) mutable {
    const std::int64_t number = (now + offset) / window;
    if (number != current) count = 0;
    current = number;
    return count < most && (++count, true);
  };
}

Counts SlidingWindow(std::size_t most, milliseconds window) {
  return [=, taken = std::deque<milliseconds>()](milliseconds now) mutable {
    while (!taken.empty() && taken.front() + window <= now) taken.pop_front();
    return taken.size() < most && (taken.push_back(now), true);
  };
}

Counts Bucket(double per_second, double capacity) {
  return [=, tokens = capacity, last = milliseconds(0)](milliseconds now) mutable {
    const double elapsed = std::chrono::duration<double>(now - last).count();
    tokens = std::min(capacity, tokens + elapsed * per_second);
    last = now;
    return tokens >= 1 && (tokens -= 1, true);
  };
}

struct Ran {
  double seconds = 0;
  std::size_t in_vain = 0;
};

// Five connections with one message each on the wire, until so many are accepted.
Ran Send(std::size_t messages, milliseconds latency, const Counts& server, Pace pace = Pace()) {
  struct OnWire {
    milliseconds begun, arrives;
  };
  std::deque<OnWire> wire;  // in the order of their answers
  Ran ran;
  std::size_t accepted = 0;
  milliseconds now{0};
  while (accepted < messages && now < std::chrono::hours(2)) {
    while (!wire.empty() && wire.front().arrives <= now) {
      const TimePoint begun = kStart + wire.front().begun;
      wire.pop_front();
      if (server(now)) {
        ++accepted;
        pace.OnAccepted(begun, kStart + now);
      } else {
        ++ran.in_vain;
        pace.OnComplaint(begun, kStart + now);
      }
    }
    while (wire.size() < std::min({std::size_t{5}, pace.MaxInFlight(5), messages - accepted}) &&
           pace.Allows(kStart + now)) {
      pace.Take(1, kStart + now);
      wire.push_back({now, now + latency});
    }
    now += milliseconds(1);
  }
  ran.seconds = std::chrono::duration<double>(now).count();
  return ran;
}

TEST(PaceTest, IsFoundHoweverTheServerCounts) {
  using std::chrono::minutes;
  const struct {
    const char* why;
    std::function<Counts()> server;
    double per_second, burst;            // what can be had at best
    double part_of_20_s, part_of_120_s;  // of the ideal pace
  } rows[] = {
      {"seconds", [] { return FixedWindow(14, seconds(1), milliseconds(0)); }, 14, 14, 0.85, 0.95},
      {"a short one first", [] { return FixedWindow(14, seconds(1), milliseconds(950)); }, 14, 14,
       0.85, 0.95},
      {"a sliding second", [] { return SlidingWindow(14, seconds(1)); }, 14, 14, 0.85, 0.95},
      {"a bucket of a second", [] { return Bucket(14, 14); }, 14, 14, 0.85, 0.95},
      {"a larger bucket", [] { return Bucket(14, 50); }, 14, 50, 0.85, 0.95},
      {"a smaller bucket", [] { return Bucket(14, 5); }, 14, 5, 0.7, 0.95},
      {"no bucket", [] { return Bucket(14, 1); }, 14, 1, 0.5, 0.8},
      {"few", [] { return SlidingWindow(4, seconds(2)); }, 2, 4, 0.8, 0.9},
  };
  for (const auto& row : rows) {
    for (const milliseconds latency : {milliseconds(2), milliseconds(60)}) {
      for (const int length : {20, 120}) {
        SCOPED_TRACE(testing::Message()
                     << row.why << ", " << length << " s, latency " << latency.count() << " ms");
        const double messages = row.per_second * length;
        const Ran ran = Send(static_cast<std::size_t>(messages), latency, row.server());
        EXPECT_LE(static_cast<double>(ran.in_vain), std::max(8.0, 0.05 * messages));
        EXPECT_GE((messages - row.burst) / row.per_second / ran.seconds,
                  length == 20 ? row.part_of_20_s : row.part_of_120_s);
      }
    }
  }
}

TEST(PaceTest, AServerThatCountsByTheMinute) {
  const Ran ran =
      Send(600, milliseconds(60), FixedWindow(60, std::chrono::minutes(1), milliseconds(0)));
  EXPECT_LE(ran.in_vain, 60U);
  EXPECT_LE(ran.seconds, 1.3 * 540);
}

// The next run begins with it.
TEST(PaceTest, OneThatIsKnownCostsNoComplaint) {
  const Ran ran = Send(280, milliseconds(60), SlidingWindow(14, seconds(1)), Pace(13, kStart));
  EXPECT_EQ(ran.in_vain, 0U);
  EXPECT_LE(ran.seconds, 280 / 13.0 + 1);
}

TEST(PaceTest, NothingIsHeldBackBeforeTheFirstComplaint) {
  Pace pace;
  for (int i = 0; i < 100'000; ++i) {
    ASSERT_TRUE(pace.Allows(kStart));
    pace.Take(1, kStart);
    pace.OnAccepted(kStart, kStart);
  }
  EXPECT_FALSE(pace.known());
  EXPECT_EQ(pace.MaxInFlight(5), SIZE_MAX);
  EXPECT_TRUE(pace.OnComplaint(kStart, kStart));
  EXPECT_FALSE(pace.Allows(kStart));
}

TEST(PaceTest, WhatWasOnTheWireIsTheSameComplaint) {
  Pace pace;
  for (int i = 0; i < 14; ++i) pace.OnAccepted(kStart, kStart);
  const TimePoint now = kStart + milliseconds(100);
  EXPECT_TRUE(pace.OnComplaint(kStart, now));
  const double per_second = pace.per_second();
  const TimePoint next = pace.NextAt(now);
  for (int i = 0; i < 80; ++i) EXPECT_FALSE(pace.OnComplaint(kStart, now + seconds(10)));
  EXPECT_EQ(pace.per_second(), per_second);
  EXPECT_EQ(pace.NextAt(now), next);
  // One message tries whether the pause was long enough; where it was not, the next one is longer.
  EXPECT_EQ(pace.MaxInFlight(5), 1U);
  EXPECT_TRUE(pace.OnComplaint(next, next));
  EXPECT_GT(pace.NextAt(next) - next, milliseconds(150));
  EXPECT_EQ(pace.in_a_row(), 2);
}

}  // namespace
}  // namespace vespro::engine
