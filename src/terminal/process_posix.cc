#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/files.h"
#include "terminal/process.h"

namespace vespro::ModProcess {
namespace {

std::vector<char*> Argv(std::vector<std::string>& words) {
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  return argv;
}

std::vector<std::string> Words(const std::filesystem::path& program,
                               const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {ModFiles::ToUtf8(program)};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

Status CannotStart(const std::filesystem::path& program, int error) {
  return Status(Code::kUnavailable,
                "cannot start '" + ModFiles::ToUtf8(program) + "': " + std::strerror(error),
                static_cast<std::uint32_t>(error));
}

class Child final : public Detached {
 public:
  explicit Child(pid_t pid) : pid_(pid) {}
  std::optional<int> ExitCode() override {
    int status = 0;
    if (!code_.has_value() && waitpid(pid_, &status, WNOHANG) == pid_) {
      code_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return code_;
  }

 private:
  pid_t pid_;
  std::optional<int> code_;
};

// In the child: only calls that are safe after fork.
[[noreturn]] void ExecDetached(char* const* argv, const char* log, int report) {
  const int null = open("/dev/null", O_RDWR);
  const int out = open(log, O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(null, STDIN_FILENO);
  dup2(out >= 0 ? out : null, STDOUT_FILENO);
  dup2(out >= 0 ? out : null, STDERR_FILENO);
  execv(argv[0], argv);
  const int error = errno;
  const ssize_t ignored = write(report, &error, sizeof error);
  static_cast<void>(ignored);  // nobody is left to tell
  _exit(127);
}

}  // namespace

Result<int> Exec(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
  std::vector<std::string> words = Words(program, arguments);
  execv(program.c_str(), Argv(words).data());
  return CannotStart(program, errno);
}

Result<int> ExecInWindow(const std::filesystem::path& program,
                         const std::vector<std::string>& arguments) {
  return Exec(program, arguments);
}

Result<std::unique_ptr<Detached>> StartDetached(const std::filesystem::path& program,
                                                const std::vector<std::string>& arguments,
                                                const std::filesystem::path& log) {
  std::vector<std::string> words = Words(program, arguments);
  const std::vector<char*> argv = Argv(words);
  // The pipe closes itself when the program runs, and brings the error when it does not.
  int pipe_ends[2];
  if (pipe2(pipe_ends, O_CLOEXEC) != 0) return CannotStart(program, errno);
  const pid_t child = fork();
  if (child == 0) {
    setsid();  // a session of its own: neither the terminal's signals nor its end reach it
    ExecDetached(argv.data(), log.c_str(), pipe_ends[1]);
  }
  int error = child < 0 ? errno : 0;
  close(pipe_ends[1]);
  const ssize_t got = child < 0 ? 0 : read(pipe_ends[0], &error, sizeof error);
  close(pipe_ends[0]);
  if (child < 0 || got == static_cast<ssize_t>(sizeof error)) return CannotStart(program, error);
  return std::unique_ptr<Detached>(std::make_unique<Child>(child));
}

}  // namespace vespro::ModProcess
