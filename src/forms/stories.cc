#include "forms/stories.h"

#include <chrono>
#include <memory>

#include "forms/sample_form.h"

namespace vespro {
namespace {

using Lines = std::vector<std::string>;

// A sample form, opened; at the end the program ends before the form does.
class Opened {
 public:
  explicit Opened(Story& story) : form(story.desktop()), story_(story) { Open(); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  ~Opened() { story_.driver().End(); }

  void Open() {
    story_.Start([this] { form.ShowModal(story_.desktop()); });
    form.events.clear();
  }
  Lines Events() { return std::exchange(form.events, {}); }

  SampleForm form;

 private:
  Story& story_;
};

void ShowsWhatThereIs(Story& story) {
  Opened opened(story);
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

void TheOneLeftMayKeepTheFocus(Story& story) {
  Opened opened(story);
  story.Type("TextNumber", "bad");
  EXPECT_EQ(opened.Events(), (Lines{"change bad"}));
  for (const auto& leave : std::vector<std::function<void()>>{
           [&] { story.Click("CmdOk"); }, [&] { story.Press(Key::kEnter); },
           [&] { story.Press(Key::kTab); }, [&] { story.Click("OptionTwo"); },
           [&] { story.Type("TextNote", "x"); }, [&] { story.Select("ListFiles", 1); },
           [&] { story.PressAlt('w'); }, [&] { story.Focus("ListFiles"); }}) {
    leave();
    story.Answers("Bad number", "!", "OK");
    EXPECT_EQ(opened.Events(), (Lines{"leave"}));
    EXPECT_TRUE(story.Of("TextNumber").focused);
  }
  EXPECT_FALSE(story.Of("OptionTwo").checked);
  EXPECT_EQ(story.TextOf("TextNote"), "");
  EXPECT_EQ(story.Of("ListFiles").selected, -1);
  story.Type("TextNumber", "good");
  story.Click("CmdOk");
  EXPECT_EQ(opened.Events(), (Lines{"change good", "leave", "ok good"}));
  story.Type("TextNumber", "bad");
  story.Press(Key::kEscape);
  EXPECT_EQ(opened.Events(), (Lines{"change bad", "unload"})) << "who gives up is not asked";
  story.SeesEnd();
}

void KeysGoWhereTheyShould(Story& story) {
  Opened opened(story);
  story.Type("TextNumber", "5");
  story.Press(Key::kEnter);
  EXPECT_EQ(opened.Events(), (Lines{"change 5", "leave", "ok 5"}));
  EXPECT_TRUE(story.Of("TextNumber").focused) << "Enter does not move the focus";
  for (const char* next : {"LabelWeb", "OptionOne", "TextNote", "CheckLocked", "ListFiles", "CmdOk",
                           "CmdMore", "CmdClose", "TextNumber"}) {
    story.Press(Key::kTab);
    EXPECT_TRUE(story.Of(next).focused) << next;
  }
  story.Press(Key::kBackTab);
  EXPECT_TRUE(story.Of("CmdClose").focused);
  story.PressAlt('K');
  EXPECT_TRUE(story.Of("OptionOne").focused) << "a frame's key leads into it";
  opened.Events();
  story.Press(Key::kDown);
  story.Press(Key::kDown);
  EXPECT_EQ(opened.Events(), (Lines{"two", "one"})) << "round the options";
  story.PressAlt('w');
  story.PressAlt('w');
  EXPECT_EQ(opened.Events(), (Lines{"two"})) << "chosen already";
  story.Press(Key::kLeft);
  story.Press(Key::kRight);
  EXPECT_EQ(opened.Events(), (Lines{"one", "two"})) << "sideways as well";
  story.PressAlt('n');
  EXPECT_TRUE(story.Of("TextNumber").focused) << "a label's key leads behind it";
  EXPECT_TRUE(story.Of("TextNumber").marked);
  story.Focus("TextNumber");
  EXPECT_FALSE(story.Of("TextNumber").marked) << "a click sets the caret";
  opened.Events();
  story.Click("LabelWeb");
  story.Press(Key::kEnter);
  EXPECT_EQ(opened.Events(), (Lines{"leave", "web", "web"}));
  story.Focus("TextNote");
  opened.Events();
  story.Press(Key::kEnter);
  EXPECT_EQ(opened.Events(), Lines{}) << "a new line in the box";
  story.Focus("ListFiles");
  story.Press(Key::kDelete);
  EXPECT_EQ(story.Of("ListFiles").rows.size(), 2u) << "nothing is selected";
  story.Select("ListFiles", 1);
  story.Press(Key::kDelete);
  EXPECT_EQ(story.Of("ListFiles").rows.size(), 1u);
  EXPECT_EQ(story.Of("ListFiles").selected, -1);
}

void WhatIsDisabledOrHiddenCannotBeUsed(Story& story) {
  Opened opened(story);
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
  story.Cannot(story.driver().Click("OptionTwo"));
  story.Cannot(story.driver().Type("TextNumber", "1"));
  story.Cannot(story.driver().Click("CheckLocked"));
  story.Cannot(story.driver().Click("NoSuch"));
  opened.Events();
  story.PressAlt('w');
  story.PressAlt('k');
  EXPECT_EQ(opened.Events(), Lines{});
}

void OnlyTheTopFormTakesInput(Story& story) {
  Opened opened(story);
  story.Click("CmdMore");
  story.SeesWindows({"More"});
  story.Type("TextNumber", "bad");
  story.Click("CmdOk");
  story.SeesWindows({"More", "Sample"});
  EXPECT_FALSE(story.driver().Click("CmdClose").ok()) << "below the message box";
  story.Click("OK");
  story.Press(Key::kEscape);
  story.SeesWindows({"Sample"});
  EXPECT_TRUE(story.Of("CmdMore").focused);
  EXPECT_EQ(opened.Events(), (Lines{"leave", "more is gone"}));
  story.Click("CmdClose");
  story.SeesEnd();
}

void TheFrameAsksFirst(Story& story) {
  Opened opened(story);
  opened.form.may_close = false;
  story.CloseByFrame();
  story.SeesWindows({"Sample"});
  opened.form.may_close = true;
  story.CloseByFrame();
  story.SeesEnd();
  EXPECT_EQ(opened.Events(), (Lines{"close by frame", "close by frame", "unload"}));
  EXPECT_FALSE(opened.form.loaded());
}

void ALoadedFormMayBeLoadedAgain(Story& story) {
  Opened opened(story);
  story.Click("CmdClose");
  opened.Open();
  EXPECT_EQ(story.Of("ListFiles").rows.size(), 4u) << "what it held, and what Form_Load adds";
  story.Click("CmdClose");
  story.SeesEnd();
}

// Lists of all kinds, and a text that is not to be read.
class RowsForm final : public Form {
 public:
  RowsForm() : Form("RowsForm", "Rows") {
    TabPages.OnClick([this] {
      events.push_back("tab " + std::to_string(TabPages.selected()));
      ShowPage();
    });
    Log(ComboKind, "kind");
    Log(ListWords, "word");
    Log(ListPeople, "person");
    TextCode.set_text("abc");
    CmdAdd.OnClick([this] { CmdAdd_Click(); });
    CmdClear.OnClick([this] { CmdClear_Click(); });
    CmdGone.OnClick([this] { CmdGone.set_visible(false); });
  }

  std::vector<std::string> events;

 private:
  void Log(RowsControl& list, const std::string& what) {
    list.OnClick(
        [this, &list, what] { events.push_back(what + " " + std::to_string(list.selected())); });
  }
  Layout Arrange() override {
    return Rows({Inside(TabPages, Pages({Inside(FrameOne, Rows({ComboKind, ListWords})),
                                         Inside(FrameTwo, Rows({ListPeople, TextCode}))})),
                 Columns({CmdAdd, CmdClear, CmdGone})});
  }
  void Form_Load() override {
    for (const char* tab : {"One", "Two"}) TabPages.AddTab(tab);
    for (const char* kind : {"red", "green", "blue"}) ComboKind.AddItem(kind);
    for (const char* word : {"yes", "no"}) ListWords.AddItem(word);
    TabPages.Select(0);
    ShowPage();
  }
  void ShowPage() {
    FrameOne.set_visible(TabPages.selected() == 0);
    FrameTwo.set_visible(TabPages.selected() == 1);
  }
  void CmdAdd_Click() {
    ListPeople.AddRow({"Łucja", {"32"}, "l", "writes often", {}});
    ListPeople.AddRow({"Ann", {"27"}, "a", {}, {}});
    ListWords.RemoveRow(0);
    ComboKind.Select(-1);
  }
  void CmdClear_Click() {
    ListPeople.Clear();
    ListWords.Clear();
    ComboKind.Clear();
  }

  TabStrip TabPages{this, "TabPages"};
  Frame FrameOne{this, "FrameOne"};
  ComboBox ComboKind{this, "ComboKind", "which?"};
  ListBox ListWords{this, "ListWords"};
  Frame FrameTwo{this, "FrameTwo"};
  ListView ListPeople{this, "ListPeople", {{"Name", 10}, {"Age", 4}}};
  TextBox TextCode{this, "TextCode", TextBox::Style::kMasked};
  Button CmdAdd{this, "CmdAdd", "Add"};
  Button CmdClear{this, "CmdClear", "Clear"};
  Button CmdGone{this, "CmdGone", "Gone"};
};

void RowsAreChosenOnce(Story& story) {
  RowsForm form;
  const auto events = [&] { return std::exchange(form.events, {}); };
  story.Start([&] { form.ShowModal(story.desktop()); });
  EXPECT_EQ(events(), Lines{}) << "setting raises no events";
  story.Select("ComboKind", 2);
  story.Select("ComboKind", 2);
  EXPECT_EQ(events(), (Lines{"kind 2", "kind 2"})) << "the same may be chosen again";
  story.Select("ListWords", 1);
  EXPECT_EQ(events(), (Lines{"word 1"}));
  story.Cannot(story.driver().Select("ListPeople", 0));
  story.Select("TabPages", 1);
  EXPECT_EQ(events(), (Lines{"tab 1"}));
  story.Cannot(story.driver().Select("ComboKind", 0));
  story.Click("CmdAdd");
  story.Select("ListPeople", 1);
  story.Select("ListPeople", 0);
  story.Select("ListPeople", 0);
  EXPECT_EQ(events(), (Lines{"person 1", "person 0", "person 0"}));
  story.Select("TabPages", 0);
  EXPECT_EQ(events(), (Lines{"tab 0"}));
  story.Select("ListWords", 0);
  EXPECT_EQ(events(), (Lines{"word 0"})) << "what was the second";
  story.driver().End();
}

void WhatChangesIsSeen(Story& story) {
  RowsForm form;
  story.Start([&] { form.ShowModal(story.desktop()); });
  story.Select("TabPages", 1);
  EXPECT_EQ(story.TextOf("TextCode"), "***");
  story.Type("TextCode", "abcd");
  EXPECT_EQ(story.TextOf("TextCode"), "****");
  story.Click("CmdAdd");
  ControlLook people = story.Of("ListPeople");
  ASSERT_EQ(people.rows.size(), 2u);
  EXPECT_EQ(people.rows[0].text, "Łucja");
  EXPECT_EQ(people.rows[0].cells, Lines{"32"});
  EXPECT_EQ(people.rows[0].tooltip, "writes often");
  EXPECT_EQ(people.rows[1].tooltip, "");
  story.Select("TabPages", 0);
  EXPECT_EQ(story.Of("ListWords").rows.size(), 1u);
  EXPECT_FALSE(story.Of("ListPeople").visible);
  story.Click("CmdGone");
  story.Cannot(story.driver().Click("CmdGone"));
  EXPECT_TRUE(story.Of("TabPages").focused) << "the next one, round the form";
  story.Click("CmdClear");
  EXPECT_TRUE(story.Of("ListWords").rows.empty());
  EXPECT_EQ(story.Of("ComboKind").selected, -1);
  story.driver().End();
}

// Of what is seen when Form_Load takes its time.
class SlowForm final : public Form {
 public:
  SlowForm() : Form("SlowForm", "Slow") {
    set_escape_closes(true);
    TextName.set_text("Ann");
    CmdOk.OnClick([this] { events.push_back("ok"); });
  }

  Lines events;
  std::function<void()> while_loading;
  bool may_close = true;

  TextBox TextName{this, "TextName"};
  Button CmdOk{this, "CmdOk", "OK"};

 private:
  Layout Arrange() override { return Rows({TextName, CmdOk}); }
  void Form_Load() override { while_loading(); }
  void Form_Unload() override { events.push_back("unload"); }
  bool Form_CloseByFrame() override {
    events.push_back("close by frame");
    return may_close;
  }
};

void AFormThatLoadsLongIsSeenWaiting(Story& story) {
  Opened opened(story);
  SlowForm slow;
  Lines seen;
  slow.while_loading = [&] {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (seen.size() < 2 && std::chrono::steady_clock::now() < limit) {
      story.desktop().DoEvents();
      seen = story.driver().Windows();
    }
    EXPECT_EQ(story.TextOf("TextName"), "Ann");
    slow.TextName.set_text("Bob");
    EXPECT_EQ(story.TextOf("TextName"), "Bob");
    EXPECT_FALSE(slow.Do(UserAction::Click(slow.CmdOk)));
    EXPECT_FALSE(opened.form.Do(UserAction::Click(opened.form.CmdClose)));
  };
  opened.form.CmdOk.OnClick([&] { slow.ShowModal(story.desktop()); });
  story.Click("CmdOk");
  EXPECT_EQ(seen, (Lines{"Sample", "Slow"}));
  EXPECT_EQ(slow.events, Lines{});
  EXPECT_TRUE(story.Of("TextName").focused);
  EXPECT_TRUE(story.Of("TextName").marked);
  story.Click("CmdOk");
  EXPECT_EQ(slow.events, Lines{"ok"});
  story.driver().End();
}

void AFormThatIsLoadingMayAskOrGiveUp(Story& story) {
  Opened opened(story);
  SlowForm slow;
  opened.form.CmdOk.OnClick([&] { slow.ShowModal(story.desktop()); });
  slow.while_loading = [&] {
    story.desktop().MsgBox("Really?", MessageIcon::kExclamation, MessageButtons::kOk, "Ask");
  };
  story.Click("CmdOk");
  story.SeesWindows({"Sample", "Ask"});
  story.Answers("Really?", "!", "OK");
  story.SeesWindows({"Sample", "Slow"});
  slow.may_close = false;
  story.Press(Key::kEscape);
  story.SeesWindows({"Sample", "Slow"});
  slow.may_close = true;
  story.Press(Key::kEscape);
  EXPECT_EQ(slow.events, (Lines{"close by frame", "close by frame", "unload"})) << "as the frame";
  slow.while_loading = [&] { slow.Unload(); };
  story.Click("CmdOk");
  story.SeesWindows({"Sample"});
  EXPECT_FALSE(slow.loaded());
  story.Click("CmdClose");
  story.SeesEnd();
}

// Something to read, which needs room.
class NoteForm final : public Form {
 public:
  NoteForm() : Form("NoteForm", "Note") {
    set_resizable(true);
    ImageTip.set_tooltip("A picture");
    LabelHelp.set_tooltip("A label");
    LabelHelp.set_size(12);
    TextInfo.set_size(12, 2);
    TextInfo.set_text("one\r\ntwo\r\nthree\r\nfour\r\n");
    CmdMore.OnClick([this] {
      LabelHelp.set_caption(ModCaption::Literal("Tom & Jerry, who are more than twelve letters"));
      CmdMore.set_caption("More than before");
    });
  }

 private:
  Layout Arrange() override {
    return Rows(
        {Columns({ImageTip, Fill(LabelHelp)}), Fill(TextInfo), Columns({Space(), CmdMore})});
  }

  Image ImageTip{this, "ImageTip", {Icon::Kind::kResource, "TIP"}};
  Label LabelHelp{this, "LabelHelp", "Help"};
  TextBox TextInfo{this, "TextInfo", TextBox::Style::kMultiLineReadOnly};
  Button CmdMore{this, "CmdMore", "More"};
};

void WhatFillsGrowsWithTheForm(Story& story) {
  NoteForm form;
  story.Start([&] { form.ShowModal(story.desktop()); });
  story.Sees(R"(
+- Note -----[x]-+
| (TIP)  Help    |
|>+------------+ |
| |one         | |
| |two         | |
| + more below + |
|       [ More ] |
+----------------+
)");
  story.Enlarge(4, 2);
  story.Sees(R"(
+- Note ---------[x]-+
| (TIP)  Help        |
|>+----------------+ |
| |one             | |
| |two             | |
| |three           | |
| |four            | |
| +----------------+ |
|           [ More ] |
+--------------------+
)");
  story.driver().End();
  SampleForm fixed(story.desktop());
  story.Start([&] { fixed.ShowModal(story.desktop()); });
  story.Cannot(story.driver().Enlarge(1, 1));
  story.driver().End();
}

void CaptionsMayChangeAndHaveTooltips(Story& story) {
  NoteForm form;
  story.Start([&] { form.ShowModal(story.desktop()); });
  EXPECT_EQ(story.Of("ImageTip").tooltip, "A picture");
  EXPECT_EQ(story.Of("LabelHelp").tooltip, "A label");
  story.Click("CmdMore");
  EXPECT_EQ(story.Of("LabelHelp").caption, "Tom && Jerry, who are more than twelve letters");
  EXPECT_EQ(story.Of("CmdMore").caption, "More than before") << "all of it";
  story.driver().End();
}

// Higher than any screen.
class TallForm final : public Form {
 public:
  TallForm() : Form("TallForm", "Tall") {
    for (int i = 0; i < 60; ++i) {
      const std::string number = std::to_string(i);
      boxes_.push_back(std::make_unique<CheckBox>(this, "Check" + number, "Box " + number));
    }
  }

 private:
  Layout Arrange() override {
    Layout all;
    for (std::size_t i = 0; i < boxes_.size(); i += 5) {
      all = Rows({all, *boxes_[i], *boxes_[i + 1], *boxes_[i + 2], *boxes_[i + 3], *boxes_[i + 4]});
    }
    return all;
  }

  std::vector<std::unique_ptr<CheckBox>> boxes_;
};

void WhatIsTallerThanTheScreenCanBeReached(Story& story) {
  TallForm form;
  story.Start([&] { form.ShowModal(story.desktop()); });
  for (const char* box : {"Check59", "Check30", "Check0"}) {
    story.Click(box);
    EXPECT_TRUE(story.Of(box).checked) << box;
  }
  story.Press(Key::kBackTab);
  EXPECT_TRUE(story.Of("Check59").focused);
  story.driver().End();
}

// A list as long as lists get.
class LongForm final : public Form {
 public:
  static constexpr int kRows = 32701;

  LongForm() : Form("LongForm", "Long") {
    ListServer.OnClick([this] { chosen = ListServer.selected(); });
    CmdAdd.OnClick([this] { Add(kRows); });
    CmdRemove.OnClick([this] { ListServer.RemoveRow(ListServer.selected()); });
  }

  int chosen = -1;

  ListView ListServer{this, "ListServer", {{"Server", 20}, {"Port", 6}}};
  Button CmdAdd{this, "CmdAdd", "Add"};
  Button CmdRemove{this, "CmdRemove", "Remove"};

 private:
  Layout Arrange() override { return Rows({ListServer, Columns({CmdAdd, CmdRemove})}); }
  void Form_Load() override {
    for (int i = 0; i < kRows; ++i) Add(i);
  }
  void Add(int i) {
    const std::string name = "smtp" + std::to_string(i) + ".txt";
    ListServer.AddRow({name, {std::to_string(i)}, {}, "of " + name, {Icon::Kind::kFileType, name}});
  }
};

void AListHoldsTensOfThousands(Story& story) {
  LongForm form;
  story.Start([&] { form.ShowModal(story.desktop()); });
  story.Click("CmdAdd");
  story.Select("ListServer", LongForm::kRows);
  EXPECT_EQ(form.chosen, LongForm::kRows);
  story.Click("CmdRemove");
  const ControlLook list = story.Of("ListServer");
  ASSERT_EQ(list.rows.size(), static_cast<std::size_t>(LongForm::kRows));
  EXPECT_EQ(list.selected, -1);
  const Row& last = list.rows.back();
  EXPECT_EQ(last.text, "smtp32700.txt");
  EXPECT_EQ(last.cells, Lines{"32700"});
  EXPECT_EQ(last.tooltip, "of smtp32700.txt");
  EXPECT_EQ(last.icon.name, "smtp32700.txt");
  story.driver().End();
}

void TabsTurnPages(Story& story) {
  RowsForm form;
  const auto events = [&] { return std::exchange(form.events, {}); };
  story.Start([&] { form.ShowModal(story.desktop()); });
  story.Sees(R"(
+- Rows -------------------[x]-+
|>[One] Two                    |
| +--------------------------+ |
| | [which?______________ v] | |
| | +----------------------+ | |
| | | yes                  | | |
| | | no                   | | |
| | |                      | | |
| | |                      | | |
| | |                      | | |
| | +----------------------+ | |
| |                          | |
| |                          | |
| +--------------------------+ |
| [ Add ]  [ Clear ]  [ Gone ] |
+------------------------------+
)");
  story.Press(Key::kRight);
  EXPECT_EQ(events(), (Lines{"tab 1"}));
  EXPECT_TRUE(story.Of("TabPages").focused) << "who chooses a tab stays there";
  story.Press(Key::kRight);
  EXPECT_EQ(events(), Lines{}) << "there is none behind the last";
  story.Press(Key::kNextPage);
  EXPECT_EQ(events(), (Lines{"tab 0"})) << "but here it goes round";
  EXPECT_TRUE(story.Of("TabPages").focused);
  story.Focus("ListWords");
  story.Press(Key::kPreviousPage);
  EXPECT_EQ(events(), (Lines{"tab 1"}));
  EXPECT_TRUE(story.Of("ListPeople").focused) << "the first on the new page";
  story.Click("CmdAdd");
  story.Press(Key::kNextPage);
  EXPECT_TRUE(story.Of("ComboKind").visible);
  EXPECT_TRUE(story.Of("CmdAdd").focused) << "not on any page";
  story.driver().End();
}

void BoxesAskAndAnswer(Story& story) {
  std::string typed;
  MessageAnswer answer = MessageAnswer::kOk;
  story.Start([&] {
    Desktop& desktop = story.desktop();
    typed = desktop.InputBox("Tom & Jerry?", "Ask", "both");
    answer = desktop.MsgBox("Really? Tom & Jerry?", MessageIcon::kQuestion, MessageButtons::kYesNo,
                            "Sure");
    desktop.MsgBox("Done", MessageIcon::kInformation, MessageButtons::kOk, "Vespro");
  });
  story.Sees(R"(
+- Ask --------------------------------------------[x]-+
| Tom & Jerry?                                         |
|>[both______________________________________________] |
|                                   [=OK=]  [ Cancel ] |
+------------------------------------------------------+
)");
  EXPECT_TRUE(story.Of("TextAnswer").marked) << "typing replaces what is proposed";
  story.Type("TextAnswer", "żółw");
  story.Press(Key::kEnter);
  story.Sees(R"(
+- Sure --------------------+
| (?)  Really? Tom & Jerry? |
|    >[=_Yes=]  [ _No ]     |
+---------------------------+
)");
  // Whether there is a close button or not, a question stays until it is answered.
  story.driver().CloseByFrame().Ignore();
  story.Press(Key::kEscape);
  story.SeesWindows({"Sure"});
  story.Answers("Really? Tom & Jerry?", "?", "No");
  story.Answers("Done", "i", "OK");
  story.SeesEnd();
  EXPECT_EQ(typed, "żółw");
  EXPECT_EQ(answer, MessageAnswer::kNo);
}

// A file picker is the system's own where there is one; what it looks like is its affair.
void TheSystemPicksFiles(Story& story) {
  std::string picked = "unchanged";
  story.Start([&] {
    picked = story.desktop().PickFile({"Pick", "Text (*.txt)|*.txt| All (*.*)|*.*|", ""});
  });
  story.SeesWindows({"Pick"});
  story.PickFile("");
  story.SeesEnd();
  EXPECT_EQ(picked, "");
}

}  // namespace

std::vector<FormStory> FormStories() {
  return {
      {"ShowsWhatThereIs", ShowsWhatThereIs},
      {"TheOneLeftMayKeepTheFocus", TheOneLeftMayKeepTheFocus},
      {"KeysGoWhereTheyShould", KeysGoWhereTheyShould},
      {"WhatIsDisabledOrHiddenCannotBeUsed", WhatIsDisabledOrHiddenCannotBeUsed},
      {"OnlyTheTopFormTakesInput", OnlyTheTopFormTakesInput},
      {"TheFrameAsksFirst", TheFrameAsksFirst},
      {"ALoadedFormMayBeLoadedAgain", ALoadedFormMayBeLoadedAgain},
      {"RowsAreChosenOnce", RowsAreChosenOnce},
      {"WhatChangesIsSeen", WhatChangesIsSeen},
      {"TabsTurnPages", TabsTurnPages},
      {"AFormThatLoadsLongIsSeenWaiting", AFormThatLoadsLongIsSeenWaiting},
      {"AFormThatIsLoadingMayAskOrGiveUp", AFormThatIsLoadingMayAskOrGiveUp},
      {"WhatFillsGrowsWithTheForm", WhatFillsGrowsWithTheForm},
      {"CaptionsMayChangeAndHaveTooltips", CaptionsMayChangeAndHaveTooltips},
      {"WhatIsTallerThanTheScreenCanBeReached", WhatIsTallerThanTheScreenCanBeReached},
      {"AListHoldsTensOfThousands", AListHoldsTensOfThousands},
      {"BoxesAskAndAnswer", BoxesAskAndAnswer},
      {"TheSystemPicksFiles", TheSystemPicksFiles},
  };
}

}  // namespace vespro
