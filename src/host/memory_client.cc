#include "host/memory_client.h"

#include <algorithm>

#include "base/files.h"
#include "base/text.h"

namespace vespro {

void MemoryCalls::FailAt(std::string_view name, int n) {
  fail_name_ = name;
  fail_in_ = n;
}

void MemoryCalls::MeanwhileAt(int n, std::function<void()> event) {
  meanwhile_in_ = n;
  meanwhile_ = std::move(event);
}

void MemoryCalls::Begin() {
  ++count;
  if (meanwhile_in_ > 0 && --meanwhile_in_ == 0) std::exchange(meanwhile_, nullptr)();
}

bool MemoryCalls::Make(const std::string& name, const std::string& details, bool gone) {
  if (ended_) faults.push_back(name + " " + details);
  return Note(name, details, gone);
}

bool MemoryCalls::MakeElsewhere(const std::string& name, const std::string& details) {
  Begin();
  return Note(name, details, false);
}

bool MemoryCalls::Note(const std::string& name, const std::string& details, bool gone) {
  const bool fails = fail_in_ > 0 && (fail_name_.empty() || fail_name_ == name) && --fail_in_ == 0;
  lines.push_back(name + (details.empty() ? "" : " " + details) +
                  (gone    ? " -> gone"
                   : fails ? " -> fails"
                           : ""));
  return !fails && !gone;
}

struct MemoryClient::Window {
  Window(MemoryOffice& office, std::string window_name, bool is_explorer)
      : name(std::move(window_name)), explorer(is_explorer), bars(office) {}

  const std::string name;
  const bool explorer;
  bool closing = false;
  bool closed = false;
  MemoryCommandBars bars;
  std::shared_ptr<MemoryItem> item;  // of an inspector
  std::vector<std::weak_ptr<Listener<ExplorerEvents>>> explorer_events;
  std::vector<std::weak_ptr<Listener<InspectorEvents>>> inspector_events;
};

struct MemoryClient::ControlListener {
  ControlListener(std::shared_ptr<Window> in, std::shared_ptr<CommandBarControl> of,
                  std::function<void()> told)
      : window(std::move(in)), control(std::move(of)), handler(std::move(told)) {}
  std::shared_ptr<Window> window;
  std::shared_ptr<CommandBarControl> control;
  std::function<void()> handler;
};

// What the add-in holds of the mail client. Every object counts by its kind, and goes through
// Works or Did with each call.
class MemoryClientParts {
 public:
  using Window = MemoryClient::Window;
  using ControlListener = MemoryClient::ControlListener;
  template <class Events>
  using Listener = MemoryClient::Listener<Events>;
  using NewInspector = MemoryClient::NewInspector;

  class Part {
   public:
    Part(MemoryClient& part_of, std::string kind, std::shared_ptr<Window> window)
        : client(part_of),
          calls_(part_of.calls_),
          kind_(std::move(kind)),
          window_(std::move(window)) {
      ++calls_->held[kind_];
    }
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;
    virtual ~Part() {
      if (--calls_->held[kind_] == 0) calls_->held.erase(kind_);
    }

   protected:
    // Whether the call of that method has an effect.
    bool Works(const char* method, std::string_view argument = {}) const {
      calls_->Begin();
      std::string details = window_ == nullptr ? "" : window_->name;
      for (const std::string& more : {Label(), std::string(argument)}) {
        if (!more.empty()) details += (details.empty() ? "" : " ") + more;
      }
      return calls_->Make(kind_ + "." + method, details,
                          IsGone() || (window_ != nullptr && window_->closed));
    }
    static Status Failed() { return Status(Code::kUnavailable, "the mail client refuses"); }
    // Which of its kind it is in its window.
    virtual std::string Label() const { return {}; }
    virtual bool IsGone() const { return false; }
    const std::shared_ptr<Window>& window() const { return window_; }

    MemoryClient& client;  // not to be used after the end of events

