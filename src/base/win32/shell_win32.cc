#include <windows.h>

#include <algorithm>
#include <array>

#include "base/shell_platform.h"
#include "base/win32/system_programs.h"
#include "base/win32/wide.h"

namespace vespro::ModShell::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr DWORD kLookUp = 20;  // milliseconds

class Handle {
 public:
  Handle() = default;
  ~Handle() { Close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  void Close() {
    if (handle_ != nullptr) CloseHandle(handle_);
    handle_ = nullptr;
  }
  HANDLE get() const { return handle_; }
  HANDLE* out() { return &handle_; }

 private:
  HANDLE handle_ = nullptr;
};

Status Failure(const char* what) {
  const DWORD error = GetLastError();
  return Status(Code::kUnavailable,
                std::string(what) + " (Windows error " + std::to_string(error) + ")", error);
}

// cmd.exe takes everything between the outer quotes as it is.
std::wstring ShellLine(const std::wstring& shell, const std::string& command) {
  return L"\"" + shell + L"\" /d /s /c \"" + ModWide::FromUtf8(command) + L"\"";
}

// What is in the pipe now; false when nobody can write to it any more.
bool ReadSome(HANDLE pipe, std::string& output) {
  std::array<char, 4096> block{};
  for (;;) {
    DWORD waiting = 0, count = 0;
    if (!PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr)) return false;
    if (waiting == 0) return true;
    const DWORD wanted = std::min<DWORD>(waiting, static_cast<DWORD>(block.size()));
    if (!ReadFile(pipe, block.data(), wanted, &count, nullptr)) return false;
    if (output.size() < kMaxBytes) output.append(block.data(), count);
  }
}

}  // namespace

Result<std::string> Output(const std::string& command, milliseconds limit,
                           const std::atomic<bool>& stop) {
  const steady_clock::time_point until = steady_clock::now() + limit;
  Handle read, write, process, thread, job;
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  if (!CreatePipe(read.out(), write.out(), &inherited, 0)) return Failure("it can't be started");
  SetHandleInformation(read.get(), HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = write.get();
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  const std::wstring shell = ModSystemPrograms::PathOf(L"cmd.exe");
  std::wstring line = ShellLine(shell, command);
  // What the shell starts belongs to the job as well and is ended with it. An agent that the
  // command leaves running on purpose stays when all went well.
  *job.out() = CreateJobObjectW(nullptr, nullptr);
  PROCESS_INFORMATION started{};
  if (job.get() == nullptr ||
      !CreateProcessW(shell.c_str(), line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr,
                      nullptr, &startup, &started)) {
    return Failure("it can't be started");
  }
  *process.out() = started.hProcess;
  *thread.out() = started.hThread;
  if (!AssignProcessToJobObject(job.get(), process.get())) {
    const Status failure = Failure("it can't be started");
    TerminateProcess(process.get(), 1);
    return failure;
  }
  ResumeThread(thread.get());
  write.Close();

  std::string output;
  while (WaitForSingleObject(process.get(), kLookUp) == WAIT_TIMEOUT) {
    ReadSome(read.get(), output);
    const bool late = steady_clock::now() >= until;
    if (!stop && !late) continue;
    TerminateJobObject(job.get(), 1);
    if (stop) return Status(Code::kCancelled, "it was called off");
    return Status(Code::kTimedOut, "it took too long");
  }
  ReadSome(read.get(), output);
  DWORD code = 0;
  GetExitCodeProcess(process.get(), &code);
  if (code != 0) {
    return Status(Code::kUnavailable, "it ended with status " + std::to_string(code));
  }
  return output;
}

}  // namespace vespro::ModShell::platform
