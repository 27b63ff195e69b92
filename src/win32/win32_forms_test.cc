// Forms as native windows, with a person's mouse and keyboard in front of them.
#include <gtest/gtest.h>

#include "forms/sample_form.h"
#include "forms/stories.h"
#include "win32/win32_driver.h"

namespace vespro {
namespace {

class NativeStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(NativeStoryTest, Holds) {
  Win32Driver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Forms, NativeStoryTest, testing::ValuesIn(FormStories()),
                         [](const auto& story) { return story.param.name; });

}  // namespace
}  // namespace vespro
