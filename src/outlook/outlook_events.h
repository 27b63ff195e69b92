// outlook/outlook_events.h - Outlook's and Office's events that the add-in hears. The interfaces
// are those of Outlook 2000, which all later versions serve too.
#pragma once

#include <windows.h>

namespace vespro {

inline constexpr IID OfOffice(unsigned long first) {
  return {first, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}
inline constexpr IID kExplorerEvents = OfOffice(0x0006304F);
inline constexpr IID kInspectorsEvents = OfOffice(0x00063079);
inline constexpr IID kInspectorEvents = OfOffice(0x0006307D);
inline constexpr IID kButtonEvents = OfOffice(0x000C0351);
inline constexpr IID kComboBoxEvents = OfOffice(0x000C0354);

namespace event_id {
inline constexpr DISPID kActivate = 0xF001;  // of explorers and inspectors
inline constexpr DISPID kDeactivate = 0xF006;
inline constexpr DISPID kClose = 0xF008;
inline constexpr DISPID kBeforeFolderSwitch = 0xF003;  // of explorers: the new folder, cancel
inline constexpr DISPID kNewInspector = 0xF001;        // of all inspectors: the new one
inline constexpr DISPID kClickOrChange = 1;            // of a button or a box
}  // namespace event_id

}  // namespace vespro
