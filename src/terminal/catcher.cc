#include "terminal/catcher.h"

#include <array>
#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/files.h"
#include "base/random.h"

namespace vespro {
namespace fs = std::filesystem;
using asio::ip::tcp;

namespace {

// A Maildir: written in tmp/, complete in new/.
class MailFolder {
 public:
  static Result<MailFolder> Open(const fs::path& folder) {
    for (const char* part : {"tmp", "new", "cur"}) {
      if (Status made = ModFiles::MakeFolders(folder / part); !made.ok()) return made;
    }
    Result<File> envelopes =
        File::Open(folder / "envelopes.tsv", File::Mode::kAppend, Access::kPrivate);
    if (!envelopes.ok()) return envelopes.status();
    return MailFolder(folder, std::move(envelopes).value());
  }

  Status Store(const CaughtMessage& message, std::uint64_t connection) {
    const std::string name = NextName();
    const fs::path temporary = folder_ / "tmp" / name;
    Result<File> file = File::Open(temporary, File::Mode::kCreateNew, Access::kPrivate);
    if (!file.ok()) return file.status();
    Status stored = file->Write(message.bytes);
    if (Status closed = file->Close(); stored.ok()) stored = closed;
    if (stored.ok()) stored = ModFiles::Rename(temporary, folder_ / "new" / name);
    if (stored.ok()) return envelopes_.Write(EnvelopeLine(name, message, connection));
    ModFiles::Remove(temporary).Ignore();  // the first failure is the one to tell
    return stored;
  }

 private:
  MailFolder(fs::path folder, File envelopes)
      : folder_(std::move(folder)), envelopes_(std::move(envelopes)) {}

  // Moment, this catcher's own mark, running number: sorts in the order of arrival.
  std::string NextName() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::array<char, 80> name;
    std::snprintf(
        name.data(), name.size(), "%lld.R%016llxQ%08llu.vespro",
        static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(now).count()),
        static_cast<unsigned long long>(mark_), static_cast<unsigned long long>(++count_));
    return name.data();
  }

  // The session lets no control character into an address, so tabs separate safely.
  static std::string EnvelopeLine(const std::string& name, const CaughtMessage& message,
                                  std::uint64_t connection) {
    std::string line = name + '\t' + std::to_string(connection) + '\t';
    line += message.sender.empty() ? "-" : message.sender;
    for (const std::string& recipient : message.recipients) line += '\t' + recipient;
    return line + '\n';
  }

  fs::path folder_;
  File envelopes_;
  std::uint64_t mark_ = SystemRandomness().Next();
  std::uint64_t count_ = 0;
};

}  // namespace

struct Catcher::State {
  explicit State(CatchOptions chosen) : options(std::move(chosen)), signals(context) {}

  CatchOptions options;
  asio::io_context context{1};
  std::vector<tcp::acceptor> acceptors;  // never grows once accepting has begun
  asio::signal_set signals;
  std::optional<MailFolder> folder;
  CatchDeferred deferred;
  std::atomic<std::uint64_t> connections = 0, messages = 0, recipients = 0;

  Status Bind(const asio::ip::address& address, std::uint16_t port);
  Status Listen();
  void Accept(tcp::acceptor& acceptor);
  Status Take(const CaughtMessage& message, std::uint64_t connection);
  Status Run();

  class Connection;
};

// One client. Owned by the operation under way; reads nothing while answers are still to be
// written, so a client that never reads can't make us hoard.
class Catcher::State::Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(State& state, tcp::socket socket, std::uint64_t number)
      : socket_(std::move(socket)),
        session_(state.options.rules, state.deferred,
                 [&state, number](const CaughtMessage& message) {
                   return state.Take(message, number);
                 }) {}

  void Begin() {
    asio::error_code ignored;  // slower without, not wrong
    socket_.set_option(tcp::no_delay(true), ignored);
    out_ = session_.Greeting();
    Write();
  }

 private:
  void Read() {
    socket_.async_read_some(asio::buffer(in_),
                            [self = shared_from_this()](asio::error_code error, std::size_t size) {
                              if (error) return;
                              self->session_.Receive({self->in_.data(), size}, self->out_);
                              if (self->out_.empty()) {
                                self->Read();
                              } else {
                                self->Write();
                              }
                            });
  }

  void Write() {
    asio::async_write(socket_, asio::buffer(out_),
                      [self = shared_from_this()](asio::error_code error, std::size_t) {
                        if (error || self->session_.finished()) return;
                        self->out_.clear();
                        self->Read();
                      });
  }

  tcp::socket socket_;
  CatchSession session_;
  std::array<char, 64 * 1024> in_;
  std::string out_;
};

