// forms/sample_form.h - for tests only: one of every kind of control that has behaviour of its own,
// and a log of its events.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "forms/form.h"
#include "host/desktop.h"

namespace vespro {

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
    TextNumber.OnChange([this] { TextNumber_Change(); });
    LabelWeb.OnClick([this] { events.push_back("web"); });
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
  // Real keyboards change a text letter by letter.
  void TextNumber_Change() {
    if (!events.empty() && events.back().starts_with("change ")) events.pop_back();
    events.push_back("change " + TextNumber.text());
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

}  // namespace vespro
