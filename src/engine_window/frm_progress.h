// engine_window/frm_progress.h - how far a run of the engine is, Stop, and how it ended.
#pragma once

#include <functional>

#include "engine_window/run_board.h"
#include "forms/form.h"

namespace vespro::engine {

class frmProgress final : public Form {
 public:
  // What the window asks of the run.
  struct Orders {
    std::function<void()> stop;   // end in order; a second time, end at once
    std::function<void()> go_on;  // the run has ended: do the rest of the job
  };

  // `desktop` must outlive the dialog.
  frmProgress(Desktop& desktop, Orders orders);

  // Shows this from now on. A window that the user closed goes when the run has ended.
  void Set(const RunLook& look);

  Label LabelSubject{this, "LabelSubject", "Vespro", Label::Style::kHeading};
  Label LabelList{this, "LabelList"};
  Label LabelCounts{this, "LabelCounts"};
  Label LabelState{this, "LabelState", "Getting ready..."};
  Label LabelSaid{this, "LabelSaid"};
  Button CmdGoOn{this, "CmdGoOn", "&Go on"};
  Button CmdReport{this, "CmdReport", "Show &report"};
  Button CmdStop{this, "CmdStop", "&Stop"};
  Button CmdClose{this, "CmdClose", "&Close"};

 private:
  Layout Arrange() override;
  bool Form_CloseByFrame() override;
  void CmdStop_Click();
  void CmdGoOn_Click();
  void CmdReport_Click();

  Desktop& desktop_;
  const Orders orders_;
  RunLook look_;
  int stops_ = 0;         // how often it was asked for
  bool leaving_ = false;  // the user wants it gone
};

}  // namespace vespro::engine