   private:
    const std::shared_ptr<MemoryCalls> calls_;
    const std::string kind_;
    const std::shared_ptr<Window> window_;
  };

  static std::string Quoted(std::string_view text) {
    return "\"" + ModText::ReplaceAll(text, "\r\n", "\\n") + "\"";
  }

  class Bar;

  template <class Interface>
  class Control : public Interface, public Part {
   public:
    Control(MemoryClient& part_of, const char* kind, std::shared_ptr<Window> window,
            std::shared_ptr<CommandBarControl> below)
        : Part(part_of, kind, std::move(window)), below_(std::move(below)) {}
    ~Control() override { Listen(nullptr); }

    ControlType Type() const override { return Works("Type") ? below_->Type() : ControlType(); }
    int Id() const override { return Works("Id") ? below_->Id() : 0; }
    std::string Caption() const override { return Works("Caption") ? below_->Caption() : ""; }
    std::string Tag() const override { return Works("Tag") ? below_->Tag() : ""; }
    bool Enabled() const override { return Works("Enabled") && below_->Enabled(); }
    bool Visible() const override { return Works("Visible") && below_->Visible(); }
    Status SetCaption(std::string_view text) override {
      return Works("SetCaption", Quoted(text)) ? below_->SetCaption(text) : Failed();
    }
    Status SetTag(std::string_view text) override {
      return Works("SetTag", Quoted(text)) ? below_->SetTag(text) : Failed();
    }
    Status SetOnAction(std::string_view text) override {
      return Works("SetOnAction", Quoted(text)) ? below_->SetOnAction(text) : Failed();
    }
    Status SetTooltipText(std::string_view text) override {
      return Works("SetTooltipText", Quoted(text)) ? below_->SetTooltipText(text) : Failed();
    }
    Status SetBeginGroup(bool begins) override {
      return Works("SetBeginGroup", YesNo(begins)) ? below_->SetBeginGroup(begins) : Failed();
    }
    Status SetEnabled(bool enabled) override {
      return Works("SetEnabled", YesNo(enabled)) ? below_->SetEnabled(enabled) : Failed();
    }
    Status SetVisible(bool visible) override {
      return Works("SetVisible", YesNo(visible)) ? below_->SetVisible(visible) : Failed();
    }
    Status Execute() override {
      if (!Works("Execute")) return Failed();
      Status executed = below_->Execute();
      if (executed.ok()) client.Raise(state().tag);
      return executed;
    }
    Status Delete() override { return Works("Delete") ? below_->Delete() : Failed(); }

   protected:
    MemoryControlState& state() const { return dynamic_cast<MemoryControlState&>(*below_); }
    std::string Label() const override {
      const MemoryControlState& shown = state();
      return Quoted(shown.tag.empty() ? shown.caption : shown.tag);
    }
    bool IsGone() const override { return state().deleted; }
    static const char* YesNo(bool value) { return value ? "yes" : "no"; }
    void Listen(std::function<void()> handler) {
      if (listener_ != nullptr) listener_->handler = nullptr;  // it may be on its way
      listener_ = nullptr;
      if (handler == nullptr) return;
      listener_ = std::make_shared<ControlListener>(window(), below_, std::move(handler));
      std::erase_if(client.controls_, [](const auto& weak) { return weak.expired(); });
      client.controls_.push_back(listener_);
    }
    const std::shared_ptr<CommandBarControl>& below() const { return below_; }

   private:
    const std::shared_ptr<CommandBarControl> below_;
    std::shared_ptr<ControlListener> listener_;
  };

  class Button final : public Control<CommandBarButton> {
   public:
    using Control::Control;
    Status SetStyle(ButtonStyle style) override {
      const bool works = Works("SetStyle", std::to_string(static_cast<int>(style)));
      return works ? Below().SetStyle(style) : Failed();
    }
    Status PasteFace() override {
      if (!Works("PasteFace", client.clipboard_picture)) return Failed();
      return client.clipboard_picture.empty() ? Failed() : Below().PasteFace();
    }
    void OnClick(std::function<void()> handler) override {
      if (Works("OnClick", handler ? "" : "nobody") || !handler) Listen(std::move(handler));
    }

