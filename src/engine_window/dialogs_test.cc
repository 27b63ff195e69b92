#include <gtest/gtest.h>

#include "engine_window/dialog_stories.h"
#include "forms/scripted.h"

namespace vespro {
namespace {

class EngineWindowStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(EngineWindowStoryTest, IsTold) {
  ScriptedDriver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, EngineWindowStoryTest, testing::ValuesIn(EngineWindowStories()),
                         [](const auto& story) { return story.param.name; });

}  // namespace
}  // namespace vespro
