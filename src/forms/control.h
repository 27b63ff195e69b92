// forms/control.h - the kinds of control that a dialog is made of. A control is a member of its
// form, under its own name:
//
//   TextBox TextServer{this, "TextServer"};
//   Button CmdAdd{this, "CmdAdd", "&Add"};
//
// What a handler sets is shown at once. Events tell what the user did; setting something never
// raises one. All text is UTF-8, lines in it end in CR LF or LF. One thread: the mail client's own.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vespro {

class Form;

enum class ControlKind {
  kLabel,
  kTextBox,
  kButton,
  kOptionButton,
  kCheckBox,
  kComboBox,
  kListBox,
  kListView,
  kTabStrip,
  kFrame,
  kImage,
};

// A colour by its role. kDefault is what the kind has by itself.
enum class Background {
  kDefault,
  kWindow,  // what text boxes are written on
  kSilver,  // red, green and blue 192: not in use
};

// The keys that a form acts on; all others are the control's own affair.
enum class Key {
  kEnter,
  kEscape,
  kTab,
  kBackTab,
  kSpace,
  kDelete,
  kUp,
  kDown,
  kLeft,
  kRight,
  kNextPage,  // Ctrl+Tab, Ctrl+Page Down
  kPreviousPage,
  kAccess,
};
struct KeyPress {
  Key key;
  char letter = 0;  // kAccess: which letter or digit was pressed together with Alt
};

// A small picture, named; each renderer knows where it gets them.
struct Icon {
  enum class Kind {
    kNone,
    kResource,  // of the add-in's own: "TIP", "SERVER", ...
    kFileType,  // the system's icon for files like the one whose path is the name
  };
  Kind kind = Kind::kNone;
  std::string name;
  friend bool operator==(const Icon&, const Icon&) = default;
};

// What of a control has changed, as a renderer is told.
enum class Change {
  kCaption,
  kText,
  kTooltip,
  kEnabled,
  kVisible,
  kBackground,
  kChecked,
  kIcon,
  kSelection,
  kRowInserted,
  kRowRemoved,
  kRowsCleared,
};

enum class Leave { kAllow, kKeepFocus };

class Control {
 public:
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  ControlKind kind() const { return kind_; }
  const std::string& name() const { return name_; }
  // The frame or tab strip that it is in; nullptr: directly on the form. Known once the form is
  // loaded.
  const Control* parent() const { return parent_; }
  bool IsInside(const Control& outer) const;

  // With "&" before the access key's letter; "&&" is one "&". Lists and text boxes have none: the
  // label before them in the layout carries their access key.
  const std::string& caption() const { return caption_; }
  void set_caption(std::string_view caption);
  const std::string& tooltip() const { return tooltip_; }
  void set_tooltip(std::string_view tooltip);
  Background background() const { return background_; }
  void set_background(Background background);

  // Its own flag.
  bool enabled() const { return enabled_; }
  void set_enabled(bool enabled);
  // Its own flag. What is not visible takes no room, except in Pages.
  bool visible() const { return visible_; }
  void set_visible(bool visible);
  // Together with all that it is in. This is what a renderer shows.
  bool IsEnabled() const;
  bool IsVisible() const;

  // The size wished for, in average characters and lines of text; 0: as its content needs. Before
  // the form is loaded.
  int columns() const { return columns_; }
  int lines() const { return lines_; }
  void set_size(int columns, int lines = 0);

  // A button or link was pressed, a check box or option changed, a row or tab chosen (again).
  void OnClick(std::function<void()> handler) { click_ = std::move(handler); }
  // The text was edited; for every change, so nothing is to be checked here.
  void OnChange(std::function<void()> handler) { change_ = std::move(handler); }
  // The focus is about to move elsewhere in the form, or Enter to press the default button. Escape,
  // a click on the cancel button and the frame's close button do not ask.
  void OnLeave(std::function<Leave()> handler) { leave_ = std::move(handler); }
  // A key, before the form acts on it; true when nobody else may.
  void OnKey(std::function<bool(Key)> handler) { key_ = std::move(handler); }

 protected:
  Control(Form* form, std::string_view name, ControlKind kind, std::string_view caption = {});
  ~Control() = default;
  void Tell(Change change, std::size_t row = 0);

  Form& form_;

 private:
  friend class Form;

  const std::string name_;
  const ControlKind kind_;
  const Control* parent_ = nullptr;
  std::string caption_;
  std::string tooltip_;
  Background background_ = Background::kDefault;
  bool enabled_ = true;
  bool visible_ = true;
  int columns_ = 0;
  int lines_ = 0;
  std::function<void()> click_;
  std::function<void()> change_;
  std::function<Leave()> leave_;
  std::function<bool(Key)> key_;
};

class Label final : public Control {
 public:
  enum class Style {
    kPlain,
    kHeading,
    kLink,  // can be clicked, and reached with Tab
  };
  // Wraps at columns() when that is not 0.
  Label(Form* form, std::string_view name, std::string_view caption = {},
        Style style = Style::kPlain)
      : Control(form, name, ControlKind::kLabel, caption), style_(style) {}
  Style style() const { return style_; }

