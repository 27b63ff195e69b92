#include "forms/form.h"

#include <gtest/gtest.h>

#include <utility>

#include "forms/sample_form.h"
#include "forms/scripted.h"
#include "forms/stories.h"

namespace vespro {
namespace {

class ScriptedStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(ScriptedStoryTest, Holds) {
  ScriptedDriver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Forms, ScriptedStoryTest, testing::ValuesIn(FormStories()),
                         [](const auto& story) { return story.param.name; });

// A native window may tell late what was done before it was disabled or hidden.
TEST(FormTest, WhatIsToldTooLateHasNoEffect) {
  ScriptedDriver driver;
  Story story(driver);
  SampleForm form(driver.desktop());
  story.Start([&] { form.ShowModal(driver.desktop()); });
  story.Click("CheckLocked");
  EXPECT_FALSE(form.Do(UserAction::Click(form.OptionTwo)));
  EXPECT_FALSE(form.OptionTwo.checked());
  story.Click("CmdMore");
  EXPECT_FALSE(form.Do(UserAction::Click(form.CmdClose))) << "its event runs, and it is hidden";
  driver.End();
}

TEST(FormWithoutScreenTest, IsNotShown) {
  class NoScreen final : public Desktop {
   public:
    std::vector<std::string> log;
    MessageAnswer MsgBox(std::string_view, MessageIcon, MessageButtons, std::string_view) override {
      return MessageAnswer::kOk;
    }
    std::string InputBox(std::string_view, std::string_view, std::string_view) override {
      return {};
    }
    std::string PickFile(const FileQuestion&) override { return {}; }
    FormScreen* Screen() override { return nullptr; }
    void SetHourglass(bool) override {}
    void DoEvents() override {}
    Status Start(const CommandLine&) override { return {}; }
    void Log(std::string_view line) override { log.emplace_back(line); }
  } desktop;
  SampleForm form(desktop);
  form.ShowModal(desktop);
  EXPECT_FALSE(form.loaded());
  EXPECT_EQ(desktop.log, (std::vector<std::string>{"There is no screen to show SampleForm on"}));
}

TEST(BoxesTest, ThePickerShowsWhatIsAskedFor) {
  ScriptedDriver driver;
  Story story(driver);
  std::string picked;
  story.Start([&] {
    picked = driver.desktop().PickFile({"Pick", "Text (*.txt)|*.txt| All (*.*)|*.*|", "/lists"});
  });
  story.Sees(R"(
+- Pick ------------------------------------------------------[x]-+
| Look in: /lists                                                 |
|>[_____________________________________________________________] |
| +-------------------------------------------------------------+ |
| |*Text (*.txt) -> *.txt                                       | |
| |  All (*.*) -> *.*                                           | |
| |                                                             | |
| +-------------------------------------------------------------+ |
|                                           [=_Open=]  [ Cancel ] |
+-----------------------------------------------------------------+
)");
  story.PickFile("/other/a.txt");
  story.SeesEnd();
  EXPECT_EQ(picked, "/other/a.txt");

  for (const auto& [name, expected] : {std::pair("a.txt", "/lists/a.txt"), std::pair("", "")}) {
    story.Start([&] { picked = driver.desktop().PickFile({"Pick", "", "/lists"}); });
    story.Type("TextPath", name);
    story.Click("CmdOpen");
    story.SeesEnd();
    EXPECT_EQ(picked, expected);
  }
}

TEST(CaptionTest, AccessKeys) {
  EXPECT_EQ(ModCaption::Plain("&Advanced >>"), "Advanced >>");
  EXPECT_EQ(ModCaption::Plain("A && &B&"), "A & B");
  EXPECT_EQ(ModCaption::AccessKey("A && &B"), 'b');
  EXPECT_EQ(ModCaption::AccessKey("A && B&"), 0);
}

}  // namespace
}  // namespace vespro
