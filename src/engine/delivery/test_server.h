// engine/delivery/test_server.h - for tests only: an SMTP server on a loopback port, a thread a
// connection, that does as it is told and remembers what it accepted.
#pragma once

#include <openssl/x509v3.h>

#include <asio.hpp>
#include <asio/ssl.hpp>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/text.h"

namespace vespro::engine {

// A key and a certificate signed with it, in PEM form. Names as OpenSSL's subjectAltName has them.
struct TestCertificate {
  std::string key, certificate;

  static TestCertificate Make(const std::string& names, long from_seconds, long to_seconds) {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* x509 = X509_new();
    X509_set_version(x509, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
    X509_gmtime_adj(X509_getm_notBefore(x509), from_seconds);
    X509_gmtime_adj(X509_getm_notAfter(x509), to_seconds);
    X509_set_pubkey(x509, key);
    X509_NAME* name = X509_get_subject_name(x509);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("test"), -1, -1, 0);
    X509_set_issuer_name(x509, name);
    X509_EXTENSION* names_extension =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names.c_str());
    X509_add_ext(x509, names_extension, -1);
    X509_EXTENSION_free(names_extension);
    X509_sign(x509, key, EVP_sha256());
    TestCertificate made;
    made.key = Pem([&](BIO* out) {
      PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
    made.certificate = Pem([&](BIO* out) { PEM_write_bio_X509(out, x509); });
    X509_free(x509);
    EVP_PKEY_free(key);
    return made;
  }

 private:
  static std::string Pem(const std::function<void(BIO*)>& write) {
    BIO* memory = BIO_new(BIO_s_mem());
    write(memory);
    char* data = nullptr;
    const long size = BIO_ctrl(memory, BIO_CTRL_INFO, 0, &data);
    std::string text(data, static_cast<std::size_t>(size));
    BIO_free(memory);
    return text;
  }
};

class TestServer {
 public:
  using tcp = asio::ip::tcp;

  struct Message {
    std::string mail;
    std::vector<std::string> recipients;  // the accepted ones, as in RCPT
    std::string text;                     // without dot-stuffing
  };

  // Instead of an answer: close the connection, or say nothing and wait for its end.
  static constexpr const char* kClose = "close";
  static constexpr const char* kSilence = "silence";

  struct Behaviour {
    std::vector<std::string> offers;  // EHLO keywords
    // The answer to a command line; empty for the ordinary one. "." stands for a message's end.
    std::function<std::string(const std::string& command)> answer;
    TestCertificate certificate;  // for STARTTLS
  };

  explicit TestServer(Behaviour behaviour) : behaviour_(std::move(behaviour)) {
    if (!behaviour_.certificate.key.empty()) {
      tls_.use_private_key(asio::buffer(behaviour_.certificate.key), asio::ssl::context::pem);
      tls_.use_certificate(asio::buffer(behaviour_.certificate.certificate),
                           asio::ssl::context::pem);
    }
    acceptor_.open(tcp::v4());
    acceptor_.bind({asio::ip::address_v4::loopback(), 0});
    acceptor_.listen();
    port = acceptor_.local_endpoint().port();
    listener_ = std::thread([this] { Listen(); });
  }

  ~TestServer() {
    Die();
    listener_.join();
    for (std::thread& thread : threads_) thread.join();
  }

  // From now on nobody is served and nobody can connect. Any thread.
  void Die() {
    const std::lock_guard lock(mutex_);
    if (dead_.exchange(true)) return;
    ::shutdown(acceptor_.native_handle(), SHUT_RDWR);  // wakes the listener, which closes it
    for (const auto& peer : peers_) ::shutdown(peer->socket.native_handle(), SHUT_RDWR);
  }

  std::vector<Message> messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
  }
  std::size_t connections() {
    const std::lock_guard lock(mutex_);
    return threads_.size();
  }
  std::uint16_t port = 0;

 private:
  struct Peer {
    explicit Peer(asio::io_context& io) : socket(io) {}
    tcp::socket socket;
    std::unique_ptr<asio::ssl::stream<tcp::socket&>> tls;
    std::string buffer;
    asio::error_code error;

    bool Fill() {
      char bytes[4096];
      const std::size_t count = tls ? tls->read_some(asio::buffer(bytes), error)
                                    : socket.read_some(asio::buffer(bytes), error);
      buffer.append(bytes, count);
      return !error;
    }
    bool Line(std::string& line) {
      std::size_t end;
      while ((end = buffer.find("\r\n")) == std::string::npos) {
        if (!Fill()) return false;
      }
      line = buffer.substr(0, end);
      buffer.erase(0, end + 2);
      return true;
    }
    void Say(const std::string& text) {
      const std::string line = text + "\r\n";
      if (tls) {
        asio::write(*tls, asio::buffer(line), error);
      } else {
        asio::write(socket, asio::buffer(line), error);
      }
    }
  };

