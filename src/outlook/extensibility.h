// outlook/extensibility.h - how Outlook knows the add-in, and what it calls in it.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <cstdint>

namespace vespro {

inline constexpr char kProgId[] = "Vespro.Connect";
inline constexpr CLSID kClassId = {
    0x2776c028, 0x9aa2, 0x4cf7, {0xb4, 0x49, 0xbf, 0xd2, 0x3f, 0x4e, 0xe5, 0xad}};
inline constexpr char kClassIdText[] = "{2776C028-9AA2-4CF7-B449-BFD23F4EE5AD}";

// COM's interfaces have no virtual destructors.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The order of the functions is that of the table by which Outlook calls them; scripts call them by
// the numbers 1 to 5.
struct IDTExtensibility2 : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, std::int32_t connect_mode,
                                                 IDispatch* instance, SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnDisconnection(std::int32_t remove_mode,
                                                    SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};

#pragma GCC diagnostic pop

}  // namespace vespro

__CRT_UUID_DECL(vespro::IDTExtensibility2, 0xB65AD801, 0xABAF, 0x11D0, 0xBB, 0x8B, 0x00, 0xA0, 0xC9,
                0x0F, 0x27, 0x44)
