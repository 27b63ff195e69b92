// recipients/frm_list_box.h - the duplicates that were taken out of a list.
#pragma once

#include <cstddef>

#include "forms/form.h"
#include "recipients/load.h"

namespace vespro {

class FrmListBox final : public Form {
 public:
  // More entries a native list does not hold.
  static constexpr std::size_t kMaxEntries = 32701;

  FrmListBox();
  // One entry per duplicate, in the order found, and the sentence about them. Before it is shown.
  // Costs the same for any number of duplicates beyond kMaxEntries.
  void Fill(const ModRecipients::Loaded& loaded);

  Label LabelHeading{this, "LabelHeading", "Duplicate Email Address"};
  ListBox ListShow{this, "ListShow"};
  Label LabelDesc{this, "LabelDesc"};
  Button CmdClose{this, "CmdClose", "&Close"};

 private:
  Layout Arrange() override;
};

}  // namespace vespro
