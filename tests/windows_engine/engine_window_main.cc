// vespro-engine-window ENGINE JOB DEED: starts the engine as the add-in does, from a program that
// may have a console, and uses its window. DEED: "watch" waits for the end, "stop" and "at-once"
// press Stop once or twice when mail has gone out, "go-on" presses Stop and, when that is done, Go
// on, "close" presses the frame's button, "leave" leaves the window to others. Prints each label of
// the window when the run has ended, if it still shows, and the engine's exit code. "close-console"
// is for an engine in a console of its own.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "base/files.h"
#include "base/win32/wide.h"
#include "win32/owned.h"
#include "win32/win32_desktop.h"

namespace vespro {
namespace {

constexpr DWORD kPatience = 60'000;  // milliseconds

bool Within(DWORD limit, const std::function<bool()>& done) {
  const DWORD begin = GetTickCount();
  while (!done()) {
    if (GetTickCount() - begin > limit) return false;
    Sleep(50);
  }
  return true;
}

std::string TextOf(HWND window) {
  std::wstring text(1000, L'\0');
  const LRESULT length =
      SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  text.resize(static_cast<std::size_t>(length));
  return ModWide::ToUtf8(text);
}

class Engine {
 public:
  bool Find() {
    if (!Within(kPatience, [this] {
          form_ = FindWindowW(Win32Renderer::kWindowClass, nullptr);
          return form_ != nullptr && IsWindowVisible(form_);
        })) {
      return false;
    }
    DWORD process = 0;
    GetWindowThreadProcessId(form_, &process);
    process_.Reset(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, process));
    return static_cast<bool>(process_);
  }
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (HWND child = nullptr;
         (child = FindWindowExW(form_, child, nullptr, nullptr)) != nullptr;) {
      if (IsWindowVisible(child)) texts.push_back(TextOf(child));
    }
    return texts;
  }
  bool Says(const std::string& beginning) const {
    for (const std::string& text : Texts()) {
      if (text.starts_with(beginning)) return true;
    }
    return false;
  }
  bool HasSent() const {
    for (const std::string& text : Texts()) {
      if (text.find(" sent, ") != text.npos && !text.starts_with("0 ")) return true;
    }
    return false;
  }
  bool Press(const std::string& button) const {
    for (HWND child = nullptr;
         (child = FindWindowExW(form_, child, L"BUTTON", nullptr)) != nullptr;) {
      if (!IsWindowVisible(child) || TextOf(child) != button) continue;
      PostMessageW(form_, WM_COMMAND, BN_CLICKED << 16, reinterpret_cast<LPARAM>(child));
      return true;
    }
    return false;
  }
  void Close() const { PostMessageW(form_, WM_CLOSE, 0, 0); }
  bool HasEnded() const { return WaitForSingleObject(process_.get(), 0) == WAIT_OBJECT_0; }
  DWORD ExitCode() const {
    DWORD code = 0;
    GetExitCodeProcess(process_.get(), &code);
    return code;
  }

 private:
  HWND form_ = nullptr;
  Owned<HANDLE> process_;
};

int Fail(const char* what) {
  std::printf("failed: %s\n", what);
  return 1;
}

std::uintmax_t SizeOf(const std::filesystem::path& file) {
  std::error_code absent;
  const std::uintmax_t size = std::filesystem::file_size(file, absent);
  return absent ? 0 : size;
}

// Closing a console's window has Windows call this routine in its programs. Under Wine that window
// takes them with it unasked, so here it is called directly.
bool CloseConsoleOf(HANDLE process) {
  const HMODULE library = GetModuleHandleW(L"kernel32.dll");
  const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
      reinterpret_cast<void*>(GetProcAddress(library, "CtrlRoutine")));
  const Owned<HANDLE> thread(
      CreateRemoteThread(process, nullptr, 0, routine,
                         reinterpret_cast<void*>(std::uintptr_t{CTRL_CLOSE_EVENT}), 0, nullptr));
  return static_cast<bool>(thread);
}

int CloseConsole(const std::string& program, const std::string& line, const std::string& job) {
  const std::filesystem::path journal = ModFiles::FromUtf8(job).parent_path() / "journal";
  const std::uintmax_t before = SizeOf(journal);
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(ModWide::FromUtf8(program).c_str(), ModWide::FromUtf8(line).data(), nullptr,
                      nullptr, FALSE, CREATE_NEW_CONSOLE, nullptr, nullptr, &start, &started)) {
    return Fail("starting it");
  }
  const Owned<HANDLE> process(started.hProcess), thread(started.hThread);
  if (!Within(kPatience, [&] { return SizeOf(journal) > before + 500; })) {
    return Fail("seeing mail go out");
  }
  if (!CloseConsoleOf(process.get())) return Fail("closing the console");
  if (WaitForSingleObject(process.get(), kPatience) != WAIT_OBJECT_0) return Fail("its going");
  DWORD code = 0;
  GetExitCodeProcess(process.get(), &code);
  std::printf("exit %lu\n", code);
  return 0;
}

int Main(const std::vector<std::string>& arguments) {
  if (arguments.size() != 4) return Fail("ENGINE JOB DEED");
  const std::string& deed = arguments[3];
  Win32Desktop desktop([]() -> HWND { return nullptr; }, [](std::string_view) {});
  const std::string line = arguments[1] + " -s \"" + arguments[2] + "\" -p \"20\"";
  if (deed == "close-console") return CloseConsole(arguments[1], line, arguments[2]);
  if (!desktop.Start({arguments[1], {}, line}).ok()) return Fail("starting it");
  if (deed == "leave") return 0;
  Engine engine;
  if (!engine.Find()) return Fail("finding its window");
  const auto ended = [&engine] { return engine.HasEnded() || engine.Says("&Close"); };
  if (deed != "watch" && !Within(kPatience, [&engine] { return engine.HasSent(); })) {
    return Fail("seeing mail go out");
  }
  if (deed == "stop" || deed == "at-once" || deed == "go-on") {
    if (!engine.Press("&Stop")) return Fail("pressing Stop");
  }
  if (deed == "at-once" && !Within(kPatience, [&] { return engine.Press("&Stop at once"); })) {
    return Fail("pressing Stop at once");
  }
  if (deed == "go-on" && !Within(kPatience, [&] { return engine.Press("&Go on"); })) {
    return Fail("pressing Go on");
  }
  if (deed == "close") engine.Close();
  if (!Within(kPatience, ended)) return Fail("waiting for the end");
  if (!engine.HasEnded()) {
    for (const std::string& text : engine.Texts()) std::printf("%s\n", text.c_str());
    if (!engine.Press("&Close")) return Fail("closing it");
    if (!Within(kPatience, [&engine] { return engine.HasEnded(); })) return Fail("its going");
  }
  std::printf("exit %lu\n", engine.ExitCode());
  return 0;
}

}  // namespace
}  // namespace vespro

int main(int argc, char** argv) { return vespro::Main(vespro::ModCommandLine::Begin(argc, argv)); }
