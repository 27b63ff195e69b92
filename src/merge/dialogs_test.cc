#include <gtest/gtest.h>

#include "forms/scripted.h"
#include "merge/dialog_stories.h"

namespace vespro {
namespace {

class MergeStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(MergeStoryTest, IsTold) {
  ScriptedDriver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, MergeStoryTest, testing::ValuesIn(MergeDialogStories()),
                         [](const auto& story) { return story.param.name; });

}  // namespace
}  // namespace vespro
