#include "support/frm_diagnostics.h"

#include <memory>

#include "host/desktop.h"
#include "host/hourglass.h"
#include "host/mail_client.h"
#include "support/diagnostic_report.h"
#include "support/product.h"

namespace vespro {

frmDiagnostics::frmDiagnostics(AddIn& add_in, const Settings& settings, SystemFacts& system)
    : Form("frmDiagnostics", "Technical Support"),
      add_in_(add_in),
      settings_(settings),
      system_(system) {
  LabelNote.set_size(64);
  TextInfo.set_size(64, 15);
  set_resizable(true);
  set_default(OKButton);
  set_cancel(OKButton);
  CmdSendReport.OnClick([this] { CmdSendReport_Click(); });
  OKButton.OnClick([this] { Unload(); });
}

Layout frmDiagnostics::Arrange() {
  return Rows(
      {LabelHeading, LabelNote, Fill(TextInfo), Columns({Space(), CmdSendReport, OKButton})});
}

void frmDiagnostics::Form_Load() {
  const Hourglass hourglass(*add_in_.desktop);
  TextInfo.set_text(ModDiagnostics::Report(add_in_, settings_, system_));
}

// Nothing is said of a failure; the report stays where it can be copied.
void frmDiagnostics::CmdSendReport_Click() {
  const Hourglass hourglass(*add_in_.desktop);
  const std::shared_ptr<MailClient> client = add_in_.mail_client;
  if (client == nullptr) return;
  const Result<std::shared_ptr<MailItem>> created = client->NewMail();
  if (!created.ok()) return add_in_.desktop->Log(created.status().text());
  const std::shared_ptr<MailItem>& mail = created.value();
  Status done = mail->SetTo(product::kSupportMailbox);
  if (done.ok()) done = mail->SetBody(ModDiagnostics::MailBody(TextInfo.text()));
  if (!done.ok()) return add_in_.desktop->Log(done.text());
  Unload();
  if (done = mail->Display(); !done.ok()) add_in_.desktop->Log(done.text());
}

}  // namespace vespro
