// What a form's renderer and the desktop owe to Windows and to the mail client; what all renderers
// owe to forms is told in forms/stories.h.
#include "win32/win32_desktop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "base/files.h"
#include "base/testing.h"
#include "base/win32/wide.h"
#include "forms/sample_form.h"
#include "forms/story.h"
#include "win32/file_picker.h"
#include "win32/win32_driver.h"
#include "win32/win32_view.h"

namespace vespro {
namespace {

using Lines = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

class Win32DesktopTest : public testing::Test {
 protected:
  // Runs `program` with a mail client's window, and another one of its windows.
  void StartInHost(std::function<void()> program) {
    story.Start([this, run = std::move(program)] {
      driver.desktop().host = host = MakeWindow();
      other = MakeWindow();
      run();
      for (const HWND window : {host, other}) DestroyWindow(window);
    });
  }
  static HWND MakeWindow() {
    return CreateWindowExW(0, L"STATIC", L"Mail", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 50, 50, 900,
                           700, nullptr, nullptr, nullptr, nullptr);
  }
  HWND WindowOf(const SampleForm& form, const Control& control) {
    for (const Win32View* view : driver.desktop().renderer().visible()) {
      if (&view->form() == &form) return view->WindowOf(control);
    }
    return nullptr;
  }

  Win32Driver driver;
  Story story{driver};
  HWND host = nullptr;
  HWND other = nullptr;
};

TEST_F(Win32DesktopTest, TheMailClientTakesNoInputWhileAFormIsShown) {
  bool enabled_after = false;
  HWND active_after = nullptr;
  StartInHost([&] {
    SampleForm form(driver.desktop());
    form.ShowModal(driver.desktop());
    enabled_after = IsWindowEnabled(host) && IsWindowEnabled(other);
    active_after = GetActiveWindow();
  });
  EXPECT_FALSE(IsWindowEnabled(host));
  EXPECT_FALSE(IsWindowEnabled(other));
  const HWND first = driver.Top();
  EXPECT_EQ(GetWindow(first, GW_OWNER), host);
  story.Click("CmdMore");  // which hides the first and shows a second
  EXPECT_FALSE(IsWindowEnabled(host));
  story.Type("TextNumber", "bad");
  story.Click("CmdOk");  // and a message before it
  story.Press(Key::kEnter);
  EXPECT_FALSE(IsWindowEnabled(host)) << "the message is gone, the form is not";
  story.Press(Key::kEscape);
  EXPECT_FALSE(IsWindowEnabled(host));
  story.CloseByFrame();
  story.SeesEnd();
  EXPECT_TRUE(enabled_after);
  EXPECT_EQ(active_after, host) << "not some other program's window";
}

TEST_F(Win32DesktopTest, ItTakesNoneWhileABoxStandsAlone) {
  bool enabled_after = false;
  HWND active_after = nullptr;
  StartInHost([&] {
    driver.desktop().MsgBox("Well?", MessageIcon::kQuestion, MessageButtons::kYesNo, "Vespro");
    enabled_after = IsWindowEnabled(host) && IsWindowEnabled(other);
    active_after = GetActiveWindow();
  });
  EXPECT_FALSE(IsWindowEnabled(host));
  EXPECT_FALSE(IsWindowEnabled(other));
  story.Press(Key::kEnter);
  story.SeesEnd();
  EXPECT_TRUE(enabled_after);
  EXPECT_EQ(active_after, host);
}

TEST_F(Win32DesktopTest, AFormGoesWithTheWindowItWasInFrontOf) {
  Lines events;
  StartInHost([&] {
    SampleForm form(driver.desktop());
    form.CmdOk.OnClick([&] { DestroyWindow(host); });
    form.ShowModal(driver.desktop());
    EXPECT_FALSE(form.loaded());
    events = form.events;
  });
  story.Click("CmdOk");
  story.SeesEnd();
  EXPECT_EQ(events, (Lines{"load", "leave", "unload"}));
}

// A DLL's windows' class would outlive the DLL.
TEST(Win32RendererTest, LeavesNoWindowClassBehind) {
  const auto is_registered = [] {
    WNDCLASSEXW found{};
    found.cbSize = sizeof(found);
    return GetClassInfoExW(OurModule(), Win32Renderer::kWindowClass, &found) != FALSE;
  };
  {
    Win32Driver driver;
    Story story{driver};
    SampleForm form(driver.desktop());
    story.Start([&] { form.ShowModal(driver.desktop()); });
    EXPECT_TRUE(is_registered());
    story.CloseByFrame();
    story.SeesEnd();
  }
  EXPECT_FALSE(is_registered());
}

TEST_F(Win32DesktopTest, TheKeyboardMovesInsideNativeControls) {
  SampleForm form(driver.desktop());
  story.Start([&] { form.ShowModal(driver.desktop()); });
  story.Select("ListFiles", 0);
  form.events.clear();
  story.Press(Key::kDown);
  EXPECT_EQ(form.events, Lines{"row 1"});
  story.Press(Key::kUp);
  EXPECT_EQ(form.events, (Lines{"row 1", "row 0"}));
  story.Type("TextNote", "one");
  story.Press(Key::kEnter);
  PostMessageW(WindowOf(form, form.TextNote), WM_CHAR, 'x', 1);
  story.Press(Key::kTab);
  EXPECT_EQ(form.TextNote.text(), "one\r\nx");
  EXPECT_EQ(story.TextOf("TextNote"), "one\r\nx") << "no tab got into it";
  driver.End();
}

// Forms that say by themselves what happens while they are loaded.
class LoadingForm final : public Form {
 public:
  explicit LoadingForm(std::function<void()> load)
      : Form("LoadingForm", "Loading"), load_(std::move(load)) {}

