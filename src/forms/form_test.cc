#include "forms/form.h"

#include <gtest/gtest.h>

#include "forms/scripted.h"
#include "forms/story.h"

namespace vespro {
namespace {

// One of everything, and a log of its events.
class SampleForm final : public Form {
 public:
  explicit SampleForm(Desktop& desktop) : Form("SampleForm", "Sample"), desktop_(desktop) {
    TextNumber.set_size(8);
    TextNote.set_size(20, 2);
    ListFiles.set_size(0, 2);
    CmdClose.set_tooltip("Ends it");
    set_default(CmdOk);
    set_cancel(CmdClose);
    TextNumber.OnLeave([this] { return TextNumber_Leave(); });
    TextNumber.OnChange([this] { events.push_back("change " + TextNumber.text()); });
    CheckLocked.OnClick([this] { CheckLocked_Click(); });
    OptionOne.OnClick([this] { events.push_back("one"); });
    OptionTwo.OnClick([this] { events.push_back("two"); });
    ListFiles.OnClick([this] { events.push_back("row " + std::to_string(ListFiles.selected())); });
    ListFiles.OnKey([this](Key key) { return ListFiles_Key(key); });
    CmdOk.OnClick([this] { events.push_back("ok " + TextNumber.text()); });
    CmdMore.OnClick([this] { CmdMore_Click(); });
    CmdClose.OnClick([this] { Unload(); });
  }

  std::vector<std::string> events;
  bool may_close = true;

  Label LabelNumber{this, "LabelNumber", "&Number:"};
  TextBox TextNumber{this, "TextNumber"};
  Label LabelWeb{this, "LabelWeb", "example.org", Label::Style::kLink};
  Frame FrameKind{this, "FrameKind", "&Kind"};
  OptionButton OptionOne{this, "OptionOne", "One"};
  OptionButton OptionTwo{this, "OptionTwo", "T&wo"};
  CheckBox CheckLocked{this, "CheckLocked", "Locked"};
  TextBox TextNote{this, "TextNote", TextBox::Style::kMultiLine};
  ListView ListFiles{this, "ListFiles", {{"Name", 10}, {"Size", 5}}};
  Button CmdOk{this, "CmdOk", "OK"};
  Button CmdMore{this, "CmdMore", "&More"};
  Button CmdClose{this, "CmdClose", "Close"};

 private:
  Layout Arrange() override {
    return Rows({Columns({LabelNumber, Fill(TextNumber), LabelWeb}),
                 Columns({Inside(FrameKind, Rows({OptionOne, OptionTwo})), TextNote}), CheckLocked,
                 ListFiles, Columns({Space(), CmdOk, CmdMore, CmdClose})});
  }
  void Form_Load() override {
    OptionOne.Choose();
    ListFiles.AddRow({"a.txt", {"12"}, "/a.txt", {}, {Icon::Kind::kFileType, "/a.txt"}});
    ListFiles.AddRow({"b", {"7"}, "/b", {}, {}});
    events.push_back("load");
  }
  void Form_Unload() override { events.push_back("unload"); }
  bool Form_CloseByFrame() override {
    events.push_back("close by frame");
    return may_close;
  }
  Leave TextNumber_Leave() {
    events.push_back("leave");
    if (TextNumber.text() != "bad") return Leave::kAllow;
    desktop_.MsgBox("Bad number", MessageIcon::kExclamation, MessageButtons::kOk, "Sample");
    return Leave::kKeepFocus;
  }
  void CheckLocked_Click() {
    FrameKind.set_enabled(!CheckLocked.checked());
    TextNumber.set_enabled(!CheckLocked.checked());
    TextNumber.set_background(CheckLocked.checked() ? Background::kSilver : Background::kDefault);
    CheckLocked.set_enabled(false);
  }
  bool ListFiles_Key(Key key) {
    if (key != Key::kDelete || ListFiles.selected() < 0) return false;
    ListFiles.RemoveRow(ListFiles.selected());
    return true;
  }
  void CmdMore_Click() {
    SampleForm more(desktop_);
    more.set_caption("More");
    Hide();
    more.ShowModal(desktop_);
    events.push_back("more is gone");
    Show(desktop_);
  }

  Desktop& desktop_;
};

class FormTest : public testing::Test {
 protected:
  void Open() {
    story.Start([this] { form.ShowModal(driver.desktop()); });
    form.events.clear();
  }
  void TearDown() override { driver.End(); }
  std::vector<std::string> Events() { return std::exchange(form.events, {}); }
  using Lines = std::vector<std::string>;

