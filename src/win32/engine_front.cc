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
  // Windows ends the program when this returns, which it does if the run takes too long. Otherwise
  // the program has gone by itself, since its exit code is the run's. All that the run writes is
  // written by then, so it goes without waiting for its other threads, which may be going, too.
  void StopAndExit() {
    stops = std::max(stops.load(), 1);
    if (!board.WaitForEnd(kInOrder)) {
      stops = 2;
      board.WaitForEnd(kAtOnce);
    }
    if (const auto exit = board.Look().exit) {
      TerminateProcess(GetCurrentProcess(), static_cast<UINT>(*exit));
    }
  }
};

// The console's own thread knows nothing else of us.
std::atomic<Ending*> console_ending{nullptr};

// Ctrl+C and Ctrl+Break are signals, which the run takes by itself.
BOOL WINAPI OnConsole(DWORD event) {
  Ending* ending = console_ending;
  if (ending == nullptr || event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) return FALSE;
  AtEdge("the console's end", [&] {
    ending->StopAndExit();
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

// The run, on a thread of its own.
class Worker {
 public:
  // Both must outlive it.
  Worker(const RunFunction& run, Ending& ending) : run_(run), ending_(ending) {}
  ~Worker() { Wait(); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // An earlier run must have ended.
  void Begin() {
    Wait();
    ending_.stops = 0;
    ending_.board.Begin();
    thread_ = std::thread([this] {
      exit_ = RunInTry(run_, ending_.board, ending_.stops);
      ending_.board.End(exit_);
    });
  }
  // Until the run is over. Returns what the last one returned.
  int Wait() {
    if (thread_.joinable()) thread_.join();
    return exit_;
  }

 private:
  const RunFunction& run_;
  Ending& ending_;
  int exit_ = kExitAllSent;
  std::thread thread_;
};

// An unseen window that is told of the time and of the end of the user's session, on the thread
// that made it.
class Listener {
 public:
  Listener(std::function<void()> on_time, std::function<void()> on_session_end)
      : on_time_(std::move(on_time)), on_session_end_(std::move(on_session_end)) {
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
      session_ends ? self->on_session_end_() : self->on_time_();
      return 0;
    });
  }

  std::function<void()> on_time_, on_session_end_;
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
  Worker worker(run, ending);
  frmProgress form(desktop, {[&ending] { ++ending.stops; }, [&worker] { worker.Begin(); }});
  worker.Begin();
  {
    const Listener listener(
        [&] {
          form.Set(ending.board.Look());
          MakeMinimizable(desktop.renderer());
        },
        [&] { ending.StopAndExit(); });
    form.ShowModal(desktop);
  }
  // Where there was nothing to show, the run goes on to its end all the same.
  return worker.Wait();
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
