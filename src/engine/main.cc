// vespro-engine: sends one job and writes its reports.
#include <atomic>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "base/command_line.h"
#include "base/signals.h"
#include "engine/account_report.h"
#include "engine/delivery/delivery.h"
#include "engine/engine.h"
#include "engine/front.h"
#include "engine/net/asio_loop.h"
#include "engine/options.h"

namespace vespro::engine {
namespace {

class StandardStream final : public ByteSink {
 public:
  explicit StandardStream(std::FILE* stream) : stream_(stream) {}
  Status Write(std::string_view bytes) override {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stream_) == bytes.size() &&
        std::fflush(stream_) == 0) {
      return {};
    }
    return Status(Code::kCannotWrite, "cannot write to the standard output");
  }

 private:
  std::FILE* stream_;
};

// Stops when it is asked to.
DeliverFunction OverTheWire(const std::atomic<int>& stops) {
  return [&stops](const DeliveryOptions& options, const std::vector<Account>& accounts,
                  WorkSource& source, Renderer& renderer, ResultSink& results,
                  const std::function<void(const Progress&)>& on_tick) {
    AsioLoop loop;
    if (!options.extra_ca.empty()) {
      if (Status anchors = loop.AddTrustAnchors(options.extra_ca); !anchors.ok()) {
        return DeliveryEnd{DeliveryEnd::Reason::kStopped, std::move(anchors), {}};
      }
    }
    Delivery delivery(loop, options, accounts, source, renderer, results);
    int taken = 0;
    return delivery.Run([&](const Progress& progress) {
      on_tick(progress);
      for (; taken < stops; ++taken) delivery.Interrupt();
    });
  };
}

// The account's password is a command's where options.password_commands say so.
Result<AccountCheck> CheckOverTheWire(const DeliveryOptions& options, const Account& account,
                                      const std::string& sender) {
  Secret secret{account.password};
  for (const ServerPasswordCommand& command : options.password_commands) {
    if (!Matches(command.server, account)) continue;
    Result<Secret> fetched = PasswordCommand(command.command)(false);
    if (!fetched.ok()) return fetched.status();
    secret = std::move(fetched).value();
  }
  AsioLoop loop;
  if (!options.extra_ca.empty()) {
    if (Status anchors = loop.AddTrustAnchors(options.extra_ca); !anchors.ok()) return anchors;
  }
  return CheckAccount(loop, options, account, secret, sender);
}

int Main(std::vector<std::string> command_line, const Front& front) {
  if (!command_line.empty()) command_line.erase(command_line.begin());  // the program's name
  const ParsedOptions parsed = ParseOptions(command_line);
  SystemClock clock;
  if (parsed.exit.has_value()) {
    if (front.alone()) {
      return front.Show(clock, [&](RunWatcher* watcher, const std::atomic<int>&) {
        watcher->OnSay(parsed.text);
        return *parsed.exit;
      });
    }
    std::fputs(parsed.text.c_str(), *parsed.exit == kExitAllSent ? stdout : stderr);
    return *parsed.exit;
  }
  ModSignals::IgnoreBrokenPipes();  // a closed stdout must not stop sending
  SystemRandomness randomness;
  StandardStream out(stdout), err(stderr);
  const bool watched = ModCommandLine::IsTerminal(ModCommandLine::Stream::kError);
  EngineOptions options = parsed.options;
  // Nobody could start the job again at the right hour but the person who sees its window.
  options.delivery.wait_for_quota = options.delivery.wait_for_quota || front.alone();
  return front.Show(clock, [&](RunWatcher* watcher, const std::atomic<int>& stops) {
    if (!options.check.file.empty()) {
      return ReportOnAccounts(options, out, err, CheckOverTheWire);
    }
    EngineEnvironment world{clock, randomness, out, err, watched, OverTheWire(stops), watcher};
    const int exit = RunEngine(options, world);
    // What goes on with a job neither begins it anew nor sends to anybody twice.
    options.fresh = options.resend_unknown = false;
    return exit;
  });
}

}  // namespace
}  // namespace vespro::engine

int main(int argc, char** argv) {
  try {
    const vespro::engine::Front front;
    return vespro::engine::Main(vespro::ModCommandLine::Begin(argc, argv), front);
  } catch (const std::exception& error) {
    // Only running out of memory is expected here; the journal has everything that was done.
    std::fprintf(stderr, "vespro-engine: %s; run the job again to go on\n", error.what());
    return vespro::engine::kExitRunAgain;
  }
}