  void Listen() {
    for (;;) {
      auto peer = std::make_shared<Peer>(io_);
      asio::error_code error;
      acceptor_.accept(peer->socket, error);
      const std::lock_guard lock(mutex_);
      if (error || dead_) {
        acceptor_.close(error);
        return;
      }
      peer->socket.set_option(tcp::no_delay(true), error);
      peers_.push_back(peer);
      threads_.emplace_back([this, peer] {
        Serve(*peer);
        // Closed by Die or here, never both ways at once.
        const std::lock_guard closing(mutex_);
        asio::error_code ignored;
        peer->socket.shutdown(tcp::socket::shutdown_both, ignored);
      });
    }
  }

  void Serve(Peer& peer) {
    peer.Say("220 test");
    Message message;
    bool mail = false;
    for (std::string line; peer.Line(line);) {
      const std::string verb = line.substr(0, 4);
      std::string answer = behaviour_.answer ? behaviour_.answer(line) : "";
      if (answer == kClose) return;
      if (answer == kSilence) {
        while (peer.Fill()) {
        }
        return;
      }
      const bool yes = answer.empty() || answer[0] == '2' || answer[0] == '3';
      const auto say = [&](const char* ordinary) { peer.Say(answer.empty() ? ordinary : answer); };
      if (verb == "EHLO") {
        if (answer.empty()) {
          for (const std::string& offer : behaviour_.offers) {
            if (!peer.tls || offer != "STARTTLS") answer += "250-" + offer + "\r\n";
          }
          answer = "250-test\r\n" + answer + "250 HELP";
        }
        peer.Say(answer);
      } else if (verb == "STAR") {
        say("220 go");
        peer.tls = std::make_unique<asio::ssl::stream<tcp::socket&>>(peer.socket, tls_);
        peer.tls->handshake(asio::ssl::stream_base::server, peer.error);
        if (peer.error) return;
      } else if (verb == "MAIL") {
        if (mail) {
          peer.Say("503 nested MAIL");
          continue;
        }
        mail = yes;
        message = {line, {}, {}};
        say("250 sender");
      } else if (verb == "RCPT") {
        if (!mail) answer = "503 MAIL first";
        if (mail && yes) message.recipients.push_back(line.substr(9, line.size() - 10));
        say("250 recipient");
      } else if (verb == "DATA" || verb == "BDAT") {
        if (!Body(peer, line, message)) return;
        if (verb == "DATA") mail = false;
        if (verb == "BDAT" && !message.recipients.empty()) mail = false;
      } else if (verb == "RSET") {
        mail = false;
        message = {};
        say("250 reset");
      } else if (verb == "QUIT") {
        say("221 bye");
        return;
      } else {
        say(verb == "AUTH" ? "235 welcome" : "500 what");
      }
      if (answer.starts_with("421")) return Linger(peer);
    }
  }

  // A connection that is closed over unread bytes is reset, and its last words may be lost on the
  // way.
  static void Linger(Peer& peer) {
    asio::error_code ignored;
    peer.socket.shutdown(tcp::socket::shutdown_send, ignored);
    while (peer.Fill()) {
    }
  }

  bool Body(Peer& peer, const std::string& line, Message& message) {
    const bool chunk = line.starts_with("BDAT");
    if (chunk) {
      const std::size_t size = std::stoul(line.substr(5));
      while (peer.buffer.size() < size) {
        if (!peer.Fill()) return false;
      }
      message.text = peer.buffer.substr(0, size);
      peer.buffer.erase(0, size);
    }
    if (message.recipients.empty()) {
      peer.Say("554 no valid recipients");
      return true;
    }
    if (!chunk) {
      peer.Say("354 go");
      for (std::string text; peer.Line(text) && text != ".";) {
        message.text += text.substr(text.starts_with(".") ? 1 : 0) + "\r\n";
      }
      if (peer.error) return false;
    }
    const std::string answer = behaviour_.answer ? behaviour_.answer(".") : "";
    if (answer == kClose) return false;
    if (answer == kSilence) {
      while (peer.Fill()) {
      }
      return false;
    }
    if (answer.empty() || answer[0] == '2') {
      const std::lock_guard lock(mutex_);
      if (dead_) return false;
      messages_.push_back(message);
    }
    peer.Say(answer.empty() ? "250 2.0.0 queued" : answer);
    return !peer.error && !answer.starts_with("421");
  }

  Behaviour behaviour_;
  asio::io_context io_;
  asio::ssl::context tls_{asio::ssl::context::tls_server};
  tcp::acceptor acceptor_{io_};
  std::thread listener_;
  std::mutex mutex_;
  std::atomic<bool> dead_ = false;
  std::vector<std::shared_ptr<Peer>> peers_;
  std::vector<std::thread> threads_;
  std::vector<Message> messages_;
};

}  // namespace vespro::engine