   private:
    CommandBarButton& Below() const { return dynamic_cast<CommandBarButton&>(*below()); }
  };

  class ComboBox final : public Control<CommandBarComboBox> {
   public:
    using Control::Control;
    Status Clear() override { return Works("Clear") ? Below().Clear() : Failed(); }
    Status AddItem(std::string_view text) override {
      return Works("AddItem", Quoted(text)) ? Below().AddItem(text) : Failed();
    }
    std::string Text() const override { return Works("Text") ? Below().Text() : ""; }
    Status SetText(std::string_view text) override {
      return Works("SetText", Quoted(text)) ? Below().SetText(text) : Failed();
    }
    void OnChange(std::function<void()> handler) override {
      if (Works("OnChange", handler ? "" : "nobody") || !handler) Listen(std::move(handler));
    }

   private:
    CommandBarComboBox& Below() const { return dynamic_cast<CommandBarComboBox&>(*below()); }
  };

  class Popup final : public Control<CommandBarPopup> {
   public:
    using Control::Control;
    inline std::shared_ptr<CommandBar> Bar() override;
  };

  static std::shared_ptr<CommandBarControl> Wrap(MemoryClient& client,
                                                 const std::shared_ptr<Window>& window,
                                                 std::shared_ptr<CommandBarControl> below) {
    if (below == nullptr) return nullptr;
    if (dynamic_cast<CommandBarPopup*>(below.get()) != nullptr) {
      return std::make_shared<Popup>(client, "Popup", window, std::move(below));
    }
    if (dynamic_cast<CommandBarComboBox*>(below.get()) != nullptr) {
      return std::make_shared<ComboBox>(client, "ComboBox", window, std::move(below));
    }
    return std::make_shared<Button>(client, "Button", window, std::move(below));
  }

  class Bar final : public CommandBar, public Part {
   public:
    Bar(MemoryClient& part_of, std::shared_ptr<Window> window, std::string label,
        std::shared_ptr<CommandBar> below)
        : Part(part_of, "Bar", std::move(window)),
          label_(std::move(label)),
          below_(std::move(below)) {}

    std::string Name() const override { return Works("Name") ? below_->Name() : ""; }
    std::shared_ptr<CommandBarControl> Find(const ControlQuery& query) override {
      std::string sought;
      if (query.type) sought += " type " + std::to_string(static_cast<int>(*query.type));
      if (query.id) sought += " id " + std::to_string(*query.id);
      if (!query.tag.empty()) sought += " tag " + Quoted(query.tag);
      if (query.recursive) sought += " below";
      if (!Works("Find", ModText::Trim(sought))) return nullptr;
      return Wrap(client, window(), below_->Find(query));
    }
    Result<std::shared_ptr<CommandBarControl>> Add(ControlType type) override {
      if (!Works("Add", "type " + std::to_string(static_cast<int>(type)))) return Failed();
      Result<std::shared_ptr<CommandBarControl>> added = below_->Add(type);
      if (!added.ok()) return added;
      return Wrap(client, window(), added.value());
    }
    std::shared_ptr<CommandBarControl> FindByCaption(std::string_view caption) override {
      if (!Works("FindByCaption", Quoted(caption))) return nullptr;
      return Wrap(client, window(), below_->FindByCaption(caption));
    }
    Status SetVisible(bool visible) override {
      return Works("SetVisible", visible ? "yes" : "no") ? below_->SetVisible(visible) : Failed();
    }

   private:
    std::string Label() const override { return Quoted(label_); }

    const std::string label_;
    const std::shared_ptr<CommandBar> below_;
  };

  class Bars final : public CommandBars, public Part {
   public:
    Bars(MemoryClient& part_of, std::shared_ptr<Window> of)
        : Part(part_of, "Bars", std::move(of)) {}
    std::shared_ptr<CommandBar> Item(std::string_view name) override {
      if (!Works("Item", Quoted(name))) return nullptr;
      auto below = window()->bars.Item(name);
      if (below == nullptr) return nullptr;
      return std::make_shared<Bar>(client, window(), std::string(name), std::move(below));
    }
  };

