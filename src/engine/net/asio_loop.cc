#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <asio.hpp>
#include <asio/ssl.hpp>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <optional>
#include <thread>
#include <vector>

#include "base/files.h"
#include "base/signals.h"
#include "base/text.h"
#include "engine/net/asio_loop.h"
#include "engine/net/system.h"

namespace vespro::engine {
namespace {

using asio::ip::tcp;
using std::chrono::steady_clock;

constexpr std::size_t kReadBytes = 16 * 1024;
constexpr std::size_t kMaxAddresses = 8;
// Pieces that go to the system in one call.
constexpr std::size_t kMaxGathered = 32;

std::string WithoutBrackets(const std::string& server) {
  if (server.size() > 2 && server.front() == '[' && server.back() == ']') {
    return server.substr(1, server.size() - 2);
  }
  return server;
}

bool IsLoopback(asio::ip::address address) {
  if (address.is_v6() && address.to_v6().is_v4_mapped()) {
    address = asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
  }
  return address.is_loopback();
}

std::string Literal(const asio::ip::address& address) {
  std::string text = address.to_string();
  text.resize(std::min(text.find('%'), text.size()));  // an interface's name is not for others
  return address.is_v6() ? "[IPv6:" + text + "]" : "[" + text + "]";
}

// What is wrong with a server's certificate, in words that follow it.
struct CertificateFault {
  Fault fault = Fault::kCertificate;
  std::string text;
};

std::string Date(const ASN1_TIME* time) {
  std::tm date{};
  if (ASN1_TIME_to_tm(time, &date) != 1) return "a day that can't be read";
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d", &date);
  return text;
}

std::string CommonName(const X509_NAME* name) {
  char text[256] = "";
  X509_NAME_get_text_by_NID(const_cast<X509_NAME*>(name), NID_commonName, text, sizeof text);
  return ModText::Printable(text, 100);
}

std::string AlternativeName(const GENERAL_NAME& name) {
  int kind = 0;
  const auto* value = static_cast<const ASN1_STRING*>(GENERAL_NAME_get0_value(&name, &kind));
  if (kind != GEN_DNS && kind != GEN_IPADD) return {};
  const auto size = static_cast<std::size_t>(ASN1_STRING_length(value));
  const unsigned char* bytes = ASN1_STRING_get0_data(value);
  if (kind == GEN_DNS) {
    return ModText::Printable(std::string(bytes, bytes + size), 100);
  }
  asio::ip::address_v4::bytes_type v4{};
  asio::ip::address_v6::bytes_type v6{};
  if (size == v4.size()) {
    std::copy_n(bytes, size, v4.begin());
    return asio::ip::address_v4(v4).to_string();
  }
  if (size != v6.size()) return {};
  std::copy_n(bytes, size, v6.begin());
  return asio::ip::address_v6(v6).to_string();
}

// The servers that it was made for; some of them when there are many.
std::string NamesIn(const X509* certificate) {
  constexpr int kMaxNames = 10;
  std::string names;
  auto* alternatives = static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr));
  const int count = sk_GENERAL_NAME_num(alternatives);  // -1 for none
  for (int i = 0; i < std::min(count, kMaxNames); ++i) {
    const std::string name = AlternativeName(*sk_GENERAL_NAME_value(alternatives, i));
    if (!name.empty()) names += (names.empty() ? "" : ", ") + name;
  }
  GENERAL_NAMES_free(alternatives);
  if (count > kMaxNames) names += ", ...";
  return count > 0 ? names : CommonName(X509_get_subject_name(certificate));
}

