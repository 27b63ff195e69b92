#include "merge/merge_list.h"

#include <gtest/gtest.h>

#include "base/testing.h"
#include "host/memory_host.h"
#include "settings/file_backend.h"

namespace vespro {
namespace {

using Entries = std::vector<std::string>;

class MergeListTest : public testing::Test {
 protected:
  MergeListTest() : backend_(folder_ / "settings"), settings_(backend_) {
    add_in_.desktop = &host_;
    for (std::int16_t key = 0; key < 2; ++key) {
      windows_[key].key = key;
      windows_[key].inspector = Unowned<Inspector>(host_);
      windows_[key].merge_list = NewBox();
      add_in_.windows[key] = Unowned(windows_[key]);
    }
  }

  std::shared_ptr<MemoryComboBox> NewBox() {
    auto box = std::make_shared<MemoryComboBox>(host_.office);
    host_.office.Add(box);
    box->tag = ModMailMerge::kMergeListCaption;
    box->items = {"left over"};
    box->text = "left over";
    box->enabled = false;
    return box;
  }
  MemoryComboBox& Box(std::int16_t key) {
    return static_cast<MemoryComboBox&>(*windows_[key].merge_list);
  }

  void Set(std::string_view name, std::string_view value) {
    const Status written = settings_.Write(name, value);
    ASSERT_TRUE(written.ok()) << written.text();
  }
  std::string List(const char* name, const char* content) {
    folder_.Write(name, content);
    return ModFiles::ToUtf8(folder_ / name);
  }

  TemporaryFolder folder_;
  FileBackend backend_;
  Settings settings_;
  MemoryHost host_;
  AddIn add_in_;
  std::map<std::int16_t, ComposeWindow> windows_;
  FixedClock clock_{std::chrono::system_clock::from_time_t(1767268800)};
};

TEST_F(MergeListTest, OffersWhatTheSettingsLeadTo) {
  const std::string csv = List("a.csv", "e-mail, First Name,,'City',a\tb\r\nx@y.org\r\n");
  const std::string text = List("a.txt", "x@y.org\r\n");
  const std::string blank = List("blank.csv", " \r\nx@y.org\r\n");
  const Entries all = {"E-MAIL", "FIRST_NAME", "CITY", "A_B", "Date & Time", "kind Regards", "Bye"};
  const struct {
    const char* why;
    std::string mode, list;
    const char* shown;
    const char* caption;
    bool enabled;
    Entries entries;
  } rows[] = {
      {"nothing chosen", "", "", "", "MailMerge with Vespro", false, {}},
      {"turbo",
       "1",
       csv + ",CSV,0,HEADER",
       "Switch to Personalised Mode for MailMerge",
       "",
       false,
       {}},
      {"plain addresses",
       "0",
       text + ",TEXT",
       "Switch to personalised mode for MailMerge",
       "MailMerge with Vespro",
       false,
       {}},
      {"a table", "", csv + ",CSV,0,HEADER", "", "MailMerge with Vespro", true, all},
      {"its first row counts in any case", "0", " " + csv + ",CSV,0,VALUE ", "",
       "MailMerge with Vespro", true, all},
      {"a blank first row", "0", blank + ",CSV,0,HEADER", "", "MailMerge with Vespro", true, {}},
      {"a table that is gone", "0", csv + "x,CSV,0,HEADER", "", "MailMerge with Vespro", true, {}},
  };
  Set(setting::kCustomWord1, "kind Regards");
  Set(setting::kCustomWord3, "Bye");
  for (const auto& row : rows) {
    Set(setting::kBccMode, row.mode);
    Set(setting::kMailList, row.list);
    const auto box = NewBox();
    ModMailMerge::LoadMergeList(settings_, *box);
    EXPECT_EQ(box->text, row.shown) << row.why;
    EXPECT_EQ(box->caption, row.caption) << row.why;
    EXPECT_EQ(box->enabled, row.enabled) << row.why;
    EXPECT_EQ(box->items, row.entries) << row.why;
  }
}

TEST_F(MergeListTest, ReloadsTheWindowsThatAreStillThere) {
  Set(setting::kMailList, List("a.csv", "Mail\r\n") + ",CSV,0,HEADER");
  const auto second = windows_[1].merge_list;
  host_.on_do_events = [this] {  // the user closes the second one meanwhile
    add_in_.windows.erase(1);
    windows_[1].merge_list = nullptr;
  };
  ModMailMerge::ReloadMergeLists(add_in_, settings_);
  EXPECT_EQ(Box(0).items, (Entries{"MAIL", "Date & Time"}));
  EXPECT_EQ(static_cast<MemoryComboBox&>(*second).items, Entries{"left over"});
  Box(0).deleted = true;
  ModMailMerge::ReloadMergeLists(add_in_, settings_);  // a box that is gone is no fault
}

TEST_F(MergeListTest, AChoicePutsItsWordIntoTheMail) {
  const auto box = NewBox();
  int changes = 0;
  box->OnChange([&] {
    ++changes;
    ModMailMerge::InsertChosen(*box, host_, host_, clock_);
  });
  const auto choose = [&](const char* entry) {
    host_.events.clear();
    box->text = entry;
    host_.office.Raise(box->tag);
    return host_.events;
  };
  const Entries pasted = {"ClearClipboard", "SetClipboardText #FIRST_NAME", "Paste #FIRST_NAME"};
  EXPECT_EQ(choose("FIRST_NAME"), pasted);
  EXPECT_EQ(choose("FIRST_NAME"), pasted) << "the same once more";
  EXPECT_EQ(changes, 2) << "what we set raises nothing";
  EXPECT_EQ(box->text, "");
  choose(" kind Regards");
  EXPECT_EQ(host_.body, "#FIRST_NAME#FIRST_NAME#KIND REGARDS");
  EXPECT_EQ(host_.clipboard, "#KIND REGARDS");
  EXPECT_EQ(choose(ModMailMerge::kTurboPrompt), Entries{});
  EXPECT_EQ(choose(ModMailMerge::kTextPrompt), Entries{});

  host_.body.clear();
  choose("Date & Time");
  EXPECT_EQ(host_.body, ModClock::RegionalText(ModClock::ToLocal(clock_.Now())));
  EXPECT_NE(host_.body.find("26"), std::string::npos) << host_.body;

  host_.fails["SetClipboardText"] = true;
  EXPECT_EQ(choose("FIRST_NAME"), Entries{"ClearClipboard"}) << "nothing else is pasted instead";
}

}  // namespace
}  // namespace vespro
