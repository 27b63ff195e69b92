#include "forms/layout.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <utility>

namespace vespro {
namespace {

// What grows to its neighbours' height in Columns, as everything with parts does.
bool IsTall(const Control& control) {
  switch (control.kind()) {
    case ControlKind::kListBox:
    case ControlKind::kListView:
      return true;
    case ControlKind::kTextBox:
      return static_cast<const TextBox&>(control).multi_line();
    default:
      return false;
  }
}

int Sum(const std::vector<int>& numbers) {
  return std::accumulate(numbers.begin(), numbers.end(), 0);
}

// The same arithmetic along both axes: Rows is Columns turned.
struct Axis {
  bool vertical;
  int Along(const Size& size) const { return vertical ? size.height : size.width; }
  int Across(const Size& size) const { return vertical ? size.width : size.height; }
  Size Make(int along, int across) const {
    return vertical ? Size{across, along} : Size{along, across};
  }
};

Axis AxisOf(const Layout& layout) { return Axis{layout.kind() == Layout::Kind::kRows}; }

std::vector<const Layout*> Present(const Layout& layout) {
  std::vector<const Layout*> present;
  for (const Layout& part : layout.parts()) {
    if (part.kind() == Layout::Kind::kSpace || part.IsPresent()) present.push_back(&part);
  }
  return present;
}

// Gives the room beyond `sizes` and the gaps to those parts that fill.
void ShareOut(std::vector<int>& sizes, const std::vector<bool>& fills, int room) {
  int spare = room - Sum(sizes);
  auto takers = static_cast<int>(std::count(fills.begin(), fills.end(), true));
  for (std::size_t i = 0; i < sizes.size() && spare > 0; ++i) {
    if (!fills[i]) continue;
    const int share = spare / takers--;
    sizes[i] += share;
    spare -= share;
  }
}

// A grid's cells, row by row; rows of which nothing is visible are left out.
struct GridSizes {
  std::vector<std::size_t> rows;  // the indexes of their first cells
  std::vector<int> widths, heights;
  std::vector<bool> fills;
};

GridSizes SizesOf(const Layout& grid, const Measure& measure) {
  const auto columns = static_cast<std::size_t>(grid.grid_columns());
  GridSizes sizes;
  sizes.widths.assign(columns, 0);
  sizes.fills.assign(columns, false);
  for (std::size_t first = 0; first < grid.parts().size(); first += columns) {
    const auto begin = grid.parts().begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = begin + static_cast<std::ptrdiff_t>(columns);
    if (std::none_of(begin, end, [](const Layout& cell) { return cell.IsPresent(); })) continue;
    int height = 0;
    for (std::size_t i = 0; i < columns; ++i) {
      const Layout& cell = grid.parts()[first + i];
      if (!cell.IsPresent()) continue;
      const Size size = NaturalSize(cell, measure);
      sizes.widths[i] = std::max(sizes.widths[i], size.width);
      sizes.fills[i] = sizes.fills[i] || cell.fills();
      height = std::max(height, size.height);
    }
    sizes.rows.push_back(first);
    sizes.heights.push_back(height);
  }
  return sizes;
}

Size LineSize(const Layout& line, const Measure& measure) {
  const Axis axis = AxisOf(line);
  const std::vector<const Layout*> parts = Present(line);
  int along = parts.empty() ? 0 : axis.Along(measure.Gap()) * static_cast<int>(parts.size() - 1);
  int across = 0;
  for (const Layout* part : parts) {
    const Size size = NaturalSize(*part, measure);
    along += axis.Along(size);
    across = std::max(across, axis.Across(size));
  }
  return axis.Make(along, across);
}

Size GridSize(const Layout& grid, const Measure& measure) {
  const GridSizes sizes = SizesOf(grid, measure);
  if (sizes.rows.empty()) return {};
  const Size gap = measure.Gap();
  return {Sum(sizes.widths) + gap.width * static_cast<int>(sizes.widths.size() - 1),
          Sum(sizes.heights) + gap.height * static_cast<int>(sizes.heights.size() - 1)};
}

Size OuterSize(const Layout& layout, const Measure& measure) {
  const Control& outer = *layout.control();
  const Measure::Borders borders = measure.BordersOf(outer);
  const Size inner = NaturalSize(layout.parts().front(), measure);
  return {std::max(inner.width + borders.left + borders.right, measure.NaturalSize(outer).width),
          inner.height + borders.top + borders.bottom};
}

Size PagesSize(const Layout& layout, const Measure& measure) {
  Size size;
  for (const Layout& part : layout.parts()) {
    const Size page = NaturalSize(part, measure);
    size = {std::max(size.width, page.width), std::max(size.height, page.height)};
  }
  return size;
}

class Placer {
 public:
  explicit Placer(const Measure& measure) : measure_(measure) {}

