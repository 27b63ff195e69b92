#include "win32/win32_desktop.h"

#include <cstdint>
#include <cstring>

#include "base/files_platform.h"
#include "base/open_document.h"
#include "base/win32/system_programs.h"
#include "base/win32/wide.h"
#include "forms/input_form.h"
#include "win32/clipboard_picture.h"
#include "win32/file_picker.h"
#include "win32/owned.h"

namespace vespro {
namespace {

constexpr int kClipboardTries = 20;
constexpr DWORD kClipboardPause = 10;  // milliseconds

constexpr DWORD kBetweenEvents = 15;  // milliseconds

UINT SystemIcon(MessageIcon icon) {
  switch (icon) {
    case MessageIcon::kCritical:
      return MB_ICONERROR;
    case MessageIcon::kQuestion:
      return MB_ICONQUESTION;
    case MessageIcon::kExclamation:
      return MB_ICONWARNING;
    case MessageIcon::kInformation:
      break;
  }
  return MB_ICONINFORMATION;
}

std::wstring ProgramOf(const std::string& executable) {
  const std::wstring name = ModWide::FromUtf8(executable);
  return name.find_first_of(L"\\/:") == name.npos ? ModSystemPrograms::PathOf(name) : name;
}

bool IsQuitting() {
  MSG message{};
  return PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_NOREMOVE) != FALSE;
}

// Another program may hold the clipboard for a moment.
class OpenedClipboard {
 public:
  // `owner` is a window of this thread: what nobody owns takes no data on some systems.
  explicit OpenedClipboard(HWND owner) {
    for (int tries = 0; tries < kClipboardTries && !opened_; ++tries) {
      if (tries > 0) Sleep(kClipboardPause);
      opened_ = OpenClipboard(owner) != 0;
    }
  }
  ~OpenedClipboard() {
    if (opened_) CloseClipboard();
  }
  OpenedClipboard(const OpenedClipboard&) = delete;
  OpenedClipboard& operator=(const OpenedClipboard&) = delete;
  bool opened() const { return opened_; }

 private:
  bool opened_ = false;
};

Status ClipboardFailed() {
  const DWORD error = GetLastError();
  return Status(Code::kUnavailable,
                "the clipboard can't be used (Windows error " + std::to_string(error) + ")", error);
}

}  // namespace

MessageAnswer Win32Desktop::MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                                   std::string_view title) {
  const bool asks = buttons == MessageButtons::kYesNo;
  const UINT style =
      SystemIcon(icon) | static_cast<UINT>(asks ? MB_YESNO : MB_OK) | MB_SETFOREGROUND;
  const VisualStyles::InUse new_look(renderer_.styles());
  const HWND owner = renderer_.Front();
  const Win32Renderer::HostBlock others(owner);
  int answer = 0;
  do {
    answer = MessageBoxW(owner, ModWide::FromUtf8(text).c_str(), ModWide::FromUtf8(title).c_str(),
                         style);
    // Not every system knows that a question can't be closed without an answer.
  } while (asks && answer == IDCANCEL && !IsQuitting());
  if (answer <= 0) Log("A message could not be shown: " + std::string(text));
  if (!asks) return MessageAnswer::kOk;
  return answer == IDYES ? MessageAnswer::kYes : MessageAnswer::kNo;
}

std::string Win32Desktop::InputBox(std::string_view prompt, std::string_view title,
                                   std::string_view initial) {
  return InputForm(prompt, title, initial).Ask(*this);
}

std::string Win32Desktop::PickFile(const FileQuestion& question) {
  const VisualStyles::InUse new_look(renderer_.styles());
  const HWND owner = renderer_.Front();
  const Win32Renderer::HostBlock others(owner);
  Result<std::string> path = ModFilePicker::Ask(owner, question);
  if (path.ok()) return std::move(path).value();
  Log(path.status().text() + ", error " + std::to_string(path.status().native()));
  return {};
}

Status Win32Desktop::ClearClipboard() {
  const OpenedClipboard clipboard(renderer_.Front());
  if (clipboard.opened() && EmptyClipboard() != 0) return {};
  return ClipboardFailed();
}

Status Win32Desktop::SetClipboardText(std::string_view text) {
  const std::wstring wide = ModWide::FromUtf8(std::string(text));
  const std::size_t bytes = (wide.size() + 1) * sizeof(wchar_t);
  const OpenedClipboard clipboard(renderer_.Front());
  if (!clipboard.opened()) return ClipboardFailed();
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes);
  if (memory == nullptr) return ClipboardFailed();
  void* copy = GlobalLock(memory);
  if (copy != nullptr) {
    std::memcpy(copy, wide.c_str(), bytes);
    GlobalUnlock(memory);
    // The clipboard owns it from then on.
    if (EmptyClipboard() != 0 && SetClipboardData(CF_UNICODETEXT, memory) != nullptr) return {};
  }
  const Status failed = ClipboardFailed();
  GlobalFree(memory);
  return failed;
}

Status Win32Desktop::SetClipboardPicture(std::string_view resource, PictureKind kind) {
  Owned<HBITMAP> picture = ModClipboardPicture::Load(resource, kind);
  if (!picture)
    return Status(Code::kNotFound, "there is no picture '" + std::string(resource) + "'");
  const OpenedClipboard clipboard(renderer_.Front());
  if (!clipboard.opened() || EmptyClipboard() == 0) return ClipboardFailed();
  if (kind == PictureKind::kIcon) {
    // Where that is not possible, the bitmap is used.
    const HGLOBAL copy = ModClipboardPicture::ToDib(picture.get());
    if (copy != nullptr && SetClipboardData(CF_DIB, copy) == nullptr) GlobalFree(copy);
  }
  if (SetClipboardData(CF_BITMAP, picture.get()) == nullptr) return ClipboardFailed();
  picture.Forget();  // the clipboard owns it from then on
  return {};
}

void Win32Desktop::SetHourglass(bool on) {
  renderer_.set_hourglass(on);
  SetCursor(LoadCursorW(nullptr, on ? IDC_WAIT : IDC_ARROW));
}

void Win32Desktop::DoEvents() {
  if (GetTickCount() - last_events_ < kBetweenEvents) return;
  renderer_.ShowLoading();
  MSG message{};
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      PostQuitMessage(static_cast<int>(message.wParam));  // for the loop that waits for it
      break;
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  last_events_ = GetTickCount();
}

Status Win32Desktop::Start(const CommandLine& command) {
  const std::wstring program_path = ProgramOf(command.executable);
  std::wstring line = ModWide::FromUtf8(command.text);
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESHOWWINDOW;
  start.wShowWindow = SW_SHOWNORMAL;
  PROCESS_INFORMATION process{};
  // A console program would get a console, a black box on the screen. Without one the engine knows
  // that it has to show itself.
  if (!CreateProcessW(program_path.c_str(), line.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS,
                      nullptr, nullptr, &start, &process)) {
    const DWORD error = GetLastError();
    return Status(
        Code::kUnavailable,
        "'" + command.executable + "' cannot be started: " + ModFiles::platform::ErrorText(error),
        error);
  }
  const Owned<HANDLE> program(process.hProcess);
  const Owned<HANDLE> thread(process.hThread);
  return {};
}

int Win32Desktop::Shell(const ShellRequest& request) {
  const HWND owner = renderer_.Front();
  return OpenDocument({request.operation, request.file, request.parameters, request.directory,
                       request.show, reinterpret_cast<std::intptr_t>(owner)});
}

}  // namespace vespro
