#include <gtest/gtest.h>

#include "forms/scripted.h"
#include "settings/dialog_stories.h"

namespace vespro {
namespace {

class SettingsStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(SettingsStoryTest, IsTold) {
  ScriptedDriver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Accounts, SettingsStoryTest, testing::ValuesIn(AccountStories()),
                         [](const auto& story) { return story.param.name; });
INSTANTIATE_TEST_SUITE_P(Options, SettingsStoryTest, testing::ValuesIn(OptionsStories()),
                         [](const auto& story) { return story.param.name; });

TEST(FrmMailSettingTest, MoreThanTheListHolds) {
  ScriptedDriver driver;
  Story story(driver);
  TellMoreThanTheListHolds(story);
}

}  // namespace
}  // namespace vespro