Status Catcher::State::Bind(const asio::ip::address& address, std::uint16_t port) {
  const tcp::endpoint endpoint(address, port);
  asio::error_code error;
  tcp::acceptor acceptor(context);
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.set_option(tcp::acceptor::reuse_address(VESPRO_REUSE_ADDRESS), error);
  if (!error && address.is_v6()) acceptor.set_option(asio::ip::v6_only(true), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (!error) {
    acceptors.push_back(std::move(acceptor));
    return {};
  }
  return {error == asio::error::address_in_use ? Code::kUnavailable : Code::kNotFound,
          "cannot listen on " + address.to_string() + " port " + std::to_string(port) + ": " +
              error.message(),
          static_cast<std::uint32_t>(error.value())};
}

// A machine without IPv6 is served on IPv4 alone; a port that somebody else holds on ::1 is not
// taken by half, since "localhost" may mean either.
Status Catcher::State::Listen() {
  constexpr int kTries = 20;
  Status status;
  for (int i = 0; i < kTries; ++i) {
    acceptors.clear();
    status = Bind(asio::ip::address_v4::loopback(), options.port);
    if (!status.ok()) return {Code::kUnavailable, status.text(), status.native()};
    const std::uint16_t port = acceptors.front().local_endpoint().port();
    status = Bind(asio::ip::address_v6::loopback(), port);
    if (status.ok() || status.code() != Code::kUnavailable) return {};
    if (options.port != 0) break;
  }
  return status;
}

void Catcher::State::Accept(tcp::acceptor& acceptor) {
  acceptor.async_accept([this, &acceptor](asio::error_code error, tcp::socket socket) {
    if (error == asio::error::operation_aborted) return;
    if (!error) {
      std::make_shared<Connection>(*this, std::move(socket), ++connections)->Begin();
      return Accept(acceptor);
    }
    // Out of file handles, most likely: wait for a connection to end.
    auto pause = std::make_shared<asio::steady_timer>(context, std::chrono::milliseconds(100));
    pause->async_wait([this, &acceptor, pause](asio::error_code) { Accept(acceptor); });
  });
}

Status Catcher::State::Take(const CaughtMessage& message, std::uint64_t connection) {
  if (folder) {
    if (Status stored = folder->Store(message, connection); !stored.ok()) return stored;
  }
  ++messages;
  recipients += message.recipients.size();
  return {};
}

// The edge at which Asio's exceptions end.
Status Catcher::State::Run() {
  try {
    for (tcp::acceptor& acceptor : acceptors) Accept(acceptor);
    context.run();
    return {};
  } catch (const std::exception& failure) {
    return {Code::kUnavailable, std::string("the catcher stopped: ") + failure.what()};
  }
}

Catcher::Catcher(std::unique_ptr<State> state) : state_(std::move(state)) {}
Catcher::Catcher(Catcher&&) noexcept = default;
Catcher::~Catcher() = default;

Result<Catcher> Catcher::Start(CatchOptions options) {
  try {
    auto state = std::make_unique<State>(std::move(options));
    if (!state->options.maildir.empty()) {
      Result<MailFolder> folder = MailFolder::Open(state->options.maildir);
      if (!folder.ok()) return folder.status();
      state->folder = std::move(folder).value();
    }
    if (Status listening = state->Listen(); !listening.ok()) return listening;
    return Catcher(std::move(state));
  } catch (const std::exception& failure) {
    return Status(Code::kUnavailable, std::string("cannot start the catcher: ") + failure.what());
  }
}

std::uint16_t Catcher::port() const { return state_->acceptors.front().local_endpoint().port(); }

Status Catcher::Run() { return state_->Run(); }

Status Catcher::RunUntilSignalled() {
  asio::error_code error;
  state_->signals.add(SIGINT, error);
  if (!error) state_->signals.add(SIGTERM, error);
  if (error) return {Code::kUnavailable, "cannot wait for signals: " + error.message()};
  state_->signals.async_wait([state = state_.get()](asio::error_code failed, int) {
    if (!failed) state->context.stop();
  });
  return state_->Run();
}

void Catcher::Stop() { state_->context.stop(); }

CatchCounts Catcher::counts() const {
  return {state_->connections, state_->messages, state_->recipients};
}

}  // namespace vespro
