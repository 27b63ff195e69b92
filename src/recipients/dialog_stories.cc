#include "recipients/dialog_stories.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/testing.h"
#include "base/text.h"
#include "forms/form.h"
#include "host/desktop_over.h"
#include "recipients/dlg_select_file.h"
#include "settings/file_backend.h"
#include "settings/settings.h"

namespace vespro {
namespace {

constexpr char kSelectTitle[] = "Vespro - Select Distribution File";
constexpr char kMapTitle[] = "Vespro CSV File";
constexpr char kQuestion[] = "Do you want to remove duplicate emails?";
constexpr char kSameFile[] =
    "The file you have selected is the current distribution file, please select a different file";

// Looks at what is on the screen whenever a long task lets events run, and starts no editor.
class WatchedDesktop final : public DesktopOver {
 public:
  using DesktopOver::DesktopOver;

  Form* dialog = nullptr;  // what must take no input meanwhile
  int lines = 0;           // how often events were let run
  FileQuestion asked;      // last, by the file picker
  std::vector<CommandLine> started;
  Status start_fails;

  void DoEvents() override {
    ++lines;
    const std::vector<Form*>& shown = Screen()->shown();
    EXPECT_EQ(shown.back()->name(), "frmWait");
    EXPECT_FALSE(shown.back()->Do(UserAction::Close())) << "the wait window stays";
    for (Control* control : dialog->controls()) {
      EXPECT_FALSE(dialog->Do(UserAction::Click(*control))) << control->name();
    }
    DesktopOver::DoEvents();
  }
  std::string PickFile(const FileQuestion& question) override {
    asked = question;
    return DesktopOver::PickFile(question);
  }
  std::string TextEditor() const override { return "editor"; }
  Status Start(const CommandLine& command) override {
    if (start_fails.ok()) started.push_back(command);
    return start_fails;
  }
};

// Somebody with lists in a folder, and the distribution file dialog.
class Desk {
 public:
  explicit Desk(Story& story) : desktop(story.desktop()), story_(story) {}
  ~Desk() { story_.driver().End(); }

  void Open() {
    story_.Start([this] {
      DlgSelectFile dialog(desktop, settings, [this] { ++list_changes; });
      desktop.dialog = &dialog;
      dialog.ShowModal(desktop);
    });
  }
  std::string Write(std::string_view name, std::string_view bytes) {
    return ModFiles::ToUtf8(folder.Write(name, bytes));
  }
  std::string MailList() { return settings.Read(setting::kMailList); }
  void Select(std::string_view button, std::string_view path) {
    story_.Click(button);
    story_.PickFile(path);
  }

  TemporaryFolder folder;
  FileBackend backend{folder / "settings"};
  Settings settings{backend};
  WatchedDesktop desktop;
  int list_changes = 0;