 private:
  Layout Arrange() override { return Rows({TextName}); }
  void Form_Load() override { load_(); }

  TextBox TextName{this, "TextName"};
  std::function<void()> load_;
};

TEST_F(Win32DesktopTest, TheMailClientTakesNoInputWhileAFormIsLoaded) {
  bool enabled = true, visible = true, enabled_after = false;
  StartInHost([&] {
    LoadingForm form([&] {
      enabled = IsWindowEnabled(host) || IsWindowEnabled(other);
      visible = IsWindowVisible(driver.desktop().renderer().visible().back()->window());
      form.Unload();
    });
    form.ShowModal(driver.desktop());
    enabled_after = IsWindowEnabled(host) && IsWindowEnabled(other);
  });
  story.SeesEnd();
  EXPECT_FALSE(enabled);
  EXPECT_FALSE(visible) << "a form that is quick opens complete";
  EXPECT_TRUE(enabled_after);
}

TEST_F(Win32DesktopTest, AFormThatIsLoadedGoesWithTheWindowItWasInFrontOf) {
  bool loaded = true;
  StartInHost([&] {
    LoadingForm form([&] { DestroyWindow(host); });
    form.ShowModal(driver.desktop());
    loaded = form.loaded();
  });
  story.SeesEnd();
  EXPECT_FALSE(loaded);
}

TEST_F(Win32DesktopTest, TheMouseBringsTooltipsUp) {
  SampleForm form(driver.desktop());
  form.LabelNumber.set_tooltip("How many");
  story.Start([&] { form.ShowModal(driver.desktop()); });
  const HWND label = WindowOf(form, form.LabelNumber);
  RECT area{};
  GetWindowRect(label, &area);
  SetCursorPos(area.left + 3, area.top + 3);
  const auto tooltip = [&] {
    for (HWND window = GetTopWindow(nullptr); window != nullptr;
         window = GetWindow(window, GW_HWNDNEXT)) {
      wchar_t name[32] = {};
      GetClassNameW(window, name, 32);
      if (name == std::wstring_view(TOOLTIPS_CLASSW) && IsWindowVisible(window)) return window;
    }
    return HWND{};
  };
  const Clock::time_point limit = Clock::now() + std::chrono::seconds(20);
  for (LONG x = 3; tooltip() == nullptr && Clock::now() < limit; x = x == 3 ? 4 : 3) {
    SetCursorPos(area.left + x, area.top + 3);
    PostMessageW(label, WM_MOUSEMOVE, 0, MAKELPARAM(x, 3));
    Sleep(700);
  }
  EXPECT_NE(tooltip(), nullptr);
  driver.End();
}

// How often the window was given a size or place.
LRESULT CALLBACK CountMoves(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                            DWORD_PTR count) {
  if (message == WM_WINDOWPOSCHANGING) ++*reinterpret_cast<int*>(count);
  return DefSubclassProc(window, message, wparam, lparam);
}

TEST_F(Win32DesktopTest, ManyChangesAreOneLayout) {
  SampleForm form(driver.desktop());
  int moves = 0, in_handler = -1;
  form.CmdOk.OnClick([&] {
    const HWND moved = WindowOf(form, form.CmdMore);
    SetWindowSubclass(moved, CountMoves, 1, reinterpret_cast<DWORD_PTR>(&moves));
    form.FrameKind.set_visible(false);
    form.ListFiles.set_visible(false);
    form.CmdMore.set_caption("Much more than there was before");
    form.LabelNumber.set_caption("The number:");
    in_handler = moves;
  });
  story.Start([&] { form.ShowModal(driver.desktop()); });
  const HWND window = driver.Top();
  RECT before{}, after{};
  GetWindowRect(window, &before);
  story.Click("CmdOk");
  GetWindowRect(window, &after);
  EXPECT_EQ(in_handler, 0);
  EXPECT_EQ(moves, 1);
  EXPECT_LT(after.bottom - after.top, before.bottom - before.top);
  EXPECT_EQ(story.Of("CmdMore").caption, "Much more than there was before");
  driver.End();
}

TEST_F(Win32DesktopTest, TextIsInTheMiddleOfItsBoxAtAnyResolution) {
  SampleForm form(driver.desktop());
  story.Start([&] { form.ShowModal(driver.desktop()); });
  const HWND box = WindowOf(form, form.TextNumber);
  for (const UINT dpi : {96U, 144U, 192U}) {
    RECT proposed{}, outer{}, line{};
    SendMessageW(driver.Top(), 0x02E0 /* WM_DPICHANGED */, MAKEWPARAM(dpi, dpi),
                 reinterpret_cast<LPARAM>(&proposed));
    GetWindowRect(box, &outer);
    GetClientRect(box, &line);
    MapWindowPoints(box, nullptr, reinterpret_cast<POINT*>(&line), 2);
    EXPECT_EQ(line.bottom - line.top, Fonts(dpi).line_height()) << dpi;
    EXPECT_LE(std::abs((line.top - outer.top) - (outer.bottom - line.bottom)), 1) << dpi;
    const LPARAM below_the_line = MAKELPARAM(line.left + 5, line.bottom + 1);
    EXPECT_EQ(SendMessageW(box, WM_NCHITTEST, 0, below_the_line), HTCLIENT) << "can be clicked";
  }
  driver.End();
}

TEST_F(Win32DesktopTest, CtrlAMarksAllThatABoxHolds) {
  SampleForm form(driver.desktop());
  story.Start([&] { form.ShowModal(driver.desktop()); });
  story.Type("TextNote", "one\r\ntwo");
  driver.PressWithCtrl('A');
  DWORD first = 1, last = 0;
  SendMessageW(WindowOf(form, form.TextNote), EM_GETSEL, reinterpret_cast<WPARAM>(&first),
               reinterpret_cast<LPARAM>(&last));
  EXPECT_EQ(first, 0U);
  EXPECT_EQ(last, 8U);
  EXPECT_EQ(form.TextNote.text(), "one\r\ntwo") << "no letter got into it";
  driver.End();
}

TEST_F(Win32DesktopTest, AHandlerThatThrowsHurtsNobodyElse) {
  SampleForm form(driver.desktop());
  form.CmdMore.OnClick([] { throw std::runtime_error("a fault"); });
  story.Start([&] { form.ShowModal(driver.desktop()); });
  story.Click("CmdMore");
  story.Click("CheckLocked");
  EXPECT_TRUE(form.CheckLocked.checked());
  story.Click("CmdClose");
  story.SeesEnd();
}

// The program neither waits nor lets events run.
TEST_F(Win32DesktopTest, WhatAWorkingProgramShowsIsDrawnAtOnce) {
  bool shown = false, changed = false;
  Lines events;
  story.Start([&] {
    SampleForm form(driver.desktop());
    form.Show(driver.desktop());
    const HWND box = WindowOf(form, form.TextNumber);
    shown = IsWindowVisible(box) && !GetUpdateRect(box, nullptr, FALSE);
    form.events.clear();
    form.TextNumber.set_text("1,000");
    changed = !GetUpdateRect(box, nullptr, FALSE);
    events = form.events;
  });
  story.SeesEnd();
  EXPECT_TRUE(shown);
  EXPECT_TRUE(changed);
  EXPECT_EQ(events, Lines{}) << "it was not the user";
}

LRESULT CALLBACK NoteTimer(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                           DWORD_PTR came) {
  if (message == WM_TIMER) *reinterpret_cast<bool*>(came) = true;
  return DefSubclassProc(window, message, wparam, lparam);
}

TEST_F(Win32DesktopTest, EventsRunWhileAProgramWorks) {
  bool came = false;
  story.Start([&] {
    const HWND window = MakeWindow();
    SetTimer(window, 1, 1, nullptr);
    const Clock::time_point limit = Clock::now() + std::chrono::seconds(20);
    SetWindowSubclass(window, NoteTimer, 1, reinterpret_cast<DWORD_PTR>(&came));
    while (!came && Clock::now() < limit) driver.desktop().DoEvents();
    DestroyWindow(window);
  });
  story.SeesEnd();
  EXPECT_TRUE(came);
}

// What is on the clipboard as a device-independent bitmap: its size, and how many of its pixels
// differ from that in the corner.
struct OnClipboard {
  bool bitmap = false;
  LONG width = 0, height = 0;
  int drawn = 0;
  COLORREF corner = 0;
};
OnClipboard PictureOnClipboard() {
  OnClipboard found;
  EXPECT_TRUE(OpenClipboard(nullptr));
  found.bitmap = GetClipboardData(CF_BITMAP) != nullptr;
  const HANDLE data = GetClipboardData(CF_DIB);
  const auto* info = data != nullptr ? static_cast<const BITMAPINFO*>(GlobalLock(data)) : nullptr;
  if (info != nullptr) {
    found.width = info->bmiHeader.biWidth;
    found.height = info->bmiHeader.biHeight;
    const Owned<HDC> dc(CreateCompatibleDC(nullptr));
    const Owned<HBITMAP> bitmap(static_cast<HBITMAP>(
        CopyImage(GetClipboardData(CF_BITMAP), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
    const HGDIOBJ before = SelectObject(dc.get(), bitmap.get());
    found.corner = GetPixel(dc.get(), 0, 0);
    for (int i = 0; i < found.width * found.height; ++i) {
      if (GetPixel(dc.get(), i % found.width, i / found.width) != found.corner) ++found.drawn;
    }
    SelectObject(dc.get(), before);
    GlobalUnlock(data);
  }
  CloseClipboard();
  return found;
}

TEST_F(Win32DesktopTest, TheClipboardTakesPictures) {
  StartInHost([&] {
    EXPECT_TRUE(driver.desktop().SetClipboardPicture("PAPERCLIP", PictureKind::kIcon).ok());
    const OnClipboard icon = PictureOnClipboard();
    EXPECT_TRUE(icon.bitmap);
    EXPECT_EQ(icon.width, 16);
    EXPECT_EQ(icon.height, 16);
    EXPECT_EQ(icon.corner, GetSysColor(COLOR_BTNFACE));
    EXPECT_GT(icon.drawn, 10);
    EXPECT_TRUE(driver.desktop().SetClipboardPicture("MAILBMP", PictureKind::kBitmap).ok());
    const OnClipboard bitmap = PictureOnClipboard();
    EXPECT_TRUE(bitmap.bitmap);
    EXPECT_EQ(bitmap.width, 16);
    EXPECT_GT(bitmap.drawn, 10);
    EXPECT_EQ(driver.desktop().SetClipboardPicture("NOTHING", PictureKind::kIcon).code(),
              Code::kNotFound);
    EXPECT_TRUE(IsClipboardFormatAvailable(CF_BITMAP)) << "as it was";
    EXPECT_TRUE(driver.desktop().ClearClipboard().ok());
    EXPECT_FALSE(IsClipboardFormatAvailable(CF_BITMAP));
  });
}

TEST_F(Win32DesktopTest, TheClipboardTakesText) {
  StartInHost([&] {
    const std::string text = "#GR\xC3\x96SSE \xF0\x9F\x98\x80";
    EXPECT_TRUE(driver.desktop().ClearClipboard().ok());
    EXPECT_FALSE(IsClipboardFormatAvailable(CF_UNICODETEXT));
    EXPECT_TRUE(driver.desktop().SetClipboardText(text).ok());
    ASSERT_TRUE(OpenClipboard(nullptr));
    const HANDLE data = GetClipboardData(CF_UNICODETEXT);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(ModWide::ToUtf8(static_cast<const wchar_t*>(GlobalLock(data))), text);
    GlobalUnlock(data);
    CloseClipboard();
  });
  story.SeesEnd();
}

TEST_F(Win32DesktopTest, StartsPrograms) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder / "żółw.txt";
  const std::string line = "cmd.exe /c echo done> \"" + ModFiles::ToUtf8(file) + "\"";
  ASSERT_TRUE(driver.desktop().Start({"cmd.exe", {}, line}).ok());
  const Clock::time_point limit = Clock::now() + std::chrono::seconds(20);
  while (!std::filesystem::exists(file) && Clock::now() < limit) Sleep(20);
  EXPECT_TRUE(std::filesystem::exists(file));
  const Status missing = driver.desktop().Start({"no such.exe", {}, "\"no such.exe\""});
  EXPECT_EQ(missing.code(), Code::kUnavailable);
  EXPECT_EQ(missing.native(), static_cast<std::uint32_t>(ERROR_FILE_NOT_FOUND));
}

TEST_F(Win32DesktopTest, AFileIsPickedInTheFolderWhereThePickerBegins) {
  const TemporaryFolder folder;
  const std::string lists = ModFiles::ToUtf8(folder / "Łąki été");
  std::filesystem::create_directories(ModFiles::FromUtf8(lists));
  const std::string path = ModFiles::ToUtf8(folder.Write("Łąki été/żółw.csv", "a@example.org"));
  std::string picked;
  story.Start([&] {
    picked = driver.desktop().PickFile({"Pick", "Tables (*.csv)|*.csv| All|*.*|", lists});
  });
  story.PickFile("żółw.csv");
  story.SeesEnd();
  EXPECT_TRUE(std::filesystem::equivalent(ModFiles::FromUtf8(picked), ModFiles::FromUtf8(path)))
      << picked;
}

TEST(FilePickerTest, FiltersAsTheSystemTakesThem) {
  using std::literals::operator""sv;
  EXPECT_EQ(ModFilePicker::SystemFilter("Text (*.txt)|*.txt; *.text| Tables|*.csv|"),
            L"Text (*.txt)\0*.txt; *.text\0 Tables\0*.csv\0\0"sv);
  EXPECT_EQ(ModFilePicker::SystemFilter("Text|*.txt"), L"Text\0*.txt\0\0"sv);
  EXPECT_EQ(ModFilePicker::SystemFilter("Text"), L"Text\0*.*\0\0"sv) << "cut short";
  EXPECT_EQ(ModFilePicker::SystemFilter("|*.txt|B|*.b|"), L" \0*.txt\0B\0*.b\0\0"sv)
      << "an empty name must not end the list";
}

}  // namespace
}  // namespace vespro
