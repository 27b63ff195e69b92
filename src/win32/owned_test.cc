#include "win32/owned.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "win32/guard.h"

namespace vespro {
namespace {

// A handle that counts how often it was released.
struct Counter {
  int released = 0;
};
void Release(Counter* counter) { ++counter->released; }

TEST(OwnedTest, ReleasesOnceWhateverHappens) {
  Counter first, second, third;
  {
    Owned<Counter*> a(&first);
    Owned<Counter*> b(&second);
    a = std::move(b);
    EXPECT_EQ(first.released, 1) << "what it held before";
    EXPECT_FALSE(b);
    Owned<Counter*>& same = a;
    a = std::move(same);
    EXPECT_EQ(a.get(), &second);
    Owned<Counter*> c(std::move(a));
    EXPECT_EQ(second.released, 0);
    Owned<Counter*> d(&third);
    EXPECT_EQ(d.Forget(), &third);
  }
  EXPECT_EQ(first.released, 1);
  EXPECT_EQ(second.released, 1);
  EXPECT_EQ(third.released, 0) << "somebody else's";
}

TEST(GuardTest, LetsNoExceptionOut) {
  EXPECT_EQ(AtEdge("a test", []() -> int { throw std::runtime_error("no"); }), 0);
  EXPECT_EQ(AtEdge("a test", []() -> int { throw 7; }), 0);
  EXPECT_EQ(AtEdge("a test", [] { return 5; }), 5);
}

}  // namespace
}  // namespace vespro