 private:
  const Style style_;
};

class TextBox final : public Control {
 public:
  enum class Style {
    kPlain,
    kMasked,             // each character shows as "*"
    kMultiLine,          // Enter begins a line
    kMultiLineReadOnly,  // can be selected and copied
  };
  TextBox(Form* form, std::string_view name, Style style = Style::kPlain)
      : Control(form, name, ControlKind::kTextBox), style_(style) {}
  Style style() const { return style_; }
  bool multi_line() const { return style_ >= Style::kMultiLine; }
  bool read_only() const { return style_ == Style::kMultiLineReadOnly; }
  const std::string& text() const { return text_; }
  void set_text(std::string_view text);

 private:
  friend class Form;
  const Style style_;
  std::string text_;
};

class Button final : public Control {
 public:
  Button(Form* form, std::string_view name, std::string_view caption = {})
      : Control(form, name, ControlKind::kButton, caption) {}
};

// CheckBox and OptionButton.
class Choice : public Control {
 public:
  bool checked() const { return checked_; }

 protected:
  using Control::Control;
  ~Choice() = default;
  void Set(bool checked);

 private:
  friend class Form;
  bool checked_ = false;
};

class CheckBox final : public Choice {
 public:
  CheckBox(Form* form, std::string_view name, std::string_view caption = {})
      : Choice(form, name, ControlKind::kCheckBox, caption) {}
  void set_checked(bool checked) { Set(checked); }
};

// Of the options in one frame (or outside of all), one is chosen.
class OptionButton final : public Choice {
 public:
  OptionButton(Form* form, std::string_view name, std::string_view caption = {})
      : Choice(form, name, ControlKind::kOptionButton, caption) {}
  // Chooses it, and no longer the others. From Form_Load on.
  void Choose();
};

// One row of a list, one entry of a combo box, one tab.
struct Row {
  std::string text;                // of the first column
  std::vector<std::string> cells;  // of the further columns; there may be more than columns
  std::string key;                 // tells rows apart that look alike; never shown
  std::string tooltip;
  Icon icon;
};

// What holds rows. Indexes count from 0; -1 is none.
class RowsControl : public Control {
 public:
  const std::vector<Row>& rows() const { return rows_; }
  void AddRow(Row row);
  void RemoveRow(int index);
  void Clear();
  // The first row with that key.
  int FindKey(std::string_view key) const;
  int selected() const { return selected_; }
  void Select(int index);

 protected:
  using Control::Control;
  ~RowsControl() = default;

 private:
  friend class Form;
  std::vector<Row> rows_;
  int selected_ = -1;
};

// A drop-down list: nothing can be typed into it.
class ComboBox final : public RowsControl {
 public:
  // `prompt` is shown while nothing is selected.
  ComboBox(Form* form, std::string_view name, std::string_view prompt = {})
      : RowsControl(form, name, ControlKind::kComboBox), prompt_(prompt) {}
  const std::string& prompt() const { return prompt_; }
  void AddItem(std::string_view text) { AddRow({std::string(text), {}, {}, {}, {}}); }

 private:
  const std::string prompt_;
};

class ListBox final : public RowsControl {
 public:
  ListBox(Form* form, std::string_view name) : RowsControl(form, name, ControlKind::kListBox) {}
  void AddItem(std::string_view text) { AddRow({std::string(text), {}, {}, {}, {}}); }
};

class ListView final : public RowsControl {
 public:
  struct Column {
    std::string title;
    int columns;  // its width in average characters
  };
  // Without columns it shows the rows' texts and no titles.
  ListView(Form* form, std::string_view name, std::vector<Column> columns = {})
      : RowsControl(form, name, ControlKind::kListView), view_columns_(std::move(columns)) {}
  const std::vector<Column>& view_columns() const { return view_columns_; }

 private:
  const std::vector<Column> view_columns_;
};

// Tabs around pages: frames in Pages, of which the form itself shows the one that belongs to the
// selected tab.
class TabStrip final : public RowsControl {
 public:
  TabStrip(Form* form, std::string_view name) : RowsControl(form, name, ControlKind::kTabStrip) {}
  void AddTab(std::string_view text) { AddRow({std::string(text), {}, {}, {}, {}}); }
};

// A caption and a line around other controls. Without a caption there is no line either.
class Frame final : public Control {
 public:
  Frame(Form* form, std::string_view name, std::string_view caption = {})
      : Control(form, name, ControlKind::kFrame, caption) {}
};

class Image final : public Control {
 public:
  Image(Form* form, std::string_view name, Icon icon = {})
      : Control(form, name, ControlKind::kImage), icon_(std::move(icon)) {}
  const Icon& icon() const { return icon_; }
  void set_icon(Icon icon);

 private:
  Icon icon_;
};

namespace ModCaption {

// A text, such as a file's name, that is to be shown as it is: each "&" doubled.
std::string Literal(std::string_view text);
// The caption as shown, without the "&" of the access key.
std::string Plain(std::string_view caption);
// The access key's letter or digit, lower case; 0 when there is none.
char AccessKey(std::string_view caption);

}  // namespace ModCaption
}  // namespace vespro
