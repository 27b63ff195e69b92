#include <gtest/gtest.h>

#include "forms/scripted.h"
#include "support/dialog_stories.h"

namespace vespro {
namespace {

class SupportStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(SupportStoryTest, IsTold) {
  ScriptedDriver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, SupportStoryTest, testing::ValuesIn(SupportStories()),
                         [](const auto& story) { return story.param.name; });

}  // namespace
}  // namespace vespro
