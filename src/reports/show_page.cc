#include "reports/show_page.h"

#include <memory>

#include "base/files.h"
#include "host/mail_client.h"
#include "support/g_shell.h"

namespace vespro {
namespace {

constexpr int kAddressBox = 1740;  // the mail client's own number for it

Status NoWebBar() { return Status(Code::kUnavailable, "the main window has no Web bar"); }

Status ShowInMainWindow(AddIn& add_in, const std::string& address) {
  const std::shared_ptr<MailClient> client = add_in.mail_client;  // it may end below
  const std::shared_ptr<Explorer> explorer = client != nullptr ? client->ActiveExplorer() : nullptr;
  const std::shared_ptr<CommandBars> bars = explorer != nullptr ? explorer->Bars() : nullptr;
  const std::shared_ptr<CommandBar> web = bars != nullptr ? bars->Item("Web") : nullptr;
  if (web == nullptr) return NoWebBar();
  ControlQuery query;
  query.id = kAddressBox;
  const auto box = std::dynamic_pointer_cast<CommandBarComboBox>(web->Find(query));
  if (box == nullptr) return NoWebBar();
  if (Status status = box->SetText(address); !status.ok()) return status;
  if (Status status = box->Execute(); !status.ok()) return status;
  web->SetVisible(true).Ignore();  // the page is there all the same
  return {};
}

}  // namespace

Status ShowPage(AddIn& add_in, const std::filesystem::path& page) {
  const std::string path = ModFiles::ToUtf8(page);
  if (ShowInMainWindow(add_in, "file://" + path).ok()) return {};
  return GShell(*add_in.desktop, path, kDefaultWindow, "", "", "open");
}

}  // namespace vespro