 private:
  Story& story_;
};

void ATableIsChosenMappedAndCleaned(Story& story) {
  Desk desk(story);
  const std::string club = desk.Write("club.csv",
                                      "Name,\"Email\",City\r\n"
                                      "Ann,ann@example.org,Rome\r\n"
                                      "Bob,BOB@example.org,Oslo\r\n"
                                      "Bobby,'bob@example.org' ,Bonn\r\n");
  desk.Open();
  EXPECT_EQ(story.TextOf("TextSelectedFile"), "");
  desk.Select("CmdFileSelect", "");
  EXPECT_EQ(desk.settings.Read(setting::kRecentDir), "");
  desk.Select("CmdFileSelect", club);
  EXPECT_EQ(desk.settings.Read(setting::kRecentDir), ModFiles::ToUtf8(desk.folder.path()));
  EXPECT_EQ(story.TextOf("TextSelectedFile"), club);
  story.Press(Key::kEnter);  // on the button that was pressed: the picker again
  story.PickFile("");
  EXPECT_EQ(desk.desktop.asked.folder, ModFiles::ToUtf8(desk.folder.path()));
  EXPECT_EQ(story.TextOf("TextSelectedFile"), club) << "a cancelled picker changes nothing";
  story.Click("CmdOk");
  story.SeesWindows({kSelectTitle, kMapTitle});
  EXPECT_EQ(desk.MailList(), club + ",CSV");
  story.Sees(R"(
+- Vespro CSV File --------------------[x]-+
| Select email address from column         |
|>[Email_______________________________ v] |
| +-First line contains------------------+ |
| | (o) Header                           | |
| | ( ) Value                            | |
| +--------------------------------------+ |
|                 [=_Finish=]  [ _Cancel ] |
+------------------------------------------+
)");
  story.Select("ComboFields", 2);
  story.Select("ComboFields", 1);
  story.Press(Key::kEnter);
  EXPECT_EQ(desk.MailList(), club + ",CSV,1,HEADER");
  story.SeesWindows({kSelectTitle, kMapTitle, "Vespro"});
  story.Answers(kQuestion, "?", "Yes");
  EXPECT_EQ(desk.desktop.lines, 4) << "once for each line";
  story.SeesWindows({kSelectTitle, kMapTitle, "Emails Removed"});
  ASSERT_EQ(story.Of("ListShow").rows.size(), 1u);
  EXPECT_EQ(story.Of("ListShow").rows[0].text, "bob@example.org");
  EXPECT_EQ(story.Of("LabelDesc").caption, "Found and removed 1 email duplicates, as shown.");
  story.Press(Key::kEscape);
  story.SeesEnd();
  EXPECT_EQ(desk.list_changes, 1);
  const std::string cleaned =
      "Name,\"Email\",City\r\nAnn,ann@example.org,Rome\r\nBob,BOB@example.org,Oslo\r\n";
  EXPECT_EQ(desk.folder.Read("club.csv"), cleaned);

  desk.Open();
  EXPECT_EQ(story.TextOf("TextSelectedFile"), club);
  story.Press(Key::kEnter);
  story.PressAlt('f');
  story.Answers(kQuestion, "?", "Yes");
  story.Answers("No email duplicates found", "i", "OK");
  story.SeesEnd();
  EXPECT_EQ(desk.folder.Read("club.csv"), cleaned);

  for (const bool by_frame : {false, true}) {
    desk.settings.Write(setting::kMailList, club + ",CSV,1,HEADER").Ignore();
    desk.Open();
    story.Click("CmdOk");
    by_frame ? story.CloseByFrame() : story.Press(Key::kEscape);
    story.SeesEnd();
    EXPECT_EQ(desk.MailList(), "") << "the list is forgotten, not only its mapping";
  }
  EXPECT_EQ(desk.list_changes, 4);
}

void AMappingIsProposed(Story& story) {
  struct Case {
    std::string_view bytes;
    std::vector<std::string> fields;
    int selected;
    const char* setting;
  };
  const Case cases[] = {
      {"1,'Doe, Ann',a@x.org,b@x.org\r\n", {"1", "Doe", "Ann", "a@x.org", "b@x.org"}, 4, "4,VALUE"},
      {"Name,City\r\nAnn,Rome\r\n", {"Name", "City"}, 0, "0,HEADER"},
      {"\r\nann@x.org\r\n", {}, -1, "-1,VALUE"},
  };
  Desk desk(story);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.bytes);
    const std::string table = desk.Write("table.csv", c.bytes);
    desk.Open();
    story.Type("TextSelectedFile", table);
    story.Click("CmdOk");
    if (c.selected < 0) story.Answers("Incorrect CSV file format", "X", "OK");
    std::vector<std::string> fields;
    for (const Row& row : story.Of("ComboFields").rows) fields.push_back(row.text);
    EXPECT_EQ(fields, c.fields);
    EXPECT_EQ(story.Of("ComboFields").selected, c.selected);
    story.Click("CmdFinish");
    EXPECT_EQ(desk.MailList(), table + ",CSV," + c.setting);
    story.Answers(kQuestion, "?", "No");
    story.SeesEnd();
    EXPECT_EQ(desk.folder.Read("table.csv"), c.bytes);
  }
}

void ATextListIsChosen(Story& story) {
  Desk desk(story);
  const std::string_view bytes = "Ann@example.org\r\nbob@example.org\r\n\r\nANN@EXAMPLE.ORG ";
  const std::string list = desk.Write("list.TXT", bytes);
  desk.Open();
  for (const char* blank : {"", "  "}) {
    story.Type("TextSelectedFile", blank);
    story.Click("CmdOk");
    story.Answers("No file selected ", "!", "OK");
  }
  story.Type("TextSelectedFile", list + ".gone");
  story.Press(Key::kEnter);
  story.Answers("The current distribution file does not exist.  Please select another file.", "!",
                "OK");
  EXPECT_EQ(desk.MailList(), "");
  story.Type("TextSelectedFile", " " + list + " ");
  story.Click("CmdOk");
  story.SeesWindows({"Vespro"});
  EXPECT_EQ(desk.MailList(), list + ",TEXT");
  story.Answers(kQuestion, "?", "No");
  story.SeesEnd();
  EXPECT_EQ(desk.folder.Read("list.TXT"), bytes);

  desk.Open();
  story.Click("CmdOk");
  story.Answers(kQuestion, "?", "Yes");
  story.SeesWindows({"Emails Removed"});
  story.PressAlt('c');
  story.SeesEnd();
  EXPECT_EQ(desk.folder.Read("list.TXT"), "ann@example.org\r\nbob@example.org\r\n");
  EXPECT_EQ(desk.list_changes, 2);

  desk.Write("list.TXT", "");
  desk.Open();
  story.Click("CmdOk");
  story.Answers("The chosen file is blank", "!", "OK");
  story.SeesEnd();
  EXPECT_EQ(desk.list_changes, 3);

  desk.Open();
  story.Type("TextSelectedFile", desk.Write("list.dat", bytes));
  story.Click("CmdOk");
  story.Answers("Unknown file type", "!", "OK");
  story.SeesEnd();

  const std::string broken = desk.Write("broken.txt", std::string_view("a@b\r\n\0", 6));
  desk.Open();
  story.Type("TextSelectedFile", broken);
  story.Click("CmdOk");
  story.Answers(kQuestion, "?", "Yes");
  EXPECT_EQ(story.Of("ImageIcon").icon.name, "X") << "a spreadsheet's own file, perhaps";
  story.Click("OK");
  story.SeesEnd();
  EXPECT_EQ(desk.folder.Read("broken.txt").size(), 6u);
}