  class Item final : public MailItem, public Part {
   public:
    Item(MemoryClient& part_of, std::string label, std::shared_ptr<MemoryItem> item)
        : Part(part_of, "Item", nullptr), label_(std::move(label)), item_(std::move(item)) {}

    Result<int> Class() const override {
      if (!Works("Class")) return Failed();
      return item_->item_class;
    }
    std::string Subject() const override { return Works("Subject") ? item_->subject : ""; }
    std::string Body() const override { return Works("Body") ? item_->body : ""; }
    std::string HtmlBody() const override { return Works("HtmlBody") ? item_->html_body : ""; }
    Status SetTo(std::string_view text) override { return Set("SetTo", item_->to, text); }
    Status SetBody(std::string_view text) override { return Set("SetBody", item_->body, text); }
    Status SetSentOnBehalfOfName(std::string_view text) override {
      return Set("SetSentOnBehalfOfName", item_->on_behalf_of, text);
    }
    std::size_t AttachmentCount() const override {
      return Works("AttachmentCount") ? item_->attachments.size() : 0;
    }
    std::string AttachmentFileName(std::size_t index) const override {
      const bool works = Works("AttachmentFileName", std::to_string(index));
      return works && index < item_->attachments.size() ? item_->attachments[index].first : "";
    }
    Status SaveAttachment(std::size_t index, const std::filesystem::path& path) override {
      if (!Works("SaveAttachment", std::to_string(index) + " " + ModFiles::ToUtf8(path)) ||
          index >= item_->attachments.size()) {
        return Failed();
      }
      return ModFiles::ReplaceWith(path, item_->attachments[index].second);
    }
    Status Display() override {
      if (!Works("Display")) return Failed();
      return client.OpenItemOf("mail " + std::to_string(++client.displayed_), item_);
    }
    Status CloseAndSave() override {
      if (!Works("CloseAndSave")) return Failed();
      for (const auto& open : client.windows_) {
        if (open->item != item_) continue;
        return client.Close(std::string(open->name));
      }
      return Failed();
    }
    Status MoveToSentFolder() override {
      if (!Works("MoveToSentFolder")) return Failed();
      client.sent_.push_back(*item_);
      return {};
    }

   private:
    std::string Label() const override { return label_; }
    Status Set(const char* method, std::string& into, std::string_view text) {
      if (!Works(method, Quoted(text))) return Failed();
      into = text;
      return {};
    }

    const std::string label_;
    const std::shared_ptr<MemoryItem> item_;
  };

  // At most one listener. It is told nothing after End, or when this is destroyed.
  template <class Events>
  class Subscription {
   public:
    ~Subscription() { End(); }
    std::shared_ptr<Listener<Events>> Begin(Events events) {
      listener_ = std::make_shared<Listener<Events>>(std::move(events));
      return listener_;
    }
    void End() {
      if (listener_ != nullptr) listener_->events = {};  // one may be on its way
      listener_ = nullptr;
    }

   private:
    std::shared_ptr<Listener<Events>> listener_;
  };

  class InspectorPart final : public Inspector, public Part {
   public:
    InspectorPart(MemoryClient& part_of, std::shared_ptr<Window> of)
        : Part(part_of, "Inspector", std::move(of)) {}

