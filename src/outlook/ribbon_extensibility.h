// outlook/ribbon_extensibility.h - how later Outlooks ask an add-in for ribbons.
#pragma once

#include <windows.h>

#include <oaidl.h>

namespace vespro {

// COM's interfaces have no virtual destructors.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Scripts call it by the number 1.
struct IRibbonExtensibility : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR ribbon_id, BSTR* xml) = 0;
};

#pragma GCC diagnostic pop

}  // namespace vespro

__CRT_UUID_DECL(vespro::IRibbonExtensibility, 0x000C0396, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00,
                0x00, 0x00, 0x00, 0x46)
