#include "support/frm_about.h"

#include <string>

#include "host/add_in.h"
#include "host/desktop.h"
#include "host/tell_user.h"
#include "support/g_shell.h"
#include "support/product.h"

namespace vespro {

frmAbout::frmAbout(Desktop& desktop) : Form("frmAbout"), desktop_(desktop) {
  set_default(CmdClose);
  set_cancel(CmdClose);
  LabelWeb.OnClick([this] { LabelWeb_Click(); });
  CmdClose.OnClick([this] { Unload(); });
}

Layout frmAbout::Arrange() {
  return Rows({Columns({ImageLogo, Fill(Rows({LabelTitle, LabelVersion, LabelContact, LabelWeb}))}),
               Columns({Space(), CmdClose})});
}

void frmAbout::Form_Load() {
  set_caption(std::string("About ") + kModuleName);
  LabelVersion.set_caption(std::string("Version ") + product::kVersion + " " + product::kRemark);
  LabelContact.set_caption(product::kContact);
  LabelContact.set_tooltip("Make sure to include diagnostic information with the email");
  LabelWeb.set_caption(product::kWebAddress);
  SetFocus(CmdClose);
  ImageLogo.set_icon({Icon::Kind::kResource, "VESPRO"});
}

void frmAbout::Form_Unload() { ImageLogo.set_icon({}); }

void frmAbout::LabelWeb_Click() {
  const Status opened = GShell(desktop_, product::kWebAddress, kDefaultWindow, "", "", "open");
  if (opened.ok()) return;
  desktop_.Log(std::string(kGShellSource) + ": " + opened.text());
  TellUser(desktop_, opened.text(), MessageIcon::kCritical);
}

}  // namespace vespro