    const void* Identity() const override { return window().get(); }
    EditorType Editor() const override {
      return Works("Editor") ? window()->item->editor : EditorType::kPlainText;
    }
    Result<bool> IsWordMail() const override {
      if (!Works("IsWordMail")) return Failed();
      return window()->item->word_mail || ModText::LeadingNumber(client.version) >= 12;
    }
    std::shared_ptr<MailItem> CurrentItem() override {
      if (!Works("CurrentItem")) return nullptr;
      return std::make_shared<Item>(client, window()->name, window()->item);
    }
    std::shared_ptr<CommandBars> Bars() override {
      if (!Works("Bars")) return nullptr;
      return std::make_shared<MemoryClientParts::Bars>(client, window());
    }
    Status PasteAtCaret() override {
      if (!Works("PasteAtCaret", Quoted(client.clipboard_text))) return Failed();
      window()->item->body += client.clipboard_text;
      return {};
    }
    void Listen(InspectorEvents events) override {
      const bool listens = events.activate || events.deactivate || events.close;
      subscription_.End();
      if (!Works("Listen", listens ? "" : "nobody") || !listens) return;
      window()->inspector_events.push_back(subscription_.Begin(std::move(events)));
    }

   private:
    Subscription<InspectorEvents> subscription_;
  };

  class ExplorerPart final : public Explorer, public Part {
   public:
    ExplorerPart(MemoryClient& part_of, std::shared_ptr<Window> of)
        : Part(part_of, "Explorer", std::move(of)) {}

    std::shared_ptr<CommandBars> Bars() override {
      if (!Works("Bars")) return nullptr;
      return std::make_shared<MemoryClientParts::Bars>(client, window());
    }
    void Listen(ExplorerEvents events) override {
      const bool listens =
          events.activate || events.deactivate || events.before_folder_switch || events.close;
      subscription_.End();
      if (!Works("Listen", listens ? "" : "nobody") || !listens) return;
      window()->explorer_events.push_back(subscription_.Begin(std::move(events)));
    }

   private:
    Subscription<ExplorerEvents> subscription_;
  };

  class InspectorsPart final : public Inspectors, public Part {
   public:
    explicit InspectorsPart(MemoryClient& part_of) : Part(part_of, "Inspectors", nullptr) {}

    Result<int> Count() const override {
      if (!Works("Count")) return Failed();
      return static_cast<int>(std::count_if(client.windows_.begin(), client.windows_.end(),
                                            [](const auto& open) { return !open->explorer; }));
    }
    void OnNewInspector(NewInspector handler) override {
      subscription_.End();
      if (!Works("OnNewInspector", handler ? "" : "nobody") || !handler) return;
      client.inspectors_.push_back(subscription_.Begin(std::move(handler)));
    }

   private:
    Subscription<NewInspector> subscription_;
  };

  class Client final : public MailClient, public Part {
   public:
    explicit Client(MemoryClient& part_of) : Part(part_of, "MailClient", nullptr) {}

    std::string Version() const override { return Works("Version") ? client.version : ""; }
    std::shared_ptr<Inspector> ActiveInspector() override {
      const bool works = Works("ActiveInspector");
      const auto front = client.Front(false);
      if (!works || front == nullptr) return nullptr;
      return std::make_shared<InspectorPart>(client, front);
    }
    std::shared_ptr<Explorer> ActiveExplorer() override {
      const bool works = Works("ActiveExplorer");
      const auto front = client.Front(true);
      if (!works || front == nullptr) return nullptr;
      return std::make_shared<ExplorerPart>(client, front);
    }
    std::shared_ptr<vespro::Inspectors> Inspectors() override {
      if (!Works("Inspectors")) return nullptr;
      return std::make_shared<InspectorsPart>(client);
    }
    Result<int> ExplorerCount() const override {
      if (!Works("ExplorerCount")) return Failed();
      return static_cast<int>(std::count_if(client.windows_.begin(), client.windows_.end(),
                                            [](const auto& open) { return open->explorer; }));
    }
    Result<std::shared_ptr<MailItem>> NewMail() override {
      if (!Works("NewMail")) return Failed();
      return std::shared_ptr<MailItem>(
          std::make_shared<Item>(client, "new", std::make_shared<MemoryItem>()));
    }
  };

