// The stories of all dialogs, told in front of real windows.
#include <gtest/gtest.h>

#include "addin/dialog_stories.h"
#include "base/testing.h"
#include "dialogs/samples.h"
#include "engine_window/dialog_stories.h"
#include "merge/dialog_stories.h"
#include "recipients/dialog_stories.h"
#include "settings/dialog_stories.h"
#include "support/dialog_stories.h"
#include "win32/win32_driver.h"
#include "win32/win32_measure.h"
#include "win32/win32_view.h"
#include "windows_forms/gallery.h"

namespace vespro {
namespace {

class NativeDialogTest : public testing::TestWithParam<FormStory> {};

TEST_P(NativeDialogTest, IsTold) {
  Win32Driver driver;
  Story story(driver);
  GetParam().tell(story);
}

INSTANTIATE_TEST_SUITE_P(Recipients, NativeDialogTest, testing::ValuesIn(RecipientsStories()),
                         [](const auto& story) { return story.param.name; });
INSTANTIATE_TEST_SUITE_P(Accounts, NativeDialogTest, testing::ValuesIn(AccountStories()),
                         [](const auto& story) { return story.param.name; });
INSTANTIATE_TEST_SUITE_P(Options, NativeDialogTest, testing::ValuesIn(OptionsStories()),
                         [](const auto& story) { return story.param.name; });
INSTANTIATE_TEST_SUITE_P(Merge, NativeDialogTest, testing::ValuesIn(MergeDialogStories()),
                         [](const auto& story) { return story.param.name; });

INSTANTIATE_TEST_SUITE_P(Support, NativeDialogTest, testing::ValuesIn(SupportStories()),
                         [](const auto& story) { return story.param.name; });
INSTANTIATE_TEST_SUITE_P(Addin, NativeDialogTest, testing::ValuesIn(AddinDialogStories()),
                         [](const auto& story) { return story.param.name; });

INSTANTIATE_TEST_SUITE_P(EngineWindow, NativeDialogTest, testing::ValuesIn(EngineWindowStories()),
                         [](const auto& story) { return story.param.name; });

RECT PlaceOf(HWND window, HWND form) {
  RECT place{};
  GetWindowRect(window, &place);
  MapWindowPoints(nullptr, form, reinterpret_cast<POINT*>(&place), 2);
  return place;
}

// Whether every text fits into its window, every window into the form's, and none lies on another.
void ExpectRoomForAll(const Win32View& view, UINT dpi) {
  const Fonts fonts(dpi);
  const Win32Measure measure(fonts);
  RECT inner{};
  GetClientRect(view.window(), &inner);
  if ((GetWindowLongPtrW(view.window(), GWL_STYLE) & WS_VSCROLL) != 0) {
    // Higher than this screen: all of it can be scrolled to.
    SCROLLINFO scroll{};
    scroll.cbSize = sizeof(scroll);
    scroll.fMask = SIF_POS | SIF_RANGE;
    GetScrollInfo(view.window(), SB_VERT, &scroll);
    inner.top = -scroll.nPos;
    inner.bottom = scroll.nMax + 1 - scroll.nPos;
  }
  std::vector<std::pair<std::string, RECT>> seen;
  for (const Control* control : view.form().controls()) {
    SCOPED_TRACE(control->name());
    if (!IsWindowVisible(view.WindowOf(*control)) || control->kind() == ControlKind::kFrame)
      continue;
    const RECT place = PlaceOf(view.WindowOf(*control), view.window());
    RECT both{};
    EXPECT_TRUE(UnionRect(&both, &inner, &place) && EqualRect(&both, &inner)) << "over the edge";
    if (control->kind() == ControlKind::kTabStrip) continue;  // it lies under its pages
    for (const auto& [name, other] : seen)
      EXPECT_FALSE(IntersectRect(&both, &other, &place)) << name;
    const Size needed = measure.NaturalSize(*control);
    EXPECT_GE(place.right - place.left, needed.width);
    EXPECT_GE(place.bottom - place.top,
              control->kind() == ControlKind::kComboBox ? 1 : needed.height);
    seen.emplace_back(control->name(), place);
  }
}

TEST(NativeLayoutTest, EverythingHasItsRoomAtAnyResolution) {
  const TemporaryFolder folder;
  std::vector<DialogSample> samples = DialogSamples(folder.path());
  for (const int page : {0, 1}) {
    samples.push_back(
        {"gallery", [=](Desktop& desktop) { frmGallery(page).ShowModal(desktop); }, {}});
  }
  for (const DialogSample& sample : samples) {
    SCOPED_TRACE(sample.name);
    Win32Driver driver;
    driver.Start([&] { sample.show(driver.desktop()); });
    const auto& visible = driver.desktop().renderer().visible();
    ASSERT_FALSE(visible.empty());
    int width = 0;
    for (const UINT dpi : {96U, 144U, 192U}) {
      SCOPED_TRACE(dpi);
      RECT proposed{};
      SendMessageW(visible.back()->window(), 0x02E0 /* WM_DPICHANGED */, MAKEWPARAM(dpi, dpi),
                   reinterpret_cast<LPARAM>(&proposed));
      ExpectRoomForAll(*visible.back(), dpi);
      RECT inner{};
      GetClientRect(visible.back()->window(), &inner);
      EXPECT_GT(inner.right, width * 5 / 4);
      width = static_cast<int>(inner.right);
    }
  }
}

}  // namespace
}  // namespace vespro
