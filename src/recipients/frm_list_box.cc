#include "recipients/frm_list_box.h"

#include <string>
#include <string_view>

#include "base/lines.h"
#include "base/text.h"
#include "recipients/list_text.h"

namespace vespro {
namespace {

// The longest address there can be (RFC 5321, section 4.5.3.1); a line of a list may be anything.
constexpr std::size_t kMaxEntryBytes = 64 + 1 + 255;

}  // namespace

FrmListBox::FrmListBox() : Form("FrmListBox", "Emails Removed") {
  ListShow.set_size(50, 10);
  set_default(CmdClose);
  set_cancel(CmdClose);
  CmdClose.OnClick([this] { Unload(); });
}

Layout FrmListBox::Arrange() {
  return Rows({LabelHeading, ListShow, LabelDesc, Columns({Space(), CmdClose, Space()})});
}

void FrmListBox::Fill(const ModRecipients::Loaded& loaded) {
  ListShow.Clear();
  std::string_view rest = loaded.duplicate_addresses;
  std::string_view address;
  while (ListShow.rows().size() < kMaxEntries && NextLine(rest, address)) {
    if (!address.empty()) ListShow.AddItem(ModText::Printable(ListText(address), kMaxEntryBytes));
  }
  const std::size_t shown = ListShow.rows().size();
  LabelDesc.set_caption(loaded.duplicates > shown
                            ? "\r\nFound too many duplicates, only " + std::to_string(shown) +
                                  " are shown."
                            : "Found and removed " + std::to_string(loaded.duplicates) +
                                  " email duplicates, as shown.");
}

}  // namespace vespro
