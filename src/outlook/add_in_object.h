// outlook/add_in_object.h - the object that Outlook makes of our class: it connects the add-in, and
// gives ribbons to those Outlooks that ask for them. One thread: Outlook's own.
#pragma once

#include <windows.h>

#include <filesystem>
#include <memory>
#include <optional>

#include "outlook/com_object.h"
#include "outlook/extensibility.h"
#include "outlook/host_context.h"
#include "outlook/ribbon_extensibility.h"

namespace vespro {

// The number at the lower bound of the array that Outlook hands over; nothing where there is no
// array, no element or no number.
std::optional<int> FirstNumber(SAFEARRAY* custom);

// Where the add-in's files are, for a DLL of that path: its folder or, where that is the one of a
// processor's, the folder above.
std::filesystem::path InstallFolder(const std::filesystem::path& dll);

class AddInObject final : public ComObject<IDTExtensibility2> {
 public:
  AddInObject(ModuleUse& use, std::filesystem::path install_folder)
      : ComObject(use), install_folder_(std::move(install_folder)) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
  STDMETHODIMP GetTypeInfoCount(UINT* count) override;
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID language,
                             DISPID* ids) override;
  STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID language, WORD flags, DISPPARAMS* arguments,
                      VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) override;

  STDMETHODIMP OnConnection(IDispatch* application, std::int32_t connect_mode, IDispatch* instance,
                            SAFEARRAY** custom) override;
  STDMETHODIMP OnDisconnection(std::int32_t remove_mode, SAFEARRAY** custom) override;
  STDMETHODIMP OnAddInsUpdate(SAFEARRAY**) override { return S_OK; }
  STDMETHODIMP OnStartupComplete(SAFEARRAY** custom) override;
  STDMETHODIMP OnBeginShutdown(SAFEARRAY**) override { return S_OK; }

 private:
  class Connection;

// COM's interfaces have no virtual destructors.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

  // Each of the two interfaces has numbers of its own for its functions. The names that our ribbons
  // have Office call have the same numbers in both, since Office may ask either.
  class RibbonExtensibility final : public IRibbonExtensibility {
   public:
    explicit RibbonExtensibility(AddInObject& owner) : owner_(owner) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
      return owner_.QueryInterface(iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }
    STDMETHODIMP GetTypeInfoCount(UINT* count) override { return owner_.GetTypeInfoCount(count); }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID language,
                               DISPID* ids) override;
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID language, WORD flags, DISPPARAMS* arguments,
                        VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) override;
    STDMETHODIMP GetCustomUI(BSTR ribbon_id, BSTR* xml) override;

   private:
    AddInObject& owner_;
  };

#pragma GCC diagnostic pop

  ~AddInObject() override;
  // Makes what a connection lives on, before the first need of it.
  std::shared_ptr<Connection> Prepare();
  HRESULT Disconnect(const char* why);

  const std::filesystem::path install_folder_;
  std::shared_ptr<Connection> connection_;  // handlers that run keep it, too
  std::shared_ptr<const HostContext> context_;
  bool asked_for_ribbons_ = false;
  RibbonExtensibility ribbon_extensibility_{*this};
};

}  // namespace vespro