  void Put(const Layout& layout, const Rectangle& area) {
    switch (layout.kind()) {
      case Layout::Kind::kControl:
        placed.push_back({layout.control(), area});
        break;
      case Layout::Kind::kInside:
        PutOuter(layout, area);
        break;
      case Layout::Kind::kRows:
      case Layout::Kind::kColumns:
        PutLine(layout, area);
        break;
      case Layout::Kind::kGrid:
        PutGrid(layout, area);
        break;
      case Layout::Kind::kPages:
        for (const Layout& page : layout.parts()) {
          if (page.IsPresent()) Put(page, area);
        }
        break;
      case Layout::Kind::kIndent: {
        const int indent = measure_.IndentWidth();
        Put(layout.parts().front(), {area.x + indent, area.y, area.width - indent, area.height});
        break;
      }
      case Layout::Kind::kSpace:
        break;
    }
  }

  std::vector<Placed> placed;

 private:
  void PutOuter(const Layout& layout, const Rectangle& area) {
    placed.push_back({layout.control(), area});
    const Measure::Borders borders = measure_.BordersOf(*layout.control());
    Put(layout.parts().front(),
        {area.x + borders.left, area.y + borders.top, area.width - borders.left - borders.right,
         area.height - borders.top - borders.bottom});
  }

  // A single part in its cell. What does not grow is in the middle of a line's height; a
  // picture keeps its width, too.
  void PutCell(const Layout& part, Rectangle cell) {
    if (part.kind() == Layout::Kind::kControl) {
      const Size natural = measure_.NaturalSize(*part.control());
      if (!IsTall(*part.control()) && natural.height < cell.height) {
        cell.y += (cell.height - natural.height) / 2;
        cell.height = natural.height;
      }
      if (part.control()->kind() == ControlKind::kImage) {
        cell.width = std::min(cell.width, natural.width);
      }
    }
    Put(part, cell);
  }

  void PutLine(const Layout& line, const Rectangle& area) {
    const Axis axis = AxisOf(line);
    const std::vector<const Layout*> parts = Present(line);
    if (parts.empty()) return;
    const int gap = axis.Along(measure_.Gap());
    std::vector<int> sizes;
    std::vector<bool> fills;
    for (const Layout* part : parts) {
      sizes.push_back(axis.Along(NaturalSize(*part, measure_)));
      fills.push_back(part->fills());
    }
    ShareOut(sizes, fills,
             axis.Along({area.width, area.height}) - gap * static_cast<int>(parts.size() - 1));
    int at = axis.vertical ? area.y : area.x;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      PutCell(*parts[i], axis.vertical ? Rectangle{area.x, at, area.width, sizes[i]}
                                       : Rectangle{at, area.y, sizes[i], area.height});
      at += sizes[i] + gap;
    }
  }

