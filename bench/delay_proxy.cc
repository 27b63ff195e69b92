// bench/delay_proxy.cc - a far server on this machine: passes a TCP port on to another one and
// holds every byte back for half a round trip on its way there and on its way back.
//   delay_proxy LISTEN_PORT TARGET_PORT ROUND_TRIP_MS
// The rate is not limited: what arrives together leaves together, later. In front of each end up to
// kMaxHeldBytes bytes are on their way in each direction, as on a long line; then the sender waits.
#include <asio.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <vector>

namespace {

using asio::awaitable;
using asio::use_awaitable;
using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBlock = 64 * 1024;
constexpr std::size_t kMaxHeldBytes = 16 * 1024 * 1024;

// One direction of a connection.
struct Line {
  explicit Line(tcp::socket& socket)
      : due(socket.get_executor()), arrived(socket.get_executor()), room(socket.get_executor()) {}
  struct Parcel {
    Clock::time_point due;
    std::vector<char> bytes;
  };
  std::deque<Parcel> held;
  std::size_t bytes_held = 0;
  bool ended = false;
  asio::steady_timer due;
  // Cancelled to wake who waits for a parcel, or for room.
  asio::steady_timer arrived, room;
};

struct Pair {
  Pair(tcp::socket from, tcp::socket to)
      : near(std::move(from)), far(std::move(to)), there(near), back(far) {}
  tcp::socket near, far;
  Line there, back;
};

awaitable<void> WaitFor(asio::steady_timer& signal) {
  asio::error_code cancelled;
  signal.expires_at(Clock::time_point::max());
  co_await signal.async_wait(asio::redirect_error(use_awaitable, cancelled));
}

awaitable<void> Fill(std::shared_ptr<Pair> pair, tcp::socket& from, Line& line,
                     Clock::duration delay) {
  asio::error_code error;
  while (!error) {
    std::vector<char> block(kBlock);
    const std::size_t size = co_await from.async_read_some(
        asio::buffer(block), asio::redirect_error(use_awaitable, error));
    block.resize(size);
    line.ended = static_cast<bool>(error);
    line.bytes_held += size;
    line.held.push_back({Clock::now() + delay, std::move(block)});
    line.arrived.cancel();
    while (!error && line.bytes_held > kMaxHeldBytes) co_await WaitFor(line.room);
  }
}

awaitable<void> Drain(std::shared_ptr<Pair> pair, tcp::socket& to, Line& line) {
  asio::error_code error;
  while (!error) {
    if (line.held.empty()) {
      if (line.ended) break;
      co_await WaitFor(line.arrived);
      continue;
    }
    line.due.expires_at(line.held.front().due);
    co_await line.due.async_wait(use_awaitable);
    const Line::Parcel parcel = std::move(line.held.front());
    line.held.pop_front();
    co_await asio::async_write(to, asio::buffer(parcel.bytes),
                               asio::redirect_error(use_awaitable, error));
    line.bytes_held -= parcel.bytes.size();
    line.room.cancel();
  }
  // Either the other side has ended, or this one takes nothing more: both are told.
  to.shutdown(tcp::socket::shutdown_send, error);
  line.ended = true;
}

awaitable<void> Serve(tcp::socket near, std::uint16_t port, Clock::duration delay) {
  tcp::socket far(near.get_executor());
  asio::error_code error;
  co_await far.async_connect({asio::ip::address_v4::loopback(), port},
                             asio::redirect_error(use_awaitable, error));
  if (error) co_return;
  near.set_option(tcp::no_delay(true), error);
  far.set_option(tcp::no_delay(true), error);
  const auto pair = std::make_shared<Pair>(std::move(near), std::move(far));
  const auto executor = pair->near.get_executor();
  asio::co_spawn(executor, Fill(pair, pair->near, pair->there, delay), asio::detached);
  asio::co_spawn(executor, Fill(pair, pair->far, pair->back, delay), asio::detached);
  asio::co_spawn(executor, Drain(pair, pair->far, pair->there), asio::detached);
  asio::co_spawn(executor, Drain(pair, pair->near, pair->back), asio::detached);
}

awaitable<void> Accept(tcp::acceptor acceptor, std::uint16_t port, Clock::duration delay) {
  for (;;) {
    tcp::socket near = co_await acceptor.async_accept(use_awaitable);
    asio::co_spawn(acceptor.get_executor(), Serve(std::move(near), port, delay), asio::detached);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: delay_proxy LISTEN_PORT TARGET_PORT ROUND_TRIP_MS\n", stderr);
    return 2;
  }
  const auto listen = static_cast<std::uint16_t>(std::atoi(argv[1]));
  const auto target = static_cast<std::uint16_t>(std::atoi(argv[2]));
  const std::chrono::microseconds one_way(500LL * std::atoi(argv[3]));
  asio::io_context context(1);
  tcp::acceptor acceptor(context, {asio::ip::address_v4::loopback(), listen});
  acceptor.listen(1000);
  std::puts("ready");
  std::fflush(stdout);
  asio::co_spawn(context, Accept(std::move(acceptor), target, one_way), asio::detached);
  context.run();
}
