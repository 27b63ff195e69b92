#include "addin/ribbon_callbacks.h"

namespace vespro {
namespace {

using Answer = std::optional<RibbonValue>;

std::shared_ptr<const RibbonComboBox> MergeList(const RibbonCall& call) {
  const bool is_list = call.window != nullptr && call.id == kRibbonMergeList;
  return is_list ? call.window->ribbon_merge_list() : nullptr;
}

Answer GetVisible(const RibbonCall& call) { return RibbonValue(call.window != nullptr); }

Answer GetImage(const RibbonCall& call) {
  const std::optional<RibbonPicture> picture = RibbonPictureOf(call.id, MyAddIn::Commands());
  return picture ? Answer(*picture) : std::nullopt;
}

Answer OnAction(const RibbonCall& call) {
  const bool clicked = call.window != nullptr && call.window->RibbonClick(call.id);
  return clicked ? Answer(RibbonValue()) : std::nullopt;
}

Answer GetEnabled(const RibbonCall& call) {
  const auto list = MergeList(call);
  return list == nullptr ? std::nullopt : Answer(list->Enabled());
}

Answer GetItemCount(const RibbonCall& call) {
  const auto list = MergeList(call);
  return list == nullptr ? std::nullopt : Answer(static_cast<std::int32_t>(list->items().size()));
}

Answer GetItemLabel(const RibbonCall& call) {
  const auto list = MergeList(call);
  const auto at = static_cast<std::size_t>(call.index);
  if (list == nullptr || call.index < 0 || at >= list->items().size()) return std::nullopt;
  return list->items()[at];
}

Answer GetText(const RibbonCall& call) {
  const auto list = MergeList(call);
  return list == nullptr ? std::nullopt : Answer(list->Text());
}

Answer OnChange(const RibbonCall& call) {
  const bool changed = MergeList(call) != nullptr && call.window->RibbonChange(call.text);
  return changed ? Answer(RibbonValue()) : std::nullopt;
}

using Takes = RibbonCallback::Takes;
constexpr RibbonCallback kCallbacks[] = {
    {ribbon_callback::kMainLoad, Takes::kRibbon, nullptr, RibbonKind::kMainWindow},
    {ribbon_callback::kComposeLoad, Takes::kRibbon, nullptr, RibbonKind::kComposeWindow},
    {ribbon_callback::kGetVisible, Takes::kControl, GetVisible},
    {ribbon_callback::kGetImage, Takes::kControl, GetImage},
    {ribbon_callback::kOnAction, Takes::kControl, OnAction},
    {ribbon_callback::kGetEnabled, Takes::kControl, GetEnabled},
    {ribbon_callback::kGetItemCount, Takes::kControl, GetItemCount},
    {ribbon_callback::kGetItemLabel, Takes::kControlAndIndex, GetItemLabel},
    {ribbon_callback::kGetText, Takes::kControl, GetText},
    {ribbon_callback::kOnChange, Takes::kControlAndText, OnChange},
};

}  // namespace

std::span<const RibbonCallback> RibbonCallbacks() { return kCallbacks; }

}  // namespace vespro
