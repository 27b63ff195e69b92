#include "outlook/outlook_driver.h"

#include <ole2.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>

#include "win32/guard.h"

namespace vespro::standin {
namespace {

constexpr std::chrono::milliseconds kPatience{30000};
constexpr UINT kWork = WM_APP + 1;
// A DLL that lets events run while it works looks as if it were at rest; it does so every 15 ms.
constexpr int kLooks = 3;
constexpr std::chrono::milliseconds kBetweenLooks{10};

struct Work {
  std::function<void()> run;
  std::atomic<int>& unfinished;
  std::atomic<bool> over = false;
};

}  // namespace

OutlookDriver::OutlookDriver() {
  Run([this] { RunOutlook(); });
  // The window that takes work comes first of all.
  Settle(kPatience).Ignore();
}

OutlookDriver::~OutlookDriver() { End(); }

void OutlookDriver::RunOutlook() {
  OleInitialize(nullptr);
  WNDCLASSW wanted{};
  wanted.lpfnWndProc = Procedure;
  wanted.lpszClassName = L"StandInWork";
  RegisterClassW(&wanted);
  works_ = CreateWindowW(wanted.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                         nullptr);
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  DestroyWindow(works_);
  OleUninitialize();
}

LRESULT CALLBACK OutlookDriver::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message != kWork) return DefWindowProcW(window, message, wparam, lparam);
  const std::unique_ptr<std::shared_ptr<Work>> work(
      reinterpret_cast<std::shared_ptr<Work>*>(lparam));
  return AtEdge("a step", [&] {
    (*work)->run();
    (*work)->over = true;
    --(*work)->unfinished;
    return 0;
  });
}

bool OutlookDriver::Do(std::function<void()> run) {
  const std::shared_ptr<Work> work(new Work{std::move(run), unfinished_});
  auto posted = std::make_unique<std::shared_ptr<Work>>(work);
  ++unfinished_;
  if (PostMessageW(works_, kWork, 0, reinterpret_cast<LPARAM>(posted.get()))) posted.release();
  Settle(kPatience).Ignore();
  return work->over;
}

Status OutlookDriver::Settle(std::chrono::milliseconds patience) {
  const auto limit = std::chrono::steady_clock::now() + patience;
  Status settled;
  // Work that is under way without a dialog lets events run, but waits for nobody.
  do {
    for (int look = 0; look < kLooks && settled.ok(); ++look) {
      if (look > 0) std::this_thread::sleep_for(kBetweenLooks);
      settled = Win32Driver::Settle(patience);
    }
  } while (settled.ok() && unfinished_ > 0 && Top() == nullptr &&
           std::chrono::steady_clock::now() < limit);
  return settled;
}

bool OutlookDriver::IsWaiting() const {
  const HWND active = GetActiveWindow();
  return active == nullptr || IsWindowVisible(active);
}

void OutlookDriver::End() {
  for (int tries = 0; tries < 20 && Top() != nullptr; ++tries) {
    const bool asks = GetDlgItem(Top(), IDNO) != nullptr;
    PostMessageW(Top(), asks ? WM_COMMAND : WM_CLOSE, asks ? IDNO : 0, 0);
    Settle(kPatience).Ignore();  // Top says
  }
}

}  // namespace vespro::standin