CertificateFault Explain(X509_STORE_CTX* check) {
  const int error = X509_STORE_CTX_get_error(check);
  const X509* certificate = X509_STORE_CTX_get_current_cert(check);
  CertificateFault fault;
  fault.text = X509_verify_cert_error_string(error);
  if (certificate == nullptr) return fault;
  switch (error) {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
      fault.fault = Fault::kUntrusted;
      fault.text += ", issued by '" + CommonName(X509_get_issuer_name(certificate)) +
                    "'; if it is the right server, trust it by the engine's option --ca FILE, a "
                    "file with its issuer's certificate (PEM)";
      break;
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      fault.fault = Fault::kMisnamed;
      fault.text += ", it is for " + NamesIn(certificate) +
                    "; the account has to name the server by one of these";
      break;
    case X509_V_ERR_CERT_HAS_EXPIRED:
      fault.text +=
          " on " + Date(X509_get0_notAfter(certificate)) +
          "; whoever runs the server has to renew it, unless this machine's clock is wrong";
      break;
    case X509_V_ERR_CERT_NOT_YET_VALID:
      fault.text +=
          " before " + Date(X509_get0_notBefore(certificate)) + "; look at this machine's clock";
      break;
    default:
      break;
  }
  return fault;
}

}  // namespace

struct AsioLoop::State {
  asio::io_context io{1};
  asio::steady_timer wake{io};
  asio::signal_set signals{io};
  std::function<void()> on_interrupt;
  std::atomic<bool> ending{false};
  std::vector<std::thread> threads;

  // Made when it is first wanted: reading the system's certificates takes longer than sending a
  // thousand messages.
  asio::ssl::context& Tls() {
    if (tls) return *tls;
    platform::PrepareTls();
    tls.emplace(asio::ssl::context::tls_client);
    SSL_CTX_set_min_proto_version(tls->native_handle(), TLS1_2_VERSION);
    SSL_CTX_set_mode(tls->native_handle(), SSL_MODE_RELEASE_BUFFERS);
    platform::LoadSystemTrustStore(tls->native_handle());
    tls->set_verify_mode(asio::ssl::verify_peer);
    return *tls;
  }
  std::optional<asio::ssl::context> tls;

  void WaitForSignal() {
    signals.async_wait([this](asio::error_code error, int) {
      if (error) return;
      on_interrupt();
      WaitForSignal();
    });
  }
};

// What the handlers share. It lives until the last handler has run, the Connection may go earlier.
class AsioConnection : public std::enable_shared_from_this<AsioConnection> {
 public:
  AsioConnection(AsioLoop::State& loop, ConnectionEvents& events)
      : loop_(loop), events_(&events), resolver_(loop.io), socket_(loop.io), timer_(loop.io) {}

  void Connect(const std::string& server, std::uint16_t port) {
    const std::string host = WithoutBrackets(server);
    asio::error_code error;
    const asio::ip::address address = asio::ip::make_address(host, error);
    if (!error) {
      addresses_.emplace_back(address, port);
      return TryNextAddress();
    }
    resolver_.async_resolve(
        host, std::to_string(port), tcp::resolver::numeric_service,
        [self = shared_from_this(), host](asio::error_code failed, const auto& found) {
          if (self->closing_) return;
          if (failed) return self->Fail(Fault::kDnsFailure, host + ": " + failed.message());
          for (const auto& entry : found) {
            if (self->addresses_.size() < kMaxAddresses) {
              self->addresses_.push_back(entry.endpoint());
            }
          }
          self->TryNextAddress();
        });
  }

  void StartTls(const std::string& server) {
    const std::string host = WithoutBrackets(server);
    tls_ = std::make_unique<TlsStream>(socket_, loop_.Tls());
    SSL* ssl = tls_->native_handle();
    asio::error_code no_address;
    asio::ip::make_address(host, no_address);
    bool checkable;
    if (no_address) {
      SSL_set_hostflags(ssl, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
      // What SSL_set_tlsext_host_name stands for, whose cast our warnings refuse.
      const long named = SSL_ctrl(ssl, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
                                  const_cast<char*>(host.c_str()));
      checkable = named == 1 && SSL_set1_host(ssl, host.c_str()) == 1;
    } else {
      checkable = X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str()) == 1;
    }
    // Called within the handshake only, whose handler keeps this object.
    tls_->set_verify_callback([this](bool accepted, asio::ssl::verify_context& check) {
      if (!accepted) certificate_fault_ = Explain(check.native_handle());
      return accepted;
    });
    if (!checkable) return Fail(Fault::kTls, "the server's name can't be checked: " + host);
    busy_ = true;
    tls_->async_handshake(asio::ssl::stream_base::client,
                          [self = shared_from_this()](asio::error_code error) {
                            self->busy_ = false;
                            self->OnHandshake(error);
                          });
  }

