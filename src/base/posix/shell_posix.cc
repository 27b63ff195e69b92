#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "base/shell_platform.h"

namespace vespro::ModShell::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLookUp{20};  // how often `stop` is looked at

// After fork: only calls that are safe there. It stays in our process group, so that it can ask at
// the terminal and ends with us on Ctrl+C.
[[noreturn]] void Exec(const char* command, int out) {
  const int null = open("/dev/null", O_RDONLY);
  dup2(null, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
  for (const int ours : {SIGPIPE, SIGXFSZ}) signal(ours, SIG_DFL);
  closefrom(3);  // our connections are none of its business
  execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
  _exit(127);
}

// A child that is not left behind.
class Child {
 public:
  explicit Child(pid_t pid) : pid_(pid) {}
  ~Child() {
    if (ended_) return;
    kill(pid_, SIGKILL);
    while (waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  bool Ended() {
    if (!ended_) ended_ = waitpid(pid_, &status_, WNOHANG) == pid_;
    return ended_;
  }
  int status() const { return status_; }

 private:
  pid_t pid_;
  int status_ = 0;
  bool ended_ = false;
};

Status Verdict(int status) {
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  const std::string how = WIFEXITED(status)
                              ? "ended with status " + std::to_string(WEXITSTATUS(status))
                              : "was ended by signal " + std::to_string(WTERMSIG(status));
  return Status(Code::kUnavailable, "it " + how);
}

Status Late(const std::atomic<bool>& stop, steady_clock::time_point until) {
  if (stop) return Status(Code::kCancelled, "it was called off");
  if (steady_clock::now() < until) return {};
  return Status(Code::kTimedOut, "it took too long");
}

}  // namespace

Result<std::string> Output(const std::string& command, milliseconds limit,
                           const std::atomic<bool>& stop) {
  const steady_clock::time_point until = steady_clock::now() + limit;
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return Status(Code::kUnavailable, std::string("it can't be started: ") + std::strerror(errno));
  }
  const pid_t pid = fork();
  if (pid == 0) Exec(command.c_str(), ends[1]);
  close(ends[1]);
  const struct Closer {
    int fd;
    ~Closer() { close(fd); }
  } closer{ends[0]};
  if (pid < 0) return Status(Code::kUnavailable, "it can't be started");
  Child child(pid);

  std::string output;
  std::array<char, 4096> block{};
  for (bool open = true; open;) {
    if (Status late = Late(stop, until); !late.ok()) return late;
    pollfd ready{ends[0], POLLIN, 0};
    if (poll(&ready, 1, static_cast<int>(kLookUp.count())) <= 0) continue;
    const ssize_t count = read(ends[0], block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    open = count > 0;
    if (open && output.size() < kMaxBytes) {
      output.append(block.data(), static_cast<std::size_t>(count));
    }
  }
  while (!child.Ended()) {
    if (Status late = Late(stop, until); !late.ok()) return late;
    std::this_thread::sleep_for(kLookUp);
  }
  if (Status verdict = Verdict(child.status()); !verdict.ok()) return verdict;
  return output;
}

}  // namespace vespro::ModShell::platform
