// windows_forms/gallery.h - a form with every kind of control, to look at.
#pragma once

#include "forms/form.h"

namespace vespro {

class frmGallery final : public Form {
 public:
  // `page` is shown first, from 0.
  explicit frmGallery(int page = 0);

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void ShowPage();

  const int first_page_;

  TabStrip TabPages{this, "TabPages"};
  Frame FramePeople{this, "FramePeople", "People"};
  Image ImageServer{this, "ImageServer", {Icon::Kind::kResource, "SERVER"}};
  Label LabelHelp{this, "LabelHelp"};
  Label LabelName{this, "LabelName", "&Name:"};
  TextBox TextName{this, "TextName"};
  Label LabelPassword{this, "LabelPassword", "&Password:"};
  TextBox TextPassword{this, "TextPassword", TextBox::Style::kMasked};
  Label LabelOff{this, "LabelOff", "Not in use:"};
  TextBox TextOff{this, "TextOff"};
  Label LabelAccount{this, "LabelAccount", "&Account:"};
  ComboBox ComboAccount{this, "ComboAccount", "Choose one"};
  Frame FrameMode{this, "FrameMode", "&Mode"};
  OptionButton OptionOne{this, "OptionOne", "&One letter each"};
  OptionButton OptionTwo{this, "OptionTwo", "One letter for all, with many &recipients"};
  CheckBox CheckLog{this, "CheckLog", "Keep a &log file"};
  CheckBox CheckOff{this, "CheckOff", "Something that can't be had"};
  TextBox TextNote{this, "TextNote", TextBox::Style::kMultiLine};
  TextBox TextTerms{this, "TextTerms", TextBox::Style::kMultiLineReadOnly};

  Frame FrameFiles{this, "FrameFiles", "Files"};
  ListView ListFiles{this, "ListFiles", {{"Name", 24}, {"Size", 10}, {"Folder", 24}}};
  ListBox ListWords{this, "ListWords"};
  Image ImageTip{this, "ImageTip", {Icon::Kind::kResource, "TIP"}};
  Image ImageConnection{this, "ImageConnection", {Icon::Kind::kResource, "CONNECTION"}};
  Image ImageInfo{this, "ImageInfo", {Icon::Kind::kResource, "MAILINFO"}};
  Image ImageInbox{this, "ImageInbox", {Icon::Kind::kResource, "MAILINBOX"}};
  Image ImageClip{this, "ImageClip", {Icon::Kind::kResource, "PAPERCLIP"}};
  Image ImageVespro{this, "ImageVespro", {Icon::Kind::kResource, "VESPRO"}};

  Label LabelWeb{this, "LabelWeb", "www.example.org", Label::Style::kLink};
  Button CmdOk{this, "CmdOk", "OK"};
  Button CmdMore{this, "CmdMore", "A &rather long caption >>"};
  Button CmdOff{this, "CmdOff", "&Off"};
  Button CmdClose{this, "CmdClose", "&Close"};
};

}  // namespace vespro