  void Write(std::span<const std::string_view> pieces) {
    pieces_.assign(pieces.begin(), pieces.end());
    first_piece_ = 0;
    if (!closing_) WriteSome();
  }

  void Close() { Fail(Fault::kClosed, "the connection was closed"); }

  // The timer is set anew only when it fires early, since the limit moves with every message.
  void SetTimeLimit(std::chrono::milliseconds limit) {
    limit_ = limit;
    deadline_ = limit.count() == 0 ? steady_clock::time_point::max() : steady_clock::now() + limit;
    if (deadline_ < timer_at_) ArmTimer();
  }

  void Abandon() {
    events_ = nullptr;
    Close();
  }

 private:
  using TlsStream = asio::ssl::stream<tcp::socket&>;

  void ArmTimer() {
    timer_at_ = deadline_;
    timer_.expires_at(deadline_);
    timer_.async_wait([self = shared_from_this()](asio::error_code error) {
      if (error || self->closing_) return;
      self->timer_at_ = steady_clock::time_point::max();
      if (self->deadline_ > steady_clock::now()) {
        if (self->deadline_ != steady_clock::time_point::max()) self->ArmTimer();
        return;
      }
      self->OnDeadline();
    });
  }

  void OnDeadline() {
    // One address that does not answer must not hide the next one.
    if (connecting_ && next_address_ < addresses_.size()) {
      asio::error_code ignored;
      socket_.close(ignored);  // the connect's handler goes on
      SetTimeLimit(limit_);
      return;
    }
    const auto seconds = std::chrono::duration<double>(limit_).count();
    char text[64];
    std::snprintf(text, sizeof text, "no answer within %.3g seconds", seconds);
    Fail(Fault::kTimeout, text);
  }

  void TryNextAddress() {
    if (closing_) return;
    if (next_address_ == addresses_.size()) {
      return Fail(Fault::kUnreachable,
                  last_error_.empty() ? "the name has no address" : last_error_);
    }
    const tcp::endpoint endpoint = addresses_[next_address_++];
    asio::error_code ignored;
    socket_.close(ignored);
    connecting_ = true;
    SetTimeLimit(limit_);
    socket_.async_connect(endpoint, [self = shared_from_this(), endpoint](asio::error_code error) {
      self->connecting_ = false;
      if (self->closing_) return;
      if (!error) return self->OnConnected(endpoint);
      const bool late = error == asio::error::operation_aborted;
      self->last_error_ =
          endpoint.address().to_string() + ": " + (late ? "no answer in time" : error.message());
      self->TryNextAddress();
    });
  }

  void OnConnected(const tcp::endpoint& remote) {
    asio::error_code error;
    socket_.set_option(tcp::no_delay(true), error);
    const tcp::endpoint local = socket_.local_endpoint(error);
    if (error) return Fail(Fault::kClosed, error.message());
    events_->OnConnected(Literal(local.address()), IsLoopback(remote.address()));
    Read();
  }

  void OnHandshake(asio::error_code error) {
    if (closing_ || error) {
      const long verified = SSL_get_verify_result(tls_->native_handle());
      if (closing_) return FinishClose();
      if (verified != X509_V_OK) {
        return Fail(certificate_fault_.fault,
                    "the server's certificate is not accepted: " + certificate_fault_.text);
      }
      return Fail(Fault::kTls, "TLS could not be started: " + error.message());
    }
    events_->OnTlsEstablished();
    Read();
  }

