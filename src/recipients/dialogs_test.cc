#include <gtest/gtest.h>

#include "forms/scripted.h"
#include "recipients/dialog_stories.h"
#include "recipients/frm_list_box.h"

namespace vespro {
namespace {

class RecipientsStoryTest : public testing::TestWithParam<FormStory> {};

TEST_P(RecipientsStoryTest, IsTold) {
  ScriptedDriver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, RecipientsStoryTest, testing::ValuesIn(RecipientsStories()),
                         [](const auto& story) { return story.param.name; });

TEST(FrmListBoxTest, HoldsAsManyAsItCan) {
  struct Case {
    std::uint64_t duplicates;
    std::size_t rows;
    const char* sentence;
  };
  const Case cases[] = {
      {32701, 32701, "Found and removed 32701 email duplicates, as shown."},
      {32702, 32701, "\r\nFound too many duplicates, only 32701 are shown."},
  };
  for (const Case& c : cases) {
    ModRecipients::Loaded loaded;
    loaded.duplicates = c.duplicates;
    for (std::uint64_t i = 0; i < c.duplicates; ++i) loaded.duplicate_addresses += "a@b\n";
    FrmListBox window;
    window.Fill(loaded);
    EXPECT_EQ(window.ListShow.rows().size(), c.rows);
    EXPECT_EQ(window.LabelDesc.caption(), c.sentence);
  }
}

// A line of a list may be anything, and saved as anything.
TEST(FrmListBoxTest, ShowsForeignBytesAsText) {
  ModRecipients::Loaded loaded;
  loaded.duplicates = 2;
  loaded.duplicate_addresses = "j\xF6rg@example.org\n" + std::string(5000, 'x') + "\x01\n";
  FrmListBox window;
  window.Fill(loaded);
  EXPECT_EQ(window.ListShow.rows()[0].text, "j\xC3\xB6rg@example.org");
  EXPECT_LE(window.ListShow.rows()[1].text.size(), 400u);
}

}  // namespace
}  // namespace vespro
