// The stories of all dialogs, told in front of real windows.
#include <gtest/gtest.h>

#include "outlook/win32_driver.h"
#include "recipients/dialog_stories.h"

namespace vespro {
namespace {

class NativeDialogTest : public testing::TestWithParam<DialogStory> {};

TEST_P(NativeDialogTest, IsTold) {
  Win32Driver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Recipients, NativeDialogTest, testing::ValuesIn(RecipientsStories()),
                         [](const auto& story) { return story.param.name; });

}  // namespace
}  // namespace vespro
