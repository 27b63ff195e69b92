#include "stories/memory_ribbons.h"

#include <algorithm>
#include <utility>

#include "addin/ribbon_callbacks.h"
#include "base/text.h"

namespace vespro {
namespace {

constexpr char kMainRibbon[] = "Microsoft.Outlook.Explorer";
constexpr char kComposeRibbon[] = "Microsoft.Outlook.Mail.Compose";

const RibbonCallback* Find(const std::string& name) {
  const auto all = RibbonCallbacks();
  const auto found = std::find_if(all.begin(), all.end(), [&](const RibbonCallback& callback) {
    return callback.name == name;
  });
  return found == all.end() ? nullptr : &*found;
}

RibbonAnswer AnswerOf(const RibbonValue& value) {
  struct {
    RibbonAnswer operator()(std::monostate) const { return {}; }
    RibbonAnswer operator()(bool truth) const { return truth; }
    RibbonAnswer operator()(std::int32_t number) const { return static_cast<int>(number); }
    RibbonAnswer operator()(const std::string& text) const { return text; }
    RibbonAnswer operator()(const RibbonPicture& picture) const {
      return std::string(picture.resource);
    }
  } convert;
  return std::visit(convert, value);
}

}  // namespace

MemoryRibbons::MemoryRibbons(MemoryClient& client) : client_(client) {
  client_.on_show = [this](const std::string& window, bool is_explorer) {
    Show(window, is_explorer);
  };
}

void MemoryRibbons::Attach(Connect& connect) {
  connect_ = &connect;
  for (const std::string& window : client_.WindowNames()) Show(window, client_.IsExplorer(window));
}

void MemoryRibbons::Detach() {
  connect_ = nullptr;
  described_.clear();
  views_.clear();
}

std::shared_ptr<RibbonView> MemoryRibbons::In(const std::string& window) const {
  const auto found = views_.find(window);
  return found == views_.end() ? nullptr : found->second;
}

void MemoryRibbons::Ask(const std::string& ribbon_id, const char* tab) {
  if (!described_.emplace(ribbon_id, nullptr).second) return;
  const std::string xml = connect_->GetCustomUI(ribbon_id);
  if (xml.empty()) return;
  Result<RibbonNode> read =
      ParseRibbon(xml, tab, [](const std::string& name) { return Find(name) != nullptr; });
  if (!read.ok()) return client_.calls().faults.push_back(read.status().text());
  described_[ribbon_id] = std::make_shared<const RibbonNode>(std::move(read).value());
  const RibbonCallback& load = *Find((*described_[ribbon_id])["onLoad"]);
  connect_->RibbonLoad(load.kind, client_.NewRibbon([this](const std::string& id) {
    for (const auto& [window, view] : views_) view->InvalidateControl(id);
  }));
}

void MemoryRibbons::Show(const std::string& window, bool is_explorer) {
  views_.erase(window);  // of an earlier one of that name
  if (connect_ == nullptr) return;
  const MemoryItem* item = client_.Item(window);
  if (!is_explorer && (item == nullptr || item->item_class != kMailClass)) return;
  const std::string ribbon_id = is_explorer ? kMainRibbon : kComposeRibbon;
  Ask(ribbon_id, is_explorer ? "TabMail" : "TabNewMailMessage");
  const std::shared_ptr<const RibbonNode> markup = described_[ribbon_id];
  if (markup == nullptr) return;
  const auto view = std::make_shared<RibbonView>(
      markup, [this, window](const std::string& name, const std::string& id,
                             const std::vector<RibbonAnswer>& more) {
        return Answer(window, name, id, more);
      });
  views_[window] = view;
}

Result<RibbonAnswer> MemoryRibbons::Answer(const std::string& window, const std::string& name,
                                           const std::string& id,
                                           const std::vector<RibbonAnswer>& more) {
  const RibbonCallback& callback = *Find(name);
  if (connect_ == nullptr) return Status(Code::kUnavailable, "the add-in is gone");
  RibbonCall call;
  call.id = id;
  call.window = connect_->OnRibbonOf(client_.InspectorOf(window).get());
  for (const RibbonAnswer& value : more) {
    if (const int* number = std::get_if<int>(&value)) call.index = *number;
    if (const auto* text = std::get_if<std::string>(&value)) call.text = *text;
  }
  const std::optional<RibbonValue> answer = callback.answer(call);
  if (!answer) return Status(Code::kUnavailable, "the add-in refuses");
  return AnswerOf(*answer);
}

}  // namespace vespro
