#include "merge/frm_mail_merge.h"

#include <utility>

#include "settings/store_trimmed.h"

namespace vespro {

frmMailMerge::frmMailMerge(Desktop& desktop, Settings& settings,
                           std::function<void()> words_changed)
    : Form("frmMailMerge", "MailMerge With Vespro"),
      desktop_(desktop),
      settings_(settings),
      words_changed_(std::move(words_changed)) {
  TextMailMerge1.set_size(36);
  set_default(OKButton);
  set_cancel(CancelButton);
  OKButton.OnClick([this] { OKButton_Click(); });
  CancelButton.OnClick([this] { Unload(); });
}

Layout frmMailMerge::Arrange() {
  return Rows({Columns({ImageTip, Fill(Rows({LabelHeading, LabelDesc}))}),
               Grid(2, {Label2, Fill(TextMailMerge1), Label3, Fill(TextMailMerge2), Label4,
                        Fill(TextMailMerge3)}),
               Columns({Space(), OKButton, CancelButton})});
}

void frmMailMerge::Form_Load() {
  TextMailMerge1.set_text(settings_.Read(setting::kCustomWord1));
  TextMailMerge2.set_text(settings_.Read(setting::kCustomWord2));
  TextMailMerge3.set_text(settings_.Read(setting::kCustomWord3));
}

void frmMailMerge::OKButton_Click() {
  StoreTrimmed(desktop_, settings_, setting::kCustomWord1, TextMailMerge1.text());
  StoreTrimmed(desktop_, settings_, setting::kCustomWord2, TextMailMerge2.text());
  StoreTrimmed(desktop_, settings_, setting::kCustomWord3, TextMailMerge3.text());
  if (words_changed_) words_changed_();
  Unload();
}

}  // namespace vespro