void ASecondListIsMergedAndFilteredOut(Story& story) {
  Desk desk(story);
  const std::string current = desk.Write("current.txt", "ann@example.org\r\nBob@example.org");
  const std::string second = desk.Write("second.txt", "cleo@example.org\nann@example.org\n");
  const std::string table = desk.Write("table.csv", "cleo@example.org\r\n");
  desk.settings.Write(setting::kMailList, current + ",TEXT").Ignore();
  desk.Open();
  EXPECT_EQ(story.Of("CmdAdvance").caption, "&Advanced >>");
  EXPECT_FALSE(story.Of("CmdMergeFile").visible);
  story.PressAlt('m');
  story.PressAlt('a');
  EXPECT_EQ(story.Of("CmdAdvance").caption, "&Advanced <<");
  const auto enabled = [&] {
    std::string letters;
    for (const char* name : {"CmdAdvanceEdit", "CmdMergeFile", "CmdFilter"}) {
      letters += story.Of(name).enabled ? "+" : "-";
    }
    return letters;
  };
  EXPECT_EQ(enabled(), "---");
  desk.Select("CmdAdvancedFileSel", table);
  EXPECT_EQ(enabled(), "++-") << "a table names nobody";
  story.Click("CmdMergeFile");
  story.Answers("Cannot merge two different file formats", "X", "OK");
  desk.Select("CmdAdvancedFileSel", "");
  EXPECT_EQ(enabled(), "---");
  desk.Select("CmdAdvancedFileSel", current);
  EXPECT_EQ(enabled(), "+++");
  for (const char* button : {"CmdMergeFile", "CmdFilter"}) {
    story.Click(button);
    story.Answers(kSameFile, "X", "OK");
  }
  EXPECT_EQ(desk.desktop.lines, 0);

  desk.Select("CmdAdvancedFileSel", second);
  story.PressAlt('m');
  EXPECT_EQ(desk.desktop.lines, 2);
  story.Answers("File Merged into the current distribution file", "i", "OK");
  story.SeesWindows({kSelectTitle});
  EXPECT_EQ(desk.folder.Read("current.txt"),
            "ann@example.org\r\nBob@example.org\r\n\r\n"
            "cleo@example.org\r\nann@example.org\r\n");

  desk.Write("second.txt", "CLEO@example.org\r\nann@example.org\r\n");
  story.PressAlt('f');
  story.Answers("Filtered out 1 unwanted emails from the current distribution file", "i", "OK");
  EXPECT_EQ(desk.folder.Read("current.txt"), "bob@example.org\r\ncleo@example.org\r\n");
  story.Click("CmdFilter");
  story.Answers("No unwanted emails found in the current distribution file", "i", "OK");
  EXPECT_EQ(desk.MailList(), current + ",TEXT");
  story.Click("CmdOk");
  story.SeesEnd();

  desk.Open();
  EXPECT_EQ(enabled(), "---");
  story.PressAlt('a');
  story.Type("TextAdvancedSelect", second);
  story.Click("CmdFilter");
  story.Click("OK");
  const std::string other = desk.Write("other.txt", "dan@example.org\r\n");
  story.Type("TextSelectedFile", other);
  story.Click("CmdOk");
  EXPECT_EQ(desk.MailList(), other + ",TEXT") << "another list than the one that was filtered";
  story.Answers(kQuestion, "?", "No");
  story.SeesEnd();
}

