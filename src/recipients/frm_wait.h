// recipients/frm_wait.h - what the user sees while a list is read and rewritten. Shown without
// waiting; gone with the object. While it is there no other form takes input.
#pragma once

#include "forms/form.h"
#include "host/add_in.h"

namespace vespro {

class frmWait final : public Form {
 public:
  frmWait() : Form("frmWait", kModuleName) { set_closable(false); }

  Label LabelWait{this, "LabelWait", "... Processing, Please wait ..."};

 private:
  Layout Arrange() override { return Rows({LabelWait}); }
};

}  // namespace vespro
