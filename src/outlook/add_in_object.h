// outlook/add_in_object.h - the object that Outlook makes of our class: it connects the add-in. One
// thread: Outlook's own.
#pragma once

#include <windows.h>

#include <filesystem>
#include <memory>
#include <optional>

#include "outlook/com_object.h"
#include "outlook/extensibility.h"

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
  STDMETHODIMP OnStartupComplete(SAFEARRAY**) override { return S_OK; }
  STDMETHODIMP OnBeginShutdown(SAFEARRAY**) override { return S_OK; }

 private:
  class Connection;

  ~AddInObject() override;
  HRESULT Disconnect(const char* why);

  const std::filesystem::path install_folder_;
  std::shared_ptr<Connection> connection_;  // handlers that run keep it, too
};

}  // namespace vespro
