#include "forms/layout.h"

#include <gtest/gtest.h>

#include "forms/form.h"
#include "forms/text_picture.h"

namespace vespro {
namespace {

// Controls of the sizes that a test gives them, to try a layout on.
class Board final : public Form {
 public:
  Board() : Form("Board") {}
  Layout Arrange() override { return {}; }
  Label A{this, "A"}, B{this, "B"}, C{this, "C"}, D{this, "D"};
  ListBox List{this, "List"};
  Image Picture{this, "Picture"};
  Frame Inner{this, "Inner", "Inner"};
};

// Sizes are set_size's; a frame's border is 1 wide, and 3 high at the top.
class PlainMeasure final : public Measure {
 public:
  Size NaturalSize(const Control& control) const override {
    return {control.columns(), control.lines()};
  }
  Borders BordersOf(const Control&) const override { return {1, 3, 1, 1}; }
  Size Gap() const override { return {2, 1}; }
  int IndentWidth() const override { return 5; }
};

class LayoutTest : public testing::Test {
 protected:
  LayoutTest() {
    board.A.set_size(10, 1);
    board.B.set_size(4, 3);
    board.C.set_size(6, 1);
    board.D.set_size(1, 1);
    board.List.set_size(5, 2);
    board.Picture.set_size(3, 2);
    board.Inner.set_size(8, 0);
  }
  Rectangle WhereIs(const Control& control, const Layout& layout, const Rectangle& area) {
    for (const Placed& placed : Place(layout, measure, area)) {
      if (placed.control == &control) return placed.where;
    }
    return {-1, -1, -1, -1};
  }
  Board board;
  PlainMeasure measure;
};

TEST_F(LayoutTest, NaturalSizesAddUp) {
  EXPECT_EQ(NaturalSize(Rows({board.A, board.B}), measure), (Size{10, 5}));
  EXPECT_EQ(NaturalSize(Columns({board.A, board.B}), measure), (Size{16, 3}));
  EXPECT_EQ(NaturalSize(Grid(2, {board.A, board.B, Space(), board.C}), measure), (Size{18, 5}));
  EXPECT_EQ(NaturalSize(Pages({board.A, board.B}), measure), (Size{10, 3}));
  EXPECT_EQ(NaturalSize(Inside(board.Inner, board.A), measure), (Size{12, 5}));
  EXPECT_EQ(NaturalSize(Inside(board.Inner, board.D), measure), (Size{8, 5}))
      << "as wide as the caption";
  EXPECT_EQ(NaturalSize(Indent(board.A), measure), (Size{15, 1}));
  EXPECT_EQ(NaturalSize(Columns({Space(), board.A}), measure), (Size{12, 1}));
}

TEST_F(LayoutTest, SpareRoomGoesToFills) {
  const Layout layout = Columns({board.A, Fill(board.B), Fill(board.C)});
  EXPECT_EQ(WhereIs(board.A, layout, {0, 0, 35, 3}), (Rectangle{0, 1, 10, 1})) << "in the middle";
  EXPECT_EQ(WhereIs(board.B, layout, {0, 0, 35, 3}), (Rectangle{12, 0, 9, 3}));
  EXPECT_EQ(WhereIs(board.C, layout, {0, 0, 35, 3}), (Rectangle{23, 1, 12, 1}))
      << "the last one gets what does not divide";
  const Layout centred = Columns({Space(), board.D, Space()});
  EXPECT_EQ(WhereIs(board.D, centred, {0, 0, 21, 1}).x, 10);
}

TEST_F(LayoutTest, RowsGiveTheirWidthButPicturesKeepTheirs) {
  const Layout layout = Rows({board.A, board.Picture, Fill(board.List)});
  EXPECT_EQ(WhereIs(board.A, layout, {5, 5, 30, 20}), (Rectangle{5, 5, 30, 1}));
  EXPECT_EQ(WhereIs(board.Picture, layout, {5, 5, 30, 20}), (Rectangle{5, 7, 3, 2}));
  EXPECT_EQ(WhereIs(board.List, layout, {5, 5, 30, 20}), (Rectangle{5, 10, 30, 15}));
  EXPECT_EQ(WhereIs(board.List, Columns({board.List, board.B}), {0, 0, 11, 9}).height, 9);
}

TEST_F(LayoutTest, GridColumnsAlign) {
  const Layout grid = Grid(2, {board.A, Fill(board.B), board.D, board.C});
  EXPECT_EQ(WhereIs(board.B, grid, {0, 0, 40, 5}), (Rectangle{12, 0, 28, 3}));
  EXPECT_EQ(WhereIs(board.C, grid, {0, 0, 40, 5}), (Rectangle{12, 4, 28, 1}));
}

TEST_F(LayoutTest, WhatIsHiddenTakesNoRoomExceptInPages) {
  board.B.set_visible(false);
  EXPECT_EQ(NaturalSize(Rows({board.A, Columns({Space(), board.B}), board.C}), measure),
            (Size{10, 3}))
      << "not even a gap";
  EXPECT_EQ(NaturalSize(Grid(1, {board.A, board.B}), measure), (Size{10, 1}));
  const Layout pages = Pages({board.A, board.B});
  EXPECT_EQ(NaturalSize(pages, measure), (Size{10, 3}));
  EXPECT_EQ(Place(pages, measure, {0, 0, 10, 3}).size(), 1u);
  board.Inner.set_visible(false);
  EXPECT_TRUE(Place(Inside(board.Inner, board.A), measure, {0, 0, 12, 5}).empty());
}

TEST_F(LayoutTest, FramesComeBeforeWhatIsInThem) {
  const std::vector<Placed> placed =
      Place(Inside(board.Inner, Rows({board.A})), measure, {10, 10, 20, 8});
  ASSERT_EQ(placed.size(), 2u);
  EXPECT_EQ(placed[0].where, (Rectangle{10, 10, 20, 8}));
  EXPECT_EQ(placed[1].where, (Rectangle{11, 13, 18, 1}));
}

TEST(WrapTextTest, BreaksAtBlanksAndKeepsItsOwnLines) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(WrapText("", 10), (Lines{""}));
  EXPECT_EQ(WrapText("one two three", 7), (Lines{"one two", "three"}));
  EXPECT_EQ(WrapText("one  two", 4), (Lines{"one", "two"}));
  EXPECT_EQ(WrapText("unbreakable", 4), (Lines{"unbr", "eaka", "ble"}));
  EXPECT_EQ(WrapText("\r\nsecond", 0), (Lines{"", "second"}));
  EXPECT_EQ(WrapText("\xC3\xA4\xC3\xB6\xC3\xBC x", 3), (Lines{"\xC3\xA4\xC3\xB6\xC3\xBC", "x"}))
      << "characters, not bytes";
}

}  // namespace
}  // namespace vespro