  void Read() {
    if (closing_ || reading_ || (tls_ != nullptr && busy_)) return;
    reading_ = true;
    const auto handler = [self = shared_from_this()](asio::error_code error, std::size_t bytes) {
      self->reading_ = false;
      self->OnRead(error, bytes);
    };
    if (tls_ != nullptr) {
      tls_->async_read_some(asio::buffer(buffer_), handler);
    } else {
      socket_.async_read_some(asio::buffer(buffer_), handler);
    }
  }

  void OnRead(asio::error_code error, std::size_t bytes) {
    if (closing_) return FinishClose();
    if (error) return Fail(Fault::kClosed, LossText(error));
    events_->OnReceived({buffer_.data(), bytes});
    Read();
  }

  static std::string LossText(asio::error_code error) {
    if (error == asio::error::eof || error == asio::ssl::error::stream_truncated) {
      return "the server closed the connection";
    }
    return "the connection broke: " + error.message();
  }

  void WriteSome() {
    while (first_piece_ < pieces_.size() && pieces_[first_piece_].empty()) ++first_piece_;
    if (first_piece_ == pieces_.size()) return;
    writing_ = true;
    const auto handler = [self = shared_from_this()](asio::error_code error, std::size_t bytes) {
      self->writing_ = false;
      self->OnWritten(error, bytes);
    };
    if (tls_ != nullptr) {
      const std::string_view piece = pieces_[first_piece_];
      return tls_->async_write_some(asio::const_buffer(piece.data(), piece.size()), handler);
    }
    gathered_.clear();
    for (std::size_t i = first_piece_; i < pieces_.size() && gathered_.size() < kMaxGathered; ++i) {
      gathered_.emplace_back(pieces_[i].data(), pieces_[i].size());
    }
    socket_.async_write_some(gathered_, handler);
  }

  void OnWritten(asio::error_code error, std::size_t bytes) {
    for (std::size_t left = bytes; left > 0;) {
      std::string_view& piece = pieces_[first_piece_];
      const std::size_t part = std::min(left, piece.size());
      piece.remove_prefix(part);
      left -= part;
      if (piece.empty()) ++first_piece_;
    }
    while (first_piece_ < pieces_.size() && pieces_[first_piece_].empty()) ++first_piece_;
    const bool finished = first_piece_ == pieces_.size();
    if (bytes > 0 && events_ != nullptr) events_->OnWritten(bytes, finished);
    if (closing_) return FinishClose();
    // A reset connection may still hold the server's last words; the read brings them, or its end.
    if (error) return reading_ ? void() : Fail(Fault::kClosed, LossText(error));
    if (!finished && !writing_) WriteSome();
  }

  // Cancels what is under way; the loss is reported when no handler can report bytes any more.
  void Fail(Fault fault, std::string text) {
    if (closing_) return;
    closing_ = true;
    fault_ = fault;
    text_ = std::move(text);
    resolver_.cancel();
    timer_.cancel();
    asio::error_code ignored;
    socket_.close(ignored);
    asio::post(loop_.io, [self = shared_from_this()] { self->FinishClose(); });
  }

  void FinishClose() {
    if (reading_ || writing_ || busy_ || reported_) return;
    reported_ = true;
    if (events_ != nullptr) events_->OnLost(fault_, text_);
  }

  AsioLoop::State& loop_;
  ConnectionEvents* events_;
  tcp::resolver resolver_;
  tcp::socket socket_;
  std::unique_ptr<TlsStream> tls_;
  CertificateFault certificate_fault_;

  std::vector<tcp::endpoint> addresses_;
  std::size_t next_address_ = 0;
  bool connecting_ = false;
  std::string last_error_;

  asio::steady_timer timer_;
  std::chrono::milliseconds limit_{0};
  steady_clock::time_point deadline_ = steady_clock::time_point::max();
  steady_clock::time_point timer_at_ = steady_clock::time_point::max();

