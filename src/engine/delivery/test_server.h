// engine/delivery/test_server.h - for tests only: a scripted server on a loopback port, a thread a
// connection.
#pragma once

#include <openssl/x509v3.h>

#include <asio.hpp>
#include <asio/ssl.hpp>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/delivery/scripted_server.h"

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
  using Message = ScriptedServer::Message;

  // `certificate` is for STARTTLS. The script runs on the connections' threads, one at a time.
  explicit TestServer(ScriptedServer::Behaviour behaviour, const TestCertificate& certificate = {})
      : script_(std::move(behaviour)) {
    if (!certificate.key.empty()) {
      tls_.use_private_key(asio::buffer(certificate.key), asio::ssl::context::pem);
      tls_.use_certificate(asio::buffer(certificate.certificate), asio::ssl::context::pem);
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
    const std::lock_guard lock(script_mutex_);
    return script_.messages();
  }
  std::uint16_t port = 0;

 private:
  using Session = ScriptedServer::Session;

  struct Peer {
    explicit Peer(asio::io_context& io) : socket(io) {}
    tcp::socket socket;
    std::unique_ptr<asio::ssl::stream<tcp::socket&>> tls;
    asio::error_code error;

    std::string Read() {
      char bytes[4096];
      const std::size_t count = tls ? tls->read_some(asio::buffer(bytes), error)
                                    : socket.read_some(asio::buffer(bytes), error);
      return {bytes, count};
    }
    void Write(const std::string& bytes) {
      if (tls) {
        asio::write(*tls, asio::buffer(bytes), error);
      } else {
        asio::write(socket, asio::buffer(bytes), error);
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
    std::unique_ptr<Session> session;
    std::string bytes;
    while (!peer.error) {
      std::string output;
      {
        const std::lock_guard lock(script_mutex_);
        if (session == nullptr) {
          session = script_.Accept();
        } else {
          session->Receive(bytes);
        }
        output = std::exchange(session->output, {});
      }
      if (!output.empty()) peer.Write(output);
      if (session->state == Session::State::kDropped) return;
      if (session->state == Session::State::kClosed) return Linger(peer);
      if (session->state == Session::State::kStartTls) {
        peer.tls = std::make_unique<asio::ssl::stream<tcp::socket&>>(peer.socket, tls_);
        peer.tls->handshake(asio::ssl::stream_base::server, peer.error);
        session->TlsStarted();
      }
      if (!peer.error) bytes = peer.Read();
    }
  }

  // A connection that is closed over unread bytes is reset, and its last words may be lost on the
  // way.
  static void Linger(Peer& peer) {
    asio::error_code ignored;
    peer.socket.shutdown(tcp::socket::shutdown_send, ignored);
    while (!peer.error) peer.Read();
  }

  ScriptedServer script_;
  std::mutex script_mutex_;
  asio::io_context io_;
  asio::ssl::context tls_{asio::ssl::context::tls_server};
  tcp::acceptor acceptor_{io_};
  std::thread listener_;
  std::mutex mutex_;  // of what follows
  std::atomic<bool> dead_ = false;
  std::vector<std::shared_ptr<Peer>> peers_;
  std::vector<std::thread> threads_;
};

}  // namespace vespro::engine
