#include "engine/delivery/fair_share.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

// Deals `count` messages to whichever server may send the next, and counts each server's.
std::vector<int> Deal(FairShare& share, std::size_t servers, int count) {
  std::vector<int> sent(servers);
  for (int i = 0; i < count; ++i) {
    std::size_t server = 0;
    while (server < servers && !share.MaySend(server)) ++server;
    if (server == servers) {
      ADD_FAILURE() << "no server may send message " << i;
      break;
    }
    share.Sent(server);
    ++sent[server];
  }
  return sent;
}

TEST(FairShareTest, IsExact) {
  FairShare two_of_three({2, 1});
  EXPECT_EQ(Deal(two_of_three, 2, 3), (std::vector{2, 1}));
  EXPECT_EQ(Deal(two_of_three, 2, 999), (std::vector{666, 333}));
  FairShare uneven({1, 3, 7});
  EXPECT_EQ(Deal(uneven, 3, 1100), (std::vector{100, 300, 700}));
  FairShare alone({5});
  EXPECT_EQ(Deal(alone, 1, 7), (std::vector{7}));
}

TEST(FairShareTest, AnInactiveServerLeavesItsShareAndDoesNotCatchUp) {
  FairShare share({1, 1, 2});
  share.SetActive(2, false);
  EXPECT_EQ(Deal(share, 3, 100), (std::vector{50, 50, 0}));
  EXPECT_FALSE(share.MaySend(2));
  share.SetActive(2, true);
  EXPECT_EQ(Deal(share, 3, 400), (std::vector{100, 100, 200}));
}

TEST(FairShareTest, ALeadLetsOneGoAhead) {
  FairShare share({1, 1});
  for (int i = 0; i <= 10; ++i) {
    EXPECT_TRUE(share.MaySend(0, 10)) << i;
    share.Sent(0);
  }
  EXPECT_FALSE(share.MaySend(0, 10));
  EXPECT_TRUE(share.MaySend(1));
}

}  // namespace
}  // namespace vespro::engine
