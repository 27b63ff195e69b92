// outlook/outlook_windows.h - Outlook's windows behind host/mail_client.h. One thread: Outlook's
// own.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "host/mail_client.h"
#include "outlook/event_sink.h"
#include "outlook/host_context.h"

namespace vespro {

class OutlookInspector final : public Inspector, private EventReceiver {
 public:
  explicit OutlookInspector(HostObject window);

  const void* Identity() const override { return identity_.get(); }
  EditorType Editor() const override;
  Result<bool> IsWordMail() const override;
  std::shared_ptr<MailItem> CurrentItem() override;
  std::shared_ptr<CommandBars> Bars() override;
  // By the Paste command in the window's Edit menu, found by their numbers: captions are
  // translated. A ribbon has no such menu, but takes the command by name.
  Status PasteAtCaret() override;
  void Listen(InspectorEvents events) override;

 private:
  void OnEvent(DISPID id, const DISPPARAMS& arguments) override;

  HostObject window_;
  ComPtr<IUnknown> identity_;
  InspectorEvents events_;
  EventConnection connection_;
};

class OutlookExplorer final : public Explorer, private EventReceiver {
 public:
  explicit OutlookExplorer(HostObject window) : window_(std::move(window)) {}

  std::shared_ptr<CommandBars> Bars() override;
  void Listen(ExplorerEvents events) override;

 private:
  void OnEvent(DISPID id, const DISPPARAMS& arguments) override;
  std::optional<int> ItemTypeOf(const DISPPARAMS& arguments) const;

  HostObject window_;
  ExplorerEvents events_;
  EventConnection connection_;
};

class OutlookInspectors final : public Inspectors, private EventReceiver {
 public:
  explicit OutlookInspectors(HostObject all) : all_(std::move(all)) {}

  Result<int> Count() const override;
  void OnNewInspector(std::function<void(std::shared_ptr<Inspector>)> handler) override;

 private:
  void OnEvent(DISPID id, const DISPPARAMS& arguments) override;

  HostObject all_;
  std::function<void(std::shared_ptr<Inspector>)> handler_;
  EventConnection connection_;
};

}  // namespace vespro
