// bench/engine_wire.cc - how many messages a second the engine's wire brings to one server.
//   engine_wire HOST PORT CONNECTIONS MESSAGES BYTES [auto|required|off] [CA.pem]
// Every message is made for its recipient: a head of its own and a body that all share.
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "engine/delivery/delivery.h"
#include "engine/net/asio_loop.h"

namespace {

using namespace vespro;
using namespace vespro::engine;

class Numbers final : public WorkSource {
 public:
  explicit Numbers(std::uint64_t count) : left_(count) {}
  Result<std::vector<Recipient>> Next(std::size_t max) override {
    std::vector<Recipient> next;
    for (; left_ > 0 && next.size() < max; --left_) {
      const std::string number = std::to_string(left_);
      next.push_back({left_, "reader" + number + "@list.example", number + ",Jo,Example"});
    }
    return next;
  }

 private:
  std::uint64_t left_;
};

class Letters final : public Renderer {
 public:
  explicit Letters(std::size_t bytes) {
    while (body_.size() < bytes) {
      body_ += "Seventy characters of text to a line, which is what a newsletter has.\r\n";
    }
  }
  const std::string& sender() const override { return sender_; }
  std::size_t recipients_per_message() const override { return 1; }
  void Render(std::span<const Recipient> recipients, RenderedMessage& out) override {
    out.own = "From: <news@list.example>\r\nTo: <";
    out.own += recipients[0].address;
    out.own += ">\r\nSubject: News for ";
    out.own += recipients[0].row;
    out.own += "\r\nMIME-Version: 1.0\r\n\r\n";
    out.pieces.assign({std::string_view(out.own), std::string_view(body_)});
    out.bytes = out.own.size() + body_.size();
  }

 private:
  std::string sender_ = "news@list.example";
  std::string body_;
};

class Counter final : public ResultSink {
 public:
  Status Sending(std::span<const Recipient>, std::string_view) override { return {}; }
  Status Record(const Recipient&, const Outcome& outcome) override {
    if (outcome.state == State::kSent) {
      ++sent;
    } else {
      std::fprintf(stderr, "%s\n", outcome.reply.c_str());
    }
    return {};
  }
  std::uint64_t sent = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6) {
    std::fprintf(stderr, "HOST PORT CONNECTIONS MESSAGES BYTES [auto|required|off] [CA.pem]\n");
    return 2;
  }
  const std::uint64_t messages = std::strtoull(argv[4], nullptr, 10);
  Account account;
  account.server = argv[1];
  account.port = static_cast<std::uint16_t>(std::strtoul(argv[2], nullptr, 10));
  DeliveryOptions options;
  options.connections = std::strtoull(argv[3], nullptr, 10);
  const std::string_view tls = argc > 6 ? argv[6] : "auto";
  options.tls = tls == "off" ? TlsUse::kOff : tls == "required" ? TlsUse::kRequired : TlsUse::kAuto;
  AsioLoop loop;
  if (argc > 7) {
    if (const Status anchors = loop.AddTrustAnchors(argv[7]); !anchors.ok()) {
      std::fprintf(stderr, "%s\n", anchors.text().c_str());
      return 2;
    }
  }
  options.messages_per_connection = messages;
  Numbers source(messages);
  Letters renderer(std::strtoull(argv[5], nullptr, 10));
  Counter counter;
  Delivery delivery(loop, options, {account}, source, renderer, counter);
  const auto begin = std::chrono::steady_clock::now();
  const DeliveryEnd end = delivery.Run([](const Progress&) {});
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  std::printf("%llu of %llu messages in %.2f s: %.0f a second %s\n",
              static_cast<unsigned long long>(counter.sent),
              static_cast<unsigned long long>(messages), took.count(),
              static_cast<double>(counter.sent) / took.count(), end.status.text().c_str());
  return counter.sent == messages ? 0 : 1;
}
