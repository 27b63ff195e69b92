#include "engine_window/run_board.h"

#include <gtest/gtest.h>

#include <thread>

namespace vespro::engine {
namespace {

using std::chrono::steady_clock;

class FixedClock final : public Clock {
 public:
  std::chrono::system_clock::time_point Now() const override { return now; }
  // Noon at Greenwich, on a day without a change to summer time.
  std::chrono::system_clock::time_point now{std::chrono::seconds(1'765'886'400)};
};

TEST(RunBoardTest, SaysWhenItGoesOn) {
  const FixedClock clock;
  RunBoard board(clock);
  Progress progress;
  progress.goes_on = steady_clock::now() + std::chrono::seconds(5);
  board.OnProgress(progress, 7);
  EXPECT_EQ(board.Look().goes_on, "") << "too short to be told";
  EXPECT_TRUE(board.Look().counts.starts_with("0 sent, 0 refused, 0 failed, 7 left"));

  const LocalTime local = ModClock::ToLocal(clock.now);
  const auto minutes_left = std::chrono::minutes(23 * 60 + 59 - local.hour * 60 - local.minute);
  progress.goes_on = steady_clock::now() + minutes_left + std::chrono::seconds(20);
  board.OnProgress(progress, 7);
  EXPECT_EQ(board.Look().goes_on, "23:59");
  progress.goes_on += std::chrono::minutes(2);
  board.OnProgress(progress, 7);
  EXPECT_GT(board.Look().goes_on.size(), 5U) << "tomorrow has its date";

  board.End(kExitInterrupted);
  EXPECT_EQ(board.Look().goes_on, "");
  EXPECT_EQ(board.Look().exit, kExitInterrupted);
  board.Begin();
  EXPECT_EQ(board.Look().exit, std::nullopt);
  EXPECT_EQ(board.Look().counts, "");
}

TEST(RunBoardTest, KeepsWhatWasSaidLast) {
  const FixedClock clock;
  RunBoard board(clock);
  for (char c = 'a'; c <= 'f'; ++c) board.OnSay(std::string(1, c));
  EXPECT_EQ(board.Look().said, (std::vector<std::string>{"c", "d", "e", "f"}));
}

TEST(RunBoardTest, WakesWhoWaitsForTheEnd) {
  const FixedClock clock;
  RunBoard board(clock);
  EXPECT_FALSE(board.WaitForEnd(std::chrono::milliseconds(1)));
  std::thread run([&board] { board.End(kExitAllSent); });
  EXPECT_TRUE(board.WaitForEnd(std::chrono::minutes(1)));
  run.join();
  EXPECT_EQ(board.Look().exit, kExitAllSent);
}

}  // namespace
}  // namespace vespro::engine
