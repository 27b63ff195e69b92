#include "addin/clicks.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

TEST(ClicksTest, OneObjectActsForEachClick) {
  Clicks clicks;
  Clicks::Had a, b;
  clicks.Join("Send", a);
  clicks.Join("Send", b);
  EXPECT_TRUE(clicks.IsFor("Send", a, true));
  EXPECT_FALSE(clicks.IsFor("Send", b, true));  // came to the front meanwhile
  EXPECT_TRUE(clicks.IsFor("Send", b, true));   // the next click, `a` is gone
}

TEST(ClicksTest, AClickBelowAnotherOneIsOneOfItsOwn) {
  Clicks clicks;
  Clicks::Had a, b;
  clicks.Join("File", a);
  clicks.Join("File", b);
  ASSERT_TRUE(clicks.IsFor("File", a, true));
  {
    // A dialog of `a` is open and `b` is in front.
    const Clicks::Running running(clicks);
    clicks.ComesToFront(b);
    EXPECT_FALSE(clicks.IsFor("File", a, false));
    EXPECT_TRUE(clicks.IsFor("File", b, true));
  }
  EXPECT_FALSE(clicks.IsFor("File", b, true));  // the rest of the first click
}

TEST(ClicksTest, WhoMissedAClickDoesNotWaitForIt) {
  Clicks clicks;
  Clicks::Had a, b;
  clicks.Join("Send", a);
  clicks.Join("Send", b);
  ASSERT_TRUE(clicks.IsFor("Send", a, true));
  ASSERT_TRUE(clicks.IsFor("Send", a, true));
  clicks.ComesToFront(b);
  EXPECT_TRUE(clicks.IsFor("Send", b, true));

  Clicks::Had later;  // opened after all that
  clicks.Join("Send", later);
  EXPECT_TRUE(clicks.IsFor("Send", later, true));
}

}  // namespace
}  // namespace vespro
