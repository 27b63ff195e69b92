// support/frm_about.h - which version this is, who answers questions, and the makers' web site.
#pragma once

#include "forms/form.h"

namespace vespro {

class frmAbout final : public Form {
 public:
  // `desktop` must outlive the dialog.
  explicit frmAbout(Desktop& desktop);

  Image ImageLogo{this, "ImageLogo"};
  Label LabelTitle{this, "LabelTitle", "Vespro", Label::Style::kHeading};
  Label LabelVersion{this, "LabelVersion"};
  Label LabelContact{this, "LabelContact"};
  Label LabelWeb{this, "LabelWeb", {}, Label::Style::kLink};
  Button CmdClose{this, "CmdClose", "&Close"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void Form_Unload() override;
  void LabelWeb_Click();

  Desktop& desktop_;
};

}  // namespace vespro
