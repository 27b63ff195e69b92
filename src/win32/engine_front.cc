#include <windows.h>

#include <algorithm>
#include <exception>
#include <thread>
#include <utility>

#include "engine/front.h"
#include "engine_window/frm_progress.h"
#include "engine_window/run_board.h"
#include "win32/guard.h"
#include "win32/owned.h"
#include "win32/win32_desktop.h"
#include "win32/win32_view.h"

namespace vespro::engine {
namespace {

constexpr UINT kBetweenLooks = 200;  // milliseconds
// Windows ends a program that takes five seconds to go.
constexpr std::chrono::milliseconds kInOrder{3500}, kAtOnce{1000};
constexpr wchar_t kListenerClass[] = L"VesproEngine";

// What is asked of the run, and whether it is over.
struct Ending {
  std::atomic<int> stops{0};
  RunBoard board;

  explicit Ending(const Clock& clock) : board(clock) {}
  // Returns when the run is over or there is no more time.
  void StopSoon() {
    stops = std::max(stops.load(), 1);
    if (board.WaitForEnd(kInOrder)) return;
    stops = 2;
    board.WaitForEnd(kAtOnce);
  }
};

// The console's own thread knows nothing else of us.
std::atomic<Ending*> console_ending{nullptr};

// Ctrl+C and Ctrl+Break are signals, which the run takes by itself.
BOOL WINAPI OnConsole(DWORD event) {
  Ending* ending = console_ending;
  if (ending == nullptr || event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) return FALSE;
  AtEdge("the console's end", [&] {
    ending->StopSoon();
    return 0;
  });
  return FALSE;
}

int RunInTry(const RunFunction& run, RunBoard& board, const std::atomic<int>& stops) {
  try {
    return run(&board, stops);
  } catch (const std::exception& error) {
    // Only running out of memory is expected here; the journal has everything that was done.
    board.OnSay(error.what());
    return kExitRunAgain;
  }
}

// An unseen window that is told of the time and of the end of the user's session.
class Listener {
 public:
  Listener(Ending& ending, std::function<void()> on_time)
      : ending_(ending), on_time_(std::move(on_time)) {
    WNDCLASSW wanted{};
    wanted.lpfnWndProc = Procedure;
    wanted.hInstance = GetModuleHandleW(nullptr);
    wanted.lpszClassName = kListenerClass;
    RegisterClassW(&wanted);
    window_.Reset(CreateWindowExW(WS_EX_TOOLWINDOW, kListenerClass, nullptr, WS_POPUP, 0, 0, 0, 0,
                                  nullptr, nullptr, wanted.hInstance, nullptr));
    SetWindowLongPtrW(window_.get(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetTimer(window_.get(), 1, kBetweenLooks, nullptr);
  }
  ~Listener() { SetWindowLongPtrW(window_.get(), GWLP_USERDATA, 0); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    auto* self = reinterpret_cast<Listener*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    const bool session_ends = message == WM_ENDSESSION && wparam != 0;
    if (self == nullptr || (message != WM_TIMER && !session_ends)) {
      return DefWindowProcW(window, message, wparam, lparam);
    }
    return AtEdge("the engine's window", [&]() -> LRESULT {
      if (session_ends) {
        self->ending_.StopSoon();
      } else {
        self->on_time_();
      }
      return 0;
    });
  }

  Ending& ending_;
  std::function<void()> on_time_;
  Owned<HWND> window_;
};

// A program's only window can be put away while it works.
void MakeMinimizable(const Win32Renderer& renderer) {
  for (const Win32View* view : renderer.visible()) {
    const LONG_PTR style = GetWindowLongPtrW(view->window(), GWL_STYLE);
    if ((style & WS_MINIMIZEBOX) != 0) continue;
    SetWindowLongPtrW(view->window(), GWL_STYLE, style | WS_MINIMIZEBOX);
    SetWindowPos(view->window(), nullptr, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
  }
}

int ShowInWindow(const Clock& clock, const RunFunction& run) {
  Ending ending(clock);
  Win32Desktop desktop([]() -> HWND { return nullptr; }, [](std::string_view) {});
  frmProgress form(desktop, [&ending] { ++ending.stops; });
  int exit = kExitAllSent;
  std::thread work([&] {
    exit = RunInTry(run, ending.board, ending.stops);
    ending.board.End(exit);
  });
  {
    const Listener listener(ending, [&] {
      form.Set(ending.board.Look());
      MakeMinimizable(desktop.renderer());
    });
    form.ShowModal(desktop);
  }
  // Where there was nothing to show, the run goes on to its end all the same.
  work.join();
  return exit;
}

int ShowAtConsole(const Clock& clock, const RunFunction& run) {
  // The handler may be at work when the process ends: what it looks at is never freed.
  auto* const ending = new Ending(clock);
  console_ending = ending;
  SetConsoleCtrlHandler(OnConsole, TRUE);
  const int exit = run(nullptr, ending->stops);
  ending->board.End(exit);
  return exit;
}

bool LeadsSomewhere(DWORD stream) {
  const HANDLE handle = GetStdHandle(stream);
  return handle != nullptr && handle != INVALID_HANDLE_VALUE &&
         GetFileType(handle) != FILE_TYPE_UNKNOWN;
}

}  // namespace

Front::Front()
    : alone_(GetConsoleWindow() == nullptr && !LeadsSomewhere(STD_OUTPUT_HANDLE) &&
             !LeadsSomewhere(STD_ERROR_HANDLE)) {}

int Front::Show(const Clock& clock, const RunFunction& run) const {
  return alone_ ? ShowInWindow(clock, run) : ShowAtConsole(clock, run);
}

}  // namespace vespro::engine
