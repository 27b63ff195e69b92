// outlook/ribbon_callbacks.h - the add-in's callbacks (addin/ribbon_callbacks.h) as Office calls
// them in our own object. One thread: Outlook's own.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <memory>
#include <optional>
#include <string_view>

#include "addin/connect.h"
#include "outlook/host_context.h"

namespace vespro::ModRibbonCallbacks {

// Numbers of callbacks begin here, above those of the add-in's interfaces.
inline constexpr DISPID kFirst = 100;

// The callback of that name, without regard to case; nothing where there is none.
std::optional<DISPID> Find(std::wstring_view name);

// Calls it. `result` may be null. DISP_E_MEMBERNOTFOUND, DISP_E_BADPARAMCOUNT, DISP_E_TYPEMISMATCH,
// DISP_E_BADINDEX as any object's; E_INVALIDARG for a control that is not ours or in no window of
// ours. Where no ribbon of ours was asked for, or the add-in was disconnected, nothing is asked of
// Outlook, and it is as if there were no such control.
HRESULT Invoke(DISPID id, const DISPPARAMS& arguments, VARIANT* result, Connect& connect,
               const std::shared_ptr<const HostContext>& context);

}  // namespace vespro::ModRibbonCallbacks
