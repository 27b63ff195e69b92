#include <gtest/gtest.h>

#include "addin/dialog_stories.h"
#include "forms/scripted.h"

namespace vespro {
namespace {

class AddinStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(AddinStoryTest, IsTold) {
  ScriptedDriver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, AddinStoryTest, testing::ValuesIn(AddinDialogStories()),
                         [](const auto& story) { return story.param.name; });

}  // namespace
}  // namespace vespro
