// forms/layout.h - where the controls of a form are, said without pixels, and the arithmetic that
// turns it into rectangles. A renderer measures single controls in its own unit; the rest is done
// here, once for all of them.
//
//   return Rows({Columns({ImageNote, Fill(LabelHelp)}),
//                Columns({Fill(TextSelectedFile), CmdFileSelect}),
//                Columns({Space(), CmdOk, CmdCancel})});
//
// The order in which the controls are there is the order of Tab. Pure: any thread.
#pragma once

#include <initializer_list>
#include <unordered_map>
#include <vector>

#include "forms/control.h"

namespace vespro {

class Layout {
 public:
  enum class Kind { kControl, kInside, kRows, kColumns, kGrid, kPages, kIndent, kSpace };

  Layout() = default;
  // A control where it is in the layout.
  Layout(Control& control);  // NOLINT: implicit on purpose

  Kind kind() const { return kind_; }
  Control* control() const { return control_; }
  const std::vector<Layout>& parts() const { return parts_; }
  int grid_columns() const { return grid_columns_; }
  bool fills() const { return fills_; }
  // Whether anything visible is in it.
  bool IsPresent() const;

 private:
  friend Layout MakeLayout(Layout::Kind kind, std::vector<Layout> parts);
  friend Layout Fill(Layout part);
  friend Layout Grid(int columns, std::initializer_list<Layout> parts);
  friend Layout MakeInside(Control& outer, Layout part);

  Kind kind_ = Kind::kSpace;
  Control* control_ = nullptr;
  std::vector<Layout> parts_;
  int grid_columns_ = 0;
  bool fills_ = false;
};

// Below each other; each part is as wide as the widest.
Layout Rows(std::initializer_list<Layout> parts);
// Beside each other. Lists, frames and boxes of several lines are as high as the highest part; the
// others are in the middle.
Layout Columns(std::initializer_list<Layout> parts);
// Row by row, with columns that are as wide as their widest part. A column with a Fill gets the
// room that is left over.
Layout Grid(int columns, std::initializer_list<Layout> parts);
// In one place, as large as the largest; frames of which one is visible.
Layout Pages(std::initializer_list<Layout> parts);
Layout Inside(Frame& frame, Layout part);
// The pages of a tab strip, which are enclosed by it: Inside(TabOptions, Pages({...})).
Layout Inside(TabStrip& tabs, Layout pages);
// Somewhat to the right of what is above.
Layout Indent(Layout part);
// In Rows, Columns and Grid: gets the room that is left over, together with the other Fills.
Layout Fill(Layout part);
// Room that is left over, and nothing in it. In a Grid an empty cell.
Layout Space();

struct Size {
  int width = 0;
  int height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const Rectangle&, const Rectangle&) = default;
};

// What a renderer knows about sizes; all in one unit, such as pixels at the window's resolution.
class Measure {
 public:
  virtual ~Measure() = default;
  // What the control needs: its set_size, where that is given, or its content. Of a frame or tab
  // strip: the caption or the tabs alone; the height does not count.
  virtual Size NaturalSize(const Control& control) const = 0;
  // The room that a frame's line and caption, or a tab strip's, take around what is inside.
  struct Borders {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
  };
  virtual Borders BordersOf(const Control& outer) const = 0;
  // Between neighbours, and how far Indent moves.
  virtual Size Gap() const = 0;
  virtual int IndentWidth() const = 0;
};

// Asks another one about each control once: for a layout that is computed at one time.
class MeasureOnce final : public Measure {
 public:
  explicit MeasureOnce(const Measure& measure) : measure_(measure) {}
  Size NaturalSize(const Control& control) const override;
  Borders BordersOf(const Control& outer) const override { return measure_.BordersOf(outer); }
  Size Gap() const override { return measure_.Gap(); }
  int IndentWidth() const override { return measure_.IndentWidth(); }

 private:
  const Measure& measure_;
  mutable std::unordered_map<const Control*, Size> known_;
};

struct Placed {
  const Control* control;
  Rectangle where;
};

// The smallest size in which everything visible has its room. No margin around it.
Size NaturalSize(const Layout& layout, const Measure& measure);
// Where everything visible is, frames before what is in them. An `area` smaller than the
// natural size lets controls stand over its edge.
std::vector<Placed> Place(const Layout& layout, const Measure& measure, const Rectangle& area);

}  // namespace vespro