  // Tells all that listen, of which some may end or begin meanwhile. A copy of a handler is called,
  // since the handler may end its own object.
  template <class Events, class Handler, class... Arguments>
  static void Tell(const std::vector<std::weak_ptr<Listener<Events>>>& listeners,
                   Handler Events::*event, const Arguments&... arguments) {
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the handlers change the list
    const auto told = listeners;
    for (const auto& weak : told) {
      const auto listener = weak.lock();
      if (listener == nullptr) continue;
      if (const Handler handler = listener->events.*event) handler(arguments...);
    }
  }

  class RibbonPart final : public Ribbon, public Part {
   public:
    RibbonPart(MemoryClient& part_of, std::function<void(const std::string&)> invalidated)
        : Part(part_of, "Ribbon", nullptr), invalidated_(std::move(invalidated)) {}

    Status InvalidateControl(std::string_view id) override {
      if (!Works("InvalidateControl", id)) return Failed();
      invalidated_(std::string(id));
      return {};
    }

   private:
    const std::function<void(const std::string&)> invalidated_;
  };

  static std::shared_ptr<Inspector> NewInspectorPart(MemoryClient& client,
                                                     const std::shared_ptr<Window>& window) {
    return std::make_shared<InspectorPart>(client, window);
  }
};

std::shared_ptr<CommandBar> MemoryClientParts::Popup::Bar() {
  if (!Works("Bar")) return nullptr;
  auto bar = dynamic_cast<CommandBarPopup&>(*below()).Bar();
  const MemoryControlState& shown = state();
  return std::make_shared<MemoryClientParts::Bar>(
      client, window(), shown.tag.empty() ? shown.caption : shown.tag, std::move(bar));
}

namespace {

std::string PlainCaption(std::string_view caption) {
  std::string plain;
  for (std::size_t i = 0; i < caption.size(); ++i) {
    if (caption[i] == '&' && i + 1 < caption.size()) ++i;
    plain += caption[i];
  }
  return plain;
}

// The control that a person finds on the bar or in its popups; nullptr when none is to be seen.
CommandBarControl* FindForPerson(const MemoryBar& bar,
                                 const std::function<bool(const MemoryControlState&)>& fits) {
  if (!bar.visible) return nullptr;
  for (const auto& control : bar.controls()) {
    const auto& state = dynamic_cast<const MemoryControlState&>(*control);
    if (state.deleted || !state.visible || !state.enabled) continue;
    if (fits(state)) return control.get();
    auto* popup = dynamic_cast<CommandBarPopup*>(control.get());
    if (popup == nullptr) continue;
    const auto inner = popup->Bar();
    if (auto* found = FindForPerson(dynamic_cast<const MemoryBar&>(*inner), fits)) return found;
  }
  return nullptr;
}

constexpr const char* kBars[] = {"Menu Bar", "Standard", "Web"};

void AddBuiltIn(MemoryBar& bar, ControlType type, int id, const char* caption) {
  Result<std::shared_ptr<CommandBarControl>> added = bar.Add(type);
  auto& state = dynamic_cast<MemoryControlState&>(*added.value());
  state.id = id;
  state.caption = caption;
}

}  // namespace

MemoryClient::MemoryClient() {
  // The name is free.
  OpenExplorer("main").Ignore();
  calls_->lines.clear();
}

MemoryClient::~MemoryClient() { Quit(); }

std::shared_ptr<MailClient> MemoryClient::Application() {
  return std::make_shared<MemoryClientParts::Client>(*this);
}

std::shared_ptr<Inspector> MemoryClient::InspectorOf(const std::string& window) {
  const auto found = Find(window);
  if (found == nullptr || found->explorer) return nullptr;
  return MemoryClientParts::NewInspectorPart(*this, found);
}

std::shared_ptr<Ribbon> MemoryClient::NewRibbon(
    std::function<void(const std::string& id)> invalidated) {
  return std::make_shared<MemoryClientParts::RibbonPart>(*this, std::move(invalidated));
}

std::vector<std::string> MemoryClient::WindowNames() const {
  std::vector<std::string> names;
  for (const auto& window : windows_) names.push_back(window->name);
  return names;
}

bool MemoryClient::IsExplorer(const std::string& window) const {
  const auto found = Find(window);
  return found != nullptr && found->explorer;
}

std::shared_ptr<MemoryClient::Window> MemoryClient::Find(const std::string& name) const {
  for (const auto& window : windows_) {
    if (window->name == name) return window;
  }
  return nullptr;
}

std::shared_ptr<MemoryClient::Window> MemoryClient::Front(bool explorer) const {
  for (auto window = windows_.rbegin(); window != windows_.rend(); ++window) {
    if ((*window)->explorer == explorer) return *window;
  }
  return nullptr;
}

Result<std::shared_ptr<MemoryClient::Window>> MemoryClient::NewWindow(const std::string& name,
                                                                      bool explorer) {
  if (Find(name) != nullptr) return Status(Code::kUsage, "there is a window " + name);
  auto window = std::make_shared<Window>(office_, name, explorer);
  for (const char* bar : kBars) {
    if (lacking.count(bar) == 0) window->bars.AddBar(bar);
  }
  if (auto* bar = Bar(*window, "Menu Bar")) {
    AddBuiltIn(*bar, ControlType::kPopup, 30002, "&File");
    AddBuiltIn(*bar, ControlType::kPopup, 30003, "&Edit");
    AddBuiltIn(*bar, ControlType::kPopup, 30010, "&Help");
  }
  if (auto* bar = Bar(*window, "Standard")) AddBuiltIn(*bar, ControlType::kButton, 2617, "&Send");
  if (auto* bar = Bar(*window, "Web")) AddBuiltIn(*bar, ControlType::kComboBox, 1740, "Address:");
  return window;
}

void MemoryClient::TellFront(const std::shared_ptr<Window>& window, bool active) {
  if (!active && !tells_deactivate) return;
  calls_->Tell((active ? "activate " : "deactivate ") + window->name);
  if (window->explorer) {
    MemoryClientParts::Tell(window->explorer_events,
                            active ? &ExplorerEvents::activate : &ExplorerEvents::deactivate);
  } else {
    MemoryClientParts::Tell(window->inspector_events,
                            active ? &InspectorEvents::activate : &InspectorEvents::deactivate);
  }
}

void MemoryClient::BringToFront(const std::shared_ptr<Window>& window) {
  const auto old = windows_.empty() ? nullptr : windows_.back();
  if (old == window) return;
  const bool is_new = std::erase(windows_, window) == 0;
  windows_.push_back(window);
  if (is_new && on_show) on_show(window->name, window->explorer);
  if (old != nullptr) TellFront(old, false);
  if (!window->closed) TellFront(window, true);
}

Status MemoryClient::OpenExplorer(const std::string& name) {
  Result<std::shared_ptr<Window>> window = NewWindow(name, true);
  if (!window.ok()) return window.status();
  BringToFront(window.value());
  return {};
}

Status MemoryClient::OpenItem(const std::string& name, MemoryItem item) {
  return OpenItemOf(name, std::make_shared<MemoryItem>(std::move(item)));
}

Status MemoryClient::OpenItemOf(const std::string& name, std::shared_ptr<MemoryItem> item) {
  Result<std::shared_ptr<Window>> opened = NewWindow(name, false);
  if (!opened.ok()) return opened.status();
  const std::shared_ptr<Window>& window = opened.value();
  window->item = std::move(item);
  calls_->Tell("new inspector " + name);
  const auto told = inspectors_;
  for (const auto& weak : told) {
    const auto listener = weak.lock();
    if (listener == nullptr) continue;
    if (const NewInspector handler = listener->events) {
      handler(MemoryClientParts::NewInspectorPart(*this, window));
    }
  }
  BringToFront(window);
  return {};
}

Status MemoryClient::Activate(const std::string& name) {
  const auto window = Find(name);
  if (window == nullptr) return Status(Code::kNotFound, "there is no window " + name);
  BringToFront(window);
  return {};
}

void MemoryClient::Remove(const std::shared_ptr<Window>& window) {
  const bool was_front = !windows_.empty() && windows_.back() == window;
  std::erase(windows_, window);
  if (was_front && !windows_.empty()) TellFront(windows_.back(), true);
}

Status MemoryClient::Close(const std::string& name) {
  const auto window = Find(name);
  if (window == nullptr || window->closing) {
    return Status(Code::kNotFound, "there is no window " + name);
  }
  window->closing = true;
  calls_->Tell("close " + name);
  if (window->explorer) {
    MemoryClientParts::Tell(window->explorer_events, &ExplorerEvents::close);
  } else {
    MemoryClientParts::Tell(window->inspector_events, &InspectorEvents::close);
  }
  window->closed = true;
  Remove(window);
  return {};
}

Status MemoryClient::SwitchFolder(std::optional<int> item_type) {
  const auto window = Front(true);
  if (window == nullptr) return Status(Code::kNotFound, "there is no main window");
  calls_->Tell("folder of " + (item_type ? std::to_string(*item_type) : "nothing known") + " in " +
               window->name);
  MemoryClientParts::Tell(window->explorer_events, &ExplorerEvents::before_folder_switch,
                          item_type);
  return {};
}

void MemoryClient::Raise(const std::string& tag) {
  const auto told = controls_;
  for (const auto& weak : told) {
    const auto listener = weak.lock();
    if (listener == nullptr || listener->window->closed) continue;
    const auto& state = dynamic_cast<const MemoryControlState&>(*listener->control);
    if (state.deleted || state.tag != tag) continue;
    const std::function<void()> handler = listener->handler;
    if (handler == nullptr) continue;
    calls_->Tell("click " + listener->window->name + " \"" + tag + "\"");
    handler();
  }
}

Status MemoryClient::Command(std::string_view caption) {
  Status none(Code::kNotFound,
              "nothing called '" + std::string(caption) + "' can be used in the window in front");
  if (windows_.empty()) return none;
  const auto window = windows_.back();
  for (const char* name : kBars) {
    const MemoryBar* bar = Bar(*window, name);
    if (bar == nullptr) continue;
    auto* control = FindForPerson(*bar, [&](const MemoryControlState& state) {
      return state.type == ControlType::kButton &&
             (PlainCaption(state.caption) == caption || state.tag == caption);
    });
    if (control == nullptr) continue;
    auto& state = dynamic_cast<MemoryControlState&>(*control);
    ++state.executed;
    if (!state.tag.empty()) Raise(std::string(state.tag));
    return {};
  }
  return none;
}

Status MemoryClient::Choose(std::string_view entry) {
  Status none(Code::kNotFound,
              "the window in front has no box that offers '" + std::string(entry) + "'");
  if (windows_.empty()) return none;
  const auto window = windows_.back();
  for (const char* name : kBars) {
    const MemoryBar* bar = Bar(*window, name);
    if (bar == nullptr) continue;
    auto* control = FindForPerson(*bar, [&](const MemoryControlState& state) {
      return state.type == ControlType::kComboBox && state.id == 1 &&
             std::find(state.items.begin(), state.items.end(), entry) != state.items.end();
    });
    if (control == nullptr) continue;
    auto& state = dynamic_cast<MemoryControlState&>(*control);
    state.text = entry;
    Raise(std::string(state.tag));
    return {};
  }
  return none;
}

void MemoryClient::Quit() {
  for (const auto& window : windows_) window->closed = true;
  windows_.clear();
}

MemoryItem* MemoryClient::Item(const std::string& name) {
  const auto window = Find(name);
  return window == nullptr ? nullptr : window->item.get();
}

MemoryBar* MemoryClient::Bar(Window& window, std::string_view bar) {
  return static_cast<MemoryBar*>(window.bars.Item(bar).get());
}

MemoryBar* MemoryClient::Bar(const std::string& window, std::string_view bar) {
  const auto found = Find(window);
  return found == nullptr ? nullptr : Bar(*found, bar);
}

}  // namespace vespro
