// support/frm_diagnostics.h - the diagnostic report, to be read, copied, or sent to the makers in a
// mail that the user sees first. Nothing is stored.
#pragma once

#include "forms/form.h"
#include "host/add_in.h"
#include "settings/settings.h"
#include "support/system_facts.h"

namespace vespro {

class frmDiagnostics final : public Form {
 public:
  // What is passed must outlive the dialog.
  frmDiagnostics(AddIn& add_in, const Settings& settings, SystemFacts& system);

  Label LabelHeading{this, "LabelHeading", "System Information", Label::Style::kHeading};
  Label LabelNote{this, "LabelNote",
                  "The following information should be forwarded to Tandrelix to ensure prompt "
                  "technical assistance."};
  TextBox TextInfo{this, "TextInfo", TextBox::Style::kMultiLineReadOnly};
  Button CmdSendReport{this, "CmdSendReport", "&Send Report"};
  Button OKButton{this, "OKButton", "&Close"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void CmdSendReport_Click();

  AddIn& add_in_;
  const Settings& settings_;
  SystemFacts& system_;
};

}  // namespace vespro