void ATableIsFiltered(Story& story) {
  Desk desk(story);
  const std::string_view bytes =
      "Name,Email\r\nAnn,ann@example.org\r\nBOB,bob@example.org\r\nBob,bob@example.org\r\n";
  const std::string table = desk.Write("table.csv", bytes);
  const std::string unwanted = desk.Write("unwanted.txt", "ann@example.org\r\n");
  desk.settings.Write(setting::kMailList, "before,TEXT").Ignore();
  desk.Open();
  story.Type("TextSelectedFile", table);
  story.Click("CmdAdvance");
  story.Type("TextAdvancedSelect", unwanted + ".gone");
  story.Click("CmdFilter");
  EXPECT_EQ(story.Of("ImageIcon").icon.name, "X") << "before anything is asked";
  story.Click("OK");
  desk.Select("CmdAdvancedFileSel", unwanted);
  story.Click("CmdFilter");
  EXPECT_EQ(desk.MailList(), table + ",CSV");
  EXPECT_FALSE(story.Of("CmdFinish").visible);
  EXPECT_FALSE(story.Of("CancelButton").visible);
  story.CloseByFrame();
  story.SeesWindows({kSelectTitle});
  EXPECT_EQ(desk.MailList(), "before,TEXT") << "given up";
  EXPECT_EQ(desk.folder.Read("table.csv"), bytes);

  story.Click("CmdFilter");
  story.Press(Key::kEnter);
  EXPECT_GT(desk.desktop.lines, 0);
  story.Answers("Filtered out 1 unwanted emails from the current distribution file", "i", "OK");
  EXPECT_EQ(desk.folder.Read("table.csv"), "name,email\r\nbob,bob@example.org\r\n");
  EXPECT_EQ(desk.MailList(), table + ",CSV,1,HEADER");
  EXPECT_EQ(desk.list_changes, 1);
  story.Click("CmdOk");
  story.SeesEnd();
  EXPECT_EQ(desk.MailList(), table + ",CSV,1,HEADER") << "is not asked for a second time";
  EXPECT_EQ(desk.list_changes, 2);

  const std::string_view shapeless = "\r\nAnn,Ann@example.org\r\n";
  desk.Write("table.csv", shapeless);
  desk.Open();
  story.Click("CmdAdvance");
  desk.Select("CmdAdvancedFileSel", unwanted);
  story.Click("CmdFilter");
  story.Answers("Incorrect CSV file format", "X", "OK");
  story.Click("CmdOk");
  story.SeesWindows({kSelectTitle});
  EXPECT_EQ(desk.folder.Read("table.csv"), shapeless) << "no column, no filter";
  EXPECT_EQ(desk.MailList(), table + ",CSV,1,HEADER");
}

void WhatFailsIsToldAndTheDialogStays(Story& story) {
  Desk desk(story);
  const std::string list = desk.Write("list.txt", "ann@example.org\r\n");
  desk.Open();
  story.Type("TextSelectedFile", " " + list + " ");
  story.Click("CmdEdit");
  ASSERT_EQ(desk.desktop.started.size(), 1u);
  EXPECT_EQ(desk.desktop.started[0].text, "editor " + list);
  EXPECT_EQ(desk.desktop.started[0].executable, "editor");
  EXPECT_EQ(desk.desktop.started[0].arguments, std::vector<std::string>{list});
  desk.desktop.start_fails = Status(Code::kUnavailable, "there is no editor", 0x8007007E);
  story.Click("CmdEdit");
  story.Answers("Error 0x8007007E: there is no editor", "!", "OK");
  story.Click("CmdAdvance");
  story.Type("TextAdvancedSelect", list + ".gone");
  story.Click("CmdAdvanceEdit");
  story.Click("OK");
  story.Click("CmdMergeFile");
  EXPECT_EQ(story.Of("ImageIcon").icon.name, "X");
  story.Click("OK");
  story.SeesWindows({kSelectTitle});
  EXPECT_EQ(desk.folder.Read("list.txt"), "ann@example.org\r\n");

  // A folder is where the settings should be.
  std::filesystem::create_directories(desk.folder / "settings");
  story.Click("CmdOk");
  EXPECT_EQ(story.Of("ImageIcon").icon.name, "X");
  story.Click("OK");
  story.SeesWindows({kSelectTitle});
  EXPECT_EQ(desk.list_changes, 0);
  story.Press(Key::kEscape);
  story.SeesEnd();
  EXPECT_EQ(desk.list_changes, 0);
}

}  // namespace

std::vector<FormStory> RecipientsStories() {
  return {
      {"ATableIsChosenMappedAndCleaned", ATableIsChosenMappedAndCleaned},
      {"AMappingIsProposed", AMappingIsProposed},
      {"ATextListIsChosen", ATextListIsChosen},
      {"ASecondListIsMergedAndFilteredOut", ASecondListIsMergedAndFilteredOut},
      {"ATableIsFiltered", ATableIsFiltered},
      {"WhatFailsIsToldAndTheDialogStays", WhatFailsIsToldAndTheDialogStays},
  };
}

}  // namespace vespro
