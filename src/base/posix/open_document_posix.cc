#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "base/open_document.h"

namespace vespro {
namespace {

constexpr int kDone = 33;
constexpr int kFileNotFound = 2;
constexpr int kNoProgram = 31;
constexpr int kFailed = 4;  // none of the numbers that say why

// An opener that fails does so at once; one that opens something may run as long as the browser.
constexpr int kPatienceMilliseconds = 1000;

constexpr unsigned char kCannotRun = 127;

// From here on to OpenDocument's fork: only calls that are safe after one.

[[noreturn]] void Exec(const char* file) {
  // What it says does not belong on our terminal.
  const int null = open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
  closefrom(3);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const int ours : {SIGPIPE, SIGXFSZ}) signal(ours, SIG_DFL);
  execlp("xdg-open", "xdg-open", file, static_cast<char*>(nullptr));
  _exit(kCannotRun);
}

// Runs the opener and tells how it ended, if the parent still listens then.
[[noreturn]] void Watch(const char* file, int report) {
  setsid();  // it lives on when the terminal is closed
  signal(SIGPIPE, SIG_IGN);
  signal(SIGCHLD, SIG_DFL);
  const pid_t opener = fork();
  if (opener == 0) Exec(file);
  int status = 0;
  while (opener > 0 && waitpid(opener, &status, 0) < 0 && errno == EINTR) {
  }
  const bool ran = opener > 0 && WIFEXITED(status);
  const auto code = static_cast<unsigned char>(ran ? WEXITSTATUS(status) : kCannotRun);
  const ssize_t ignored = write(report, &code, sizeof code);
  static_cast<void>(ignored);
  _exit(0);
}

// The opener's exit code; nothing while it goes on.
std::optional<int> ExitCode(int report) {
  pollfd ready{report, POLLIN, 0};
  int polled = 0;
  while ((polled = poll(&ready, 1, kPatienceMilliseconds)) < 0 && errno == EINTR) {
  }
  unsigned char code = kCannotRun;
  if (polled <= 0) return std::nullopt;
  return read(report, &code, sizeof code) == sizeof code ? code : kCannotRun;
}

int ShellResult(int exit_code) {
  switch (exit_code) {
    case 0:
      return kDone;
    case 2:
      return kFileNotFound;
    case 3:
    case kCannotRun:
      return kNoProgram;
    default:
      return kFailed;
  }
}

}  // namespace

int OpenDocument(const DocumentToOpen& document) {
  const std::string& file = document.file;
  const std::string name = file.starts_with('-') ? "./" + file : file;  // no option
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return kFailed;
  // The watcher is nobody's child, so that nobody has to wait for it.
  const pid_t between = fork();
  if (between == 0) {
    const pid_t watcher = fork();
    if (watcher == 0) Watch(name.c_str(), ends[1]);
    _exit(watcher > 0 ? 0 : 1);
  }
  close(ends[1]);
  while (between > 0 && waitpid(between, nullptr, 0) < 0 && errno == EINTR) {
  }
  const int result = between > 0 ? ShellResult(ExitCode(ends[0]).value_or(0)) : kFailed;
  close(ends[0]);
  return result;
}

}  // namespace vespro
