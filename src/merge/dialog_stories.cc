#include "merge/dialog_stories.h"

#include <cstdint>
#include <memory>
#include <string>

#include "base/testing.h"
#include "host/memory_command_bars.h"
#include "merge/frm_mail_merge.h"
#include "merge/merge_list.h"
#include "settings/file_backend.h"

namespace vespro {
namespace {

using Entries = std::vector<std::string>;

// Somebody with a table as the list, and two mails in the making.
class Desk {
 public:
  explicit Desk(Story& story) : story_(story) {
    const std::string table = ModFiles::ToUtf8(folder.Write("club.csv", "Mail\r\n"));
    settings.Write(setting::kMailList, table + ",CSV,0,HEADER").Ignore();  // seen in the entries
    add_in.desktop = &story.desktop();
    for (const std::int16_t key : {std::int16_t{0}, std::int16_t{1}}) {
      const auto window = std::make_shared<ComposeWindow>();
      window->merge_list = std::make_shared<MemoryComboBox>(office);
      add_in.windows[key] = window;
    }
    ModMailMerge::ReloadMergeLists(add_in, settings);
  }
  ~Desk() { story_.driver().End(); }

  void Open() {
    story_.Start([this] {
      frmMailMerge dialog(story_.desktop(), settings,
                          [this] { ModMailMerge::ReloadMergeLists(add_in, settings); });
      dialog.ShowModal(story_.desktop());
    });
  }
  Entries Words() {
    return {settings.Read(setting::kCustomWord1), settings.Read(setting::kCustomWord2),
            settings.Read(setting::kCustomWord3)};
  }
  void BothMailsOffer(const Entries& entries, int line = __builtin_LINE()) {
    for (const auto& [key, window] : add_in.windows) {
      EXPECT_EQ(static_cast<MemoryComboBox&>(*window->merge_list).items, entries)
          << "window " << key << " at line " << line;
    }
  }

  TemporaryFolder folder;
  FileBackend backend{folder / "settings"};
  Settings settings{backend};
  MemoryOffice office;
  AddIn add_in;

 private:
  Story& story_;
};

void WordsAreAddedAndTakenAway(Story& story) {
  Desk desk(story);
  desk.BothMailsOffer({"MAIL", "Date & Time"});
  desk.Open();
  story.Sees(R"(
+- MailMerge With Vespro -----------------------------------------[x]-+
| (TIP)  Frequently Used Phases                                       |
|        Add frequently used words  to the Mail Merge pull down list. |
| Frequent Word 1 >[________________________________________________] |
| Frequent Word 2  [________________________________________________] |
| Frequent Word 3  [________________________________________________] |
|                                                  [=OK=]  [ Cancel ] |
+---------------------------------------------------------------------+
)");
  story.Type("TextMailMerge1", "  Kind regards ");
  story.Type("TextMailMerge3", "#a && \"b\",c");
  desk.BothMailsOffer({"MAIL", "Date & Time"});
  story.Press(Key::kEnter);
  story.SeesEnd();
  EXPECT_EQ(desk.Words(), (Entries{"Kind regards", "", "#a && \"b\",c"}));
  desk.BothMailsOffer({"MAIL", "Date & Time", "Kind regards", "#a && \"b\",c"});

  desk.Open();
  EXPECT_EQ(story.TextOf("TextMailMerge1"), "Kind regards");
  EXPECT_EQ(story.TextOf("TextMailMerge3"), "#a && \"b\",c");
  story.Type("TextMailMerge1", "   ");
  story.Type("TextMailMerge2", "Żółć");
  story.Click("OKButton");
  story.SeesEnd();
  EXPECT_EQ(desk.Words(), (Entries{"", "Żółć", "#a && \"b\",c"}));
  desk.BothMailsOffer({"MAIL", "Date & Time", "Żółć", "#a && \"b\",c"});
}

void NothingIsStoredWithoutOk(Story& story) {
  Desk desk(story);
  desk.settings.Write(setting::kCustomWord2, "Bye").Ignore();  // seen below
  const std::string before = desk.folder.Read("settings");
  const auto leave = {+[](Story& s) { s.Click("CancelButton"); },
                      +[](Story& s) { s.Press(Key::kEscape); }, +[](Story& s) { s.CloseByFrame(); },
                      +[](Story& s) { s.driver().End(); }};
  for (const auto& by : leave) {
    desk.Open();
    EXPECT_EQ(story.TextOf("TextMailMerge2"), "Bye");
    story.Type("TextMailMerge2", "Hello");
    by(story);
    story.SeesEnd();
    EXPECT_EQ(desk.folder.Read("settings"), before);
  }
  desk.BothMailsOffer({"MAIL", "Date & Time"});
}

void WordsThatCannotBeStoredInterruptNobody(Story& story) {
  Desk desk(story);
  std::filesystem::remove(desk.folder / "settings");
  std::filesystem::create_directories(desk.folder / "settings");
  desk.Open();
  story.Type("TextMailMerge1", "Bye");
  story.Click("OKButton");
  story.SeesEnd();
  EXPECT_EQ(desk.Words(), (Entries{"", "", ""}));
  desk.BothMailsOffer({});
}

}  // namespace

std::vector<FormStory> MergeDialogStories() {
  return {
      {"WordsAreAddedAndTakenAway", WordsAreAddedAndTakenAway},
      {"NothingIsStoredWithoutOk", NothingIsStoredWithoutOk},
      {"WordsThatCannotBeStoredInterruptNobody", WordsThatCannotBeStoredInterruptNobody},
  };
}

}  // namespace vespro