  ScriptedDriver driver;
  Story story{driver};
  SampleForm form{driver.desktop()};
};

TEST_F(FormTest, ShowsWhatThereIs) {
  Open();
  story.Sees(R"(
+- Sample -------------------------[x]-+
| _Number: >[_________]  <example.org> |
| +-_Kind----+  +--------------------+ |
| | (o) One  |  |                    | |
| | ( ) T_wo |  |                    | |
| +----------+  +--------------------+ |
| [ ] Locked                           |
| +----------------------------------+ |
| | Name       | Size                | |
| |----------------------------------| |
| | <.txt> a.. | 12                  | |
| | b          | 7                   | |
| +----------------------------------+ |
|         [=OK=]  [ _More ]  [ Close ] |
+--------------------------------------+
)");
  EXPECT_EQ(story.Of("CmdClose").tooltip, "Ends it");
}

TEST_F(FormTest, TheOneLeftMayKeepTheFocus) {
  Open();
  story.Type("TextNumber", "bad");
  EXPECT_EQ(Events(), (Lines{"change bad"}));
  for (const auto& leave : std::vector<std::function<void()>>{
           [&] { story.Click("CmdOk"); }, [&] { story.Press(Key::kEnter); },
           [&] { story.Press(Key::kTab); }, [&] { story.Click("OptionTwo"); },
           [&] { story.Type("TextNote", "x"); }, [&] { story.Select("ListFiles", 1); },
           [&] { story.PressAlt('w'); }, [&] { story.Focus("ListFiles"); }}) {
    leave();
    story.Answers("Bad number", "!", "OK");
    EXPECT_EQ(Events(), (Lines{"leave"}));
    EXPECT_TRUE(story.Of("TextNumber").focused);
  }
  EXPECT_FALSE(story.Of("OptionTwo").checked);
  EXPECT_EQ(story.TextOf("TextNote"), "");
  EXPECT_EQ(story.Of("ListFiles").selected, -1);
  story.Type("TextNumber", "good");
  story.Click("CmdOk");
  EXPECT_EQ(Events(), (Lines{"change good", "leave", "ok good"}));
  story.Type("TextNumber", "bad");
  story.Press(Key::kEscape);
  EXPECT_EQ(Events(), (Lines{"change bad", "unload"})) << "who gives up is not asked";
  story.SeesEnd();
}

TEST_F(FormTest, KeysGoWhereTheyShould) {
  Open();
  story.Type("TextNumber", "5");
  story.Press(Key::kEnter);
  EXPECT_EQ(Events(), (Lines{"change 5", "leave", "ok 5"}));
  EXPECT_TRUE(story.Of("TextNumber").focused) << "Enter does not move the focus";
  Lines order;
  for (int i = 0; i < 9; ++i) {
    story.Press(Key::kTab);
    order.push_back(form.focus()->name());
  }
  EXPECT_EQ(order, (Lines{"LabelWeb", "OptionOne", "TextNote", "CheckLocked", "ListFiles", "CmdOk",
                          "CmdMore", "CmdClose", "TextNumber"}));
  story.Press(Key::kBackTab);
  EXPECT_TRUE(story.Of("CmdClose").focused);
  story.PressAlt('K');
  EXPECT_TRUE(story.Of("OptionOne").focused) << "a frame's key leads into it";
  Events();
  story.Press(Key::kDown);
  story.Press(Key::kDown);
  EXPECT_EQ(Events(), (Lines{"two", "one"})) << "round the options";
  story.PressAlt('w');
  story.PressAlt('w');
  EXPECT_EQ(Events(), (Lines{"two"})) << "chosen already";
  story.PressAlt('n');
  EXPECT_TRUE(story.Of("TextNumber").focused) << "a label's key leads behind it";
  story.Focus("TextNote");
  Events();
  story.Press(Key::kEnter);
  EXPECT_EQ(Events(), Lines{}) << "a new line in the box";
  story.Focus("ListFiles");
  story.Press(Key::kDelete);
  EXPECT_EQ(story.Of("ListFiles").rows.size(), 2u) << "nothing is selected";
  story.Select("ListFiles", 1);
  story.Press(Key::kDelete);
  EXPECT_EQ(story.Of("ListFiles").rows.size(), 1u);
  EXPECT_EQ(story.Of("ListFiles").selected, -1);
}

TEST_F(FormTest, WhatIsDisabledOrHiddenCannotBeUsed) {
  Open();
  story.Click("CheckLocked");
  story.Sees(R"(
+- Sample -------------------------[x]-+
| _Number: ~[.........]  <example.org> |
|~+-_Kind----+  +--------------------+ |
| |~(o) One  |  |                    | |
| |~( ) T_wo |  |                    | |
| +----------+  +--------------------+ |
|~[x] Locked                           |
|>+----------------------------------+ |
| | Name       | Size                | |
| |----------------------------------| |
| | <.txt> a.. | 12                  | |
| | b          | 7                   | |
| +----------------------------------+ |
|         [=OK=]  [ _More ]  [ Close ] |
+--------------------------------------+
)");
  story.Cannot(driver.Click("OptionTwo"));
  story.Cannot(driver.Type("TextNumber", "1"));
  story.Cannot(driver.Click("CheckLocked"));
  story.Cannot(driver.Click("NoSuch"));
  Events();
  story.PressAlt('w');
  story.PressAlt('k');
  EXPECT_EQ(Events(), Lines{});
  // A native window may tell late what was done before it was disabled.
  EXPECT_FALSE(form.Do(UserAction::Click(form.OptionTwo)));
  EXPECT_FALSE(form.OptionTwo.checked());
}

TEST_F(FormTest, OnlyTheTopFormTakesInput) {
  Open();
  story.Click("CmdMore");
  story.SeesWindows({"More"});
  EXPECT_FALSE(form.Do(UserAction::Click(form.CmdClose))) << "its event runs, and it is hidden";
  story.Type("TextNumber", "bad");
  story.Click("CmdOk");
  story.SeesWindows({"More", "Sample"});
  EXPECT_FALSE(driver.Click("CmdClose").ok()) << "below the message box";
  story.Click("OK");
  story.Press(Key::kEscape);
  story.SeesWindows({"Sample"});
  EXPECT_TRUE(story.Of("CmdMore").focused);
  EXPECT_EQ(Events(), (Lines{"leave", "more is gone"}));
  story.Click("CmdClose");
  story.SeesEnd();
}

TEST_F(FormTest, TheFrameAsksFirst) {
  Open();
  form.may_close = false;
  story.CloseByFrame();
  story.SeesWindows({"Sample"});
  form.may_close = true;
  story.CloseByFrame();
  story.SeesEnd();
  EXPECT_EQ(Events(), (Lines{"close by frame", "close by frame", "unload"}));
  EXPECT_FALSE(form.loaded());
}

TEST_F(FormTest, ALoadedFormMayBeLoadedAgain) {
  Open();
  story.Click("CmdClose");
  Open();
  EXPECT_EQ(story.Of("ListFiles").rows.size(), 4u) << "what it held, and what Form_Load adds";
  story.Click("CmdClose");
  story.SeesEnd();
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

TEST(BoxesTest, AskAndAnswer) {
  ScriptedDriver driver;
  Story story(driver);
  std::string typed, picked;
  MessageAnswer answer = MessageAnswer::kOk;
  story.Start([&] {
    Desktop& desktop = driver.desktop();
    typed = desktop.InputBox("Tom & Jerry?", "Ask", "both");
    picked = desktop.PickFile({"Pick", "Text (*.txt)|*.txt| All (*.*)|*.*|", "/lists"});
    answer = desktop.MsgBox("Really?", MessageIcon::kQuestion, MessageButtons::kYesNo, "Ask");
  });
  story.Sees(R"(
+- Ask --------------------------------------------[x]-+
| Tom & Jerry?                                         |
|>[both______________________________________________] |
|                                   [=OK=]  [ Cancel ] |
+------------------------------------------------------+
)");
  story.Press(Key::kEnter);
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
  story.PickFile("/lists/a.txt");
  story.Sees(R"(
+- Ask ---------------+
| (?)  Really?        |
| >[=_Yes=]  [ _No ]  |
+---------------------+
)");
  story.Cannot(driver.CloseByFrame());
  story.Press(Key::kEscape);
  story.SeesWindows({"Ask"});
  story.Answers("Really?", "?", "No");
  story.SeesEnd();
  EXPECT_EQ(typed, "both");
  EXPECT_EQ(picked, "/lists/a.txt");
  EXPECT_EQ(answer, MessageAnswer::kNo);
}

TEST(CaptionTest, AccessKeys) {
  EXPECT_EQ(ModCaption::Plain("&Advanced >>"), "Advanced >>");
  EXPECT_EQ(ModCaption::Plain("A && &B&"), "A & B");
  EXPECT_EQ(ModCaption::AccessKey("A && &B"), 'b');
  EXPECT_EQ(ModCaption::AccessKey("A && B&"), 0);
}

}  // namespace
}  // namespace vespro