  std::array<char, kReadBytes> buffer_;
  std::vector<std::string_view> pieces_;
  std::size_t first_piece_ = 0;
  std::vector<asio::const_buffer> gathered_;
  bool reading_ = false, writing_ = false, busy_ = false;  // busy_: the TLS handshake
  bool closing_ = false, reported_ = false;
  Fault fault_ = Fault::kClosed;
  std::string text_;
};

namespace {

class ConnectionHandle final : public Connection {
 public:
  explicit ConnectionHandle(std::shared_ptr<AsioConnection> impl) : impl_(std::move(impl)) {}
  // NOLINTNEXTLINE(bugprone-exception-escape): out of memory ends the program here too
  ~ConnectionHandle() override { impl_->Abandon(); }

  void Connect(const std::string& server, std::uint16_t port) override {
    impl_->Connect(server, port);
  }
  void StartTls(const std::string& server) override { impl_->StartTls(server); }
  void Write(std::span<const std::string_view> pieces) override { impl_->Write(pieces); }
  void Close() override { impl_->Close(); }
  void SetTimeLimit(std::chrono::milliseconds limit) override { impl_->SetTimeLimit(limit); }

 private:
  std::shared_ptr<AsioConnection> impl_;
};

}  // namespace

AsioLoop::AsioLoop() : state_(std::make_unique<State>()) {}

AsioLoop::~AsioLoop() {
  state_->ending = true;
  for (std::thread& thread : state_->threads) thread.join();
}

Status AsioLoop::AddTrustAnchors(const std::filesystem::path& pem) {
  Result<std::string> bytes = ModFiles::ReadAll(pem, 16 * 1024 * 1024);
  if (!bytes.ok()) return bytes.status();
  asio::error_code error;
  state_->Tls().add_certificate_authority(asio::buffer(bytes.value()), error);
  if (!error) return {};
  return Status(Code::kBadInput,
                ModFiles::ToUtf8(pem) + " holds no certificates in PEM form: " + error.message());
}

std::unique_ptr<Connection> AsioLoop::NewConnection(ConnectionEvents& events) {
  return std::make_unique<ConnectionHandle>(std::make_shared<AsioConnection>(*state_, events));
}

void AsioLoop::WakeAt(steady_clock::time_point when, std::function<void()> callback) {
  state_->wake.expires_at(when);
  state_->wake.async_wait([callback = std::move(callback)](asio::error_code error) {
    if (!error) callback();
  });
}

void AsioLoop::Post(std::function<void()> callback) { asio::post(state_->io, std::move(callback)); }

void AsioLoop::RunInBackground(std::function<void(const std::atomic<bool>&)> work,
                               std::function<void()> done) {
  state_->threads.emplace_back([this, work = std::move(work), done = std::move(done)] {
    work(state_->ending);
    asio::post(state_->io, done);
  });
}

void AsioLoop::OnInterrupt(std::function<void()> callback) {
  state_->on_interrupt = std::move(callback);
  asio::error_code ignored;  // without handlers the signals end the process, as ever
  for (const int number : ModSignals::Endings()) {
    // Scripts start what runs beside them with SIGINT ignored, and want it heard; nohup does not.
    const bool always = number == SIGINT || number == SIGTERM;
    if (always || !ModSignals::IsIgnored(number)) state_->signals.add(number, ignored);
  }
  state_->WaitForSignal();
}

void AsioLoop::Run() {
  const auto work = asio::make_work_guard(state_->io);
  state_->io.run();
}

void AsioLoop::Stop() { state_->io.stop(); }

steady_clock::time_point AsioLoop::Now() const { return steady_clock::now(); }

std::string AsioLoop::HostName() const {
  asio::error_code error;
  std::string name = asio::ip::host_name(error);
  const bool qualified =
      !error && name.find('.') != std::string::npos && name.back() != '.' && name.front() != '.';
  return qualified ? name : std::string();
}

}  // namespace vespro::engine
