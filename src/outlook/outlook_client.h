// outlook/outlook_client.h - Outlook behind host/mail_client.h, late bound: any version from 2000
// on. One thread: Outlook's own.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "host/mail_client.h"
#include "outlook/host_context.h"

namespace vespro {

class OutlookClient final : public MailClient {
 public:
  // The Application object that Outlook gave the add-in: what is reached from it is trusted.
  OutlookClient(ComPtr<IDispatch> application, std::shared_ptr<const HostContext> context);

  std::string Version() const override;
  std::shared_ptr<Inspector> ActiveInspector() override;
  std::shared_ptr<Explorer> ActiveExplorer() override;
  std::shared_ptr<vespro::Inspectors> Inspectors() override;
  Result<int> ExplorerCount() const override;
  Result<std::shared_ptr<MailItem>> NewMail() override;

  // Outlook's window in front; nullptr where that can't be had.
  HWND ActiveWindow() const;

 private:
  HostObject application_;
};

}  // namespace vespro