  void PutGrid(const Layout& grid, const Rectangle& area) {
    GridSizes sizes = SizesOf(grid, measure_);
    const Size gap = measure_.Gap();
    ShareOut(sizes.widths, sizes.fills,
             area.width - gap.width * static_cast<int>(sizes.widths.size() - 1));
    int y = area.y;
    for (std::size_t row = 0; row < sizes.rows.size(); ++row) {
      int x = area.x;
      for (std::size_t i = 0; i < sizes.widths.size(); ++i) {
        const Layout& cell = grid.parts()[sizes.rows[row] + i];
        if (cell.IsPresent()) PutCell(cell, {x, y, sizes.widths[i], sizes.heights[row]});
        x += sizes.widths[i] + gap.width;
      }
      y += sizes.heights[row] + gap.height;
    }
  }

  const Measure& measure_;
};

}  // namespace

Layout::Layout(Control& control) : kind_(Kind::kControl), control_(&control) {
  assert(control.kind() != ControlKind::kFrame && control.kind() != ControlKind::kTabStrip &&
         "a frame or tab strip stands in a layout as Inside(it, ...)");
}

bool Layout::IsPresent() const {
  if (control_ != nullptr) return control_->visible();
  return std::any_of(parts_.begin(), parts_.end(),
                     [](const Layout& part) { return part.IsPresent(); });
}

Layout MakeLayout(Layout::Kind kind, std::vector<Layout> parts) {
  Layout layout;
  layout.kind_ = kind;
  layout.parts_ = std::move(parts);
  return layout;
}

Layout Rows(std::initializer_list<Layout> parts) { return MakeLayout(Layout::Kind::kRows, parts); }

Layout Columns(std::initializer_list<Layout> parts) {
  return MakeLayout(Layout::Kind::kColumns, parts);
}

Layout Grid(int columns, std::initializer_list<Layout> parts) {
  assert(columns > 0 && parts.size() % static_cast<std::size_t>(columns) == 0 &&
         "a grid's rows are all of one length");
  Layout layout = MakeLayout(Layout::Kind::kGrid, parts);
  layout.grid_columns_ = columns;
  return layout;
}

Layout Pages(std::initializer_list<Layout> parts) {
  return MakeLayout(Layout::Kind::kPages, parts);
}

Layout MakeInside(Control& outer, Layout part) {
  Layout layout = MakeLayout(Layout::Kind::kInside, {std::move(part)});
  layout.control_ = &outer;
  return layout;
}

Layout Inside(Frame& frame, Layout part) { return MakeInside(frame, std::move(part)); }

Layout Inside(TabStrip& tabs, Layout pages) { return MakeInside(tabs, std::move(pages)); }

Layout Indent(Layout part) { return MakeLayout(Layout::Kind::kIndent, {std::move(part)}); }

Layout Fill(Layout part) {
  part.fills_ = true;
  return part;
}

Layout Space() { return Fill(MakeLayout(Layout::Kind::kSpace, {})); }

Size MeasureOnce::NaturalSize(const Control& control) const {
  const auto [known, is_new] = known_.try_emplace(&control);
  if (is_new) known->second = measure_.NaturalSize(control);
  return known->second;
}

Size NaturalSize(const Layout& layout, const Measure& measure) {
  switch (layout.kind()) {
    case Layout::Kind::kControl:
      return measure.NaturalSize(*layout.control());
    case Layout::Kind::kInside:
      return OuterSize(layout, measure);
    case Layout::Kind::kRows:
    case Layout::Kind::kColumns:
      return LineSize(layout, measure);
    case Layout::Kind::kGrid:
      return GridSize(layout, measure);
    case Layout::Kind::kPages:
      return PagesSize(layout, measure);
    case Layout::Kind::kIndent: {
      const Size size = NaturalSize(layout.parts().front(), measure);
      return {size.width + measure.IndentWidth(), size.height};
    }
    case Layout::Kind::kSpace:
      break;
  }
  return {};
}

std::vector<Placed> Place(const Layout& layout, const Measure& measure, const Rectangle& area) {
  Placer placer(measure);
  if (layout.IsPresent()) placer.Put(layout, area);
  return std::move(placer.placed);
}

}  // namespace vespro
