// merge/frm_mail_merge.h - the user's own three words for the merge list.
#pragma once

#include <functional>
#include <string_view>

#include "forms/form.h"
#include "settings/settings.h"

namespace vespro {

class frmMailMerge final : public Form {
 public:
  // `words_changed` (may be empty) is called when the words are stored; it brings the merge lists
  // of the open compose windows up to date. What is passed by reference must outlive the dialog.
  frmMailMerge(Desktop& desktop, Settings& settings, std::function<void()> words_changed);

  Image ImageTip{this, "ImageTip", {Icon::Kind::kResource, "TIP"}};
  Label LabelHeading{this, "LabelHeading", "Frequently Used Phases", Label::Style::kHeading};
  Label LabelDesc{this, "LabelDesc",
                  "Add frequently used words  to the Mail Merge pull down list."};
  Label Label2{this, "Label2", "Frequent Word 1"};
  TextBox TextMailMerge1{this, "TextMailMerge1"};
  Label Label3{this, "Label3", "Frequent Word 2"};
  TextBox TextMailMerge2{this, "TextMailMerge2"};
  Label Label4{this, "Label4", "Frequent Word 3"};
  TextBox TextMailMerge3{this, "TextMailMerge3"};
  Button OKButton{this, "OKButton", "OK"};
  Button CancelButton{this, "CancelButton", "Cancel"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void OKButton_Click();

  Desktop& desktop_;
  Settings& settings_;
  std::function<void()> words_changed_;
};

}  // namespace vespro
