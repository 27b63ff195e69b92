// vespro-engine: sends one job and writes its reports.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "engine/delivery.h"
#include "engine/engine.h"
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

DeliveryEnd DeliverOverTheWire(const DeliveryOptions& options, const std::vector<Account>& accounts,
                               WorkSource& source, Renderer& renderer, ResultSink& results,
                               const std::function<void(const Progress&)>& on_tick) {
  Delivery delivery(options, accounts, source, renderer, results);
  return delivery.Run(on_tick);
}

int Main(std::vector<std::string> command_line) {
  if (!command_line.empty()) command_line.erase(command_line.begin());  // the program's name
  const ParsedOptions parsed = ParseOptions(command_line);
  if (parsed.exit.has_value()) {
    std::fputs(parsed.text.c_str(), *parsed.exit == kExitAllSent ? stdout : stderr);
    return *parsed.exit;
  }
#ifdef SIGPIPE
  // Whoever reads what is printed may go; the mail is still to be sent.
  std::signal(SIGPIPE, SIG_IGN);
#endif
  SystemClock clock;
  SystemRandomness randomness;
  StandardStream out(stdout), err(stderr);
  const bool watched = ModCommandLine::IsTerminal(ModCommandLine::Stream::kError);
  EngineWorld world{clock, randomness, out, err, watched, DeliverOverTheWire};
  return RunEngine(parsed.options, world);
}

}  // namespace
}  // namespace vespro::engine

int main(int argc, char** argv) {
  try {
    return vespro::engine::Main(vespro::ModCommandLine::Begin(argc, argv));
  } catch (const std::exception& error) {
    // Only running out of memory is expected here; the journal has everything that was done.
    std::fprintf(stderr, "vespro-engine: %s; run the job again to go on\n", error.what());
    return vespro::engine::kExitRunAgain;
  }
}
