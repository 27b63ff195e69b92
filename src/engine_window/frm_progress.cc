#include "engine_window/frm_progress.h"

#include <string>

#include "host/add_in.h"
#include "host/desktop.h"
#include "host/tell_user.h"

namespace vespro::engine {
namespace {

constexpr int kColumns = 64;

std::string HowItEnded(int exit) {
  switch (exit) {
    case kExitAllSent:
      return "Finished. Everybody was served.";
    case kExitSomeNotSent:
      return "Finished, but not everybody was served. The report says who.";
    case kExitInterrupted:
      return "Stopped. Nothing is lost; the job can go on.";
    case kExitRunAgain:
      return "Stopped before the end. The job can go on.";
    default:
      return "The job could not be done.";
  }
}

bool CanGoOn(int exit) { return exit == kExitInterrupted || exit == kExitRunAgain; }

// Otherwise every tick would be a new layout.
void SetCaption(Label& label, const std::string& text) {
  const std::string caption = ModCaption::Literal(text);
  if (label.caption() != caption) label.set_caption(caption);
}

void SetVisible(Control& control, bool visible) {
  if (control.visible() != visible) control.set_visible(visible);
}

}  // namespace

frmProgress::frmProgress(Desktop& desktop, Orders orders)
    : Form("frmProgress", kModuleName), desktop_(desktop), orders_(std::move(orders)) {
  for (Label* label : {&LabelSubject, &LabelList, &LabelCounts, &LabelState, &LabelSaid}) {
    label->set_size(kColumns);
  }
  LabelSaid.set_visible(false);
  for (Button* button : {&CmdGoOn, &CmdReport, &CmdClose}) button->set_visible(false);
  CmdGoOn.OnClick([this] { CmdGoOn_Click(); });
  CmdReport.OnClick([this] { CmdReport_Click(); });
  CmdStop.OnClick([this] { CmdStop_Click(); });
  CmdClose.OnClick([this] { Unload(); });
}

Layout frmProgress::Arrange() {
  return Rows({LabelSubject, LabelList, LabelCounts, LabelState, LabelSaid,
               Columns({Space(), CmdGoOn, CmdReport, CmdStop, CmdClose})});
}

void frmProgress::Set(const RunLook& look) {
  look_ = look;
  if (!look.subject.empty()) SetCaption(LabelSubject, look.subject);
  if (!look.list.empty()) SetCaption(LabelList, "To: " + look.list);
  SetCaption(LabelCounts, look.counts);
  std::string said;
  for (const std::string& line : look.said) said += (said.empty() ? "" : "\n") + line;
  SetCaption(LabelSaid, said);
  SetVisible(LabelSaid, !said.empty());
  if (!look.exit.has_value()) {
    std::string state = look.subject.empty() ? "Getting ready..." : "Sending...";
    if (!look.goes_on.empty()) state = "Waiting; goes on at " + look.goes_on + ".";
    if (stops_ > 0) state = "Stopping: what is under way is finished first.";
    SetCaption(LabelState, state);
    return;
  }
  if (leaving_) return Unload();
  SetCaption(LabelState, HowItEnded(*look.exit));
  if (CmdStop.visible()) {
    CmdStop.set_visible(false);
    CmdGoOn.set_visible(CanGoOn(*look.exit));
    CmdReport.set_visible(!look.report.empty());
    CmdClose.set_visible(true);
    SetFocus(CmdClose);
  }
}

bool frmProgress::Form_CloseByFrame() {
  if (look_.exit.has_value()) return true;
  leaving_ = true;
  CmdStop_Click();
  return false;
}

void frmProgress::CmdStop_Click() {
  ++stops_;
  if (stops_ > 2) return;
  orders_.stop();
  // A second click ends it at once: recipients in doubt are unknown in the report then.
  if (stops_ == 1) CmdStop.set_caption("&Stop at once");
  if (stops_ == 2) CmdStop.set_enabled(false);
  Set(RunLook(look_));
}

void frmProgress::CmdGoOn_Click() {
  stops_ = 0;
  for (Button* button : {&CmdGoOn, &CmdReport, &CmdClose}) button->set_visible(false);
  CmdStop.set_caption("&Stop");
  CmdStop.set_enabled(true);
  CmdStop.set_visible(true);
  SetFocus(CmdStop);
  Set({});
  orders_.go_on();
}

void frmProgress::CmdReport_Click() {
  const std::string page = ModFiles::ToUtf8(look_.report);
  if (ShellSucceeded(desktop_.Shell({"open", page}))) return;
  TellUser(desktop_, "The report can't be opened: " + page, MessageIcon::kCritical);
}

}  // namespace vespro::engine
