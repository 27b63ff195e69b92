#include <windows.h>

#include "base/files.h"
#include "base/win32/wide.h"
#include "terminal/process.h"

namespace vespro::ModProcess {
namespace {

// One argument as the C runtime takes it apart again: quoted, and backslashes doubled where they
// are before a quote.
std::wstring Quoted(const std::wstring& argument) {
  std::wstring out = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'\\') {
      ++backslashes;
    } else {
      if (c == L'"') out.append(backslashes + 1, L'\\');
      backslashes = 0;
    }
    out += c;
  }
  out.append(backslashes, L'\\');
  return out + L"\"";
}

std::wstring Line(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
  std::wstring line = Quoted(program.wstring());
  for (const std::string& argument : arguments) {
    line += L" " + Quoted(ModWide::FromUtf8(argument));
  }
  return line;
}

class Process final : public Detached {
 public:
  Process() { startup_.cb = sizeof startup_; }
  ~Process() override {
    if (info_.hThread != nullptr) CloseHandle(info_.hThread);
    if (info_.hProcess != nullptr) CloseHandle(info_.hProcess);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  Status Start(const std::filesystem::path& program, std::wstring line, DWORD flags,
               bool inherit_handles) {
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, inherit_handles, flags,
                       nullptr, nullptr, &startup_, &info_)) {
      return {};
    }
    const DWORD error = GetLastError();
    return Status(Code::kUnavailable,
                  "cannot start '" + ModFiles::ToUtf8(program) + "' (Windows error " +
                      std::to_string(error) + ")",
                  error);
  }
  void SendOutputTo(HANDLE log) {
    startup_.dwFlags |= STARTF_USESTDHANDLES;
    startup_.hStdOutput = log;
    startup_.hStdError = log;
  }
  std::optional<int> ExitCode() override {
    if (WaitForSingleObject(info_.hProcess, 0) != WAIT_OBJECT_0) return std::nullopt;
    return Wait();
  }
  int Wait() {
    WaitForSingleObject(info_.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(info_.hProcess, &code);
    return static_cast<int>(code);
  }

 private:
  STARTUPINFOW startup_{};
  PROCESS_INFORMATION info_{};
};

}  // namespace

Result<int> Exec(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
  Process process;
  // Ctrl+C is for the program; we wait for what it makes of it.
  SetConsoleCtrlHandler(nullptr, TRUE);
  Status started = process.Start(program, Line(program, arguments), 0, true);
  if (!started.ok()) return started;
  return process.Wait();
}

Result<int> ExecInWindow(const std::filesystem::path& program,
                         const std::vector<std::string>& arguments) {
  // Without our console and our streams, as the add-in starts it.
  Process process;
  Status started = process.Start(program, Line(program, arguments), DETACHED_PROCESS, false);
  if (!started.ok()) return started;
  return 0;
}

Result<std::unique_ptr<Detached>> StartDetached(const std::filesystem::path& program,
                                                const std::vector<std::string>& arguments,
                                                const std::filesystem::path& log) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const HANDLE out = CreateFileW(log.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ,
                                 &inheritable, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  auto process = std::make_unique<Process>();
  if (out != INVALID_HANDLE_VALUE) process->SendOutputTo(out);
  Status started = process->Start(program, Line(program, arguments),
                                  DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP, true);
  if (out != INVALID_HANDLE_VALUE) CloseHandle(out);
  if (!started.ok()) return started;
  return std::unique_ptr<Detached>(std::move(process));
}

}  // namespace vespro::ModProcess
