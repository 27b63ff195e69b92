// engine/delivery/scripted_server.h - for tests only: the server's side of SMTP in memory. It does
// as it is told and remembers what it accepted. One thread at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vespro::engine {

class ScriptedServer {
 public:
  struct Message {
    std::string mail;
    std::vector<std::string> recipients;  // the accepted ones, as in RCPT
    std::string text;                     // without dot-stuffing
  };

  // Instead of an answer: close the connection, or say nothing more and wait for its end.
  static constexpr const char* kClose = "close";
  static constexpr const char* kSilence = "silence";

  struct Behaviour {
    std::vector<std::string> offers;  // EHLO keywords; STARTTLS in clear only
    // The answer to a command line; empty for the ordinary one. "." is the end of a message,
    // "connect" a new connection.
    std::function<std::string(const std::string& command)> answer;
  };

  // One connection: bytes in, bytes out.
  class Session {
   public:
    explicit Session(ScriptedServer& server) : server_(server) { Answer("connect", "220 test"); }

    void Receive(std::string_view bytes) {
      if (state != State::kOpen) return;
      buffer_ += bytes;
      while (state == State::kOpen && (chunk_left_ > 0 ? TakeChunk() : TakeLine())) {
      }
    }
    void TlsStarted() {
      buffer_.clear();
      secure_ = true;
      state = State::kOpen;
    }

    enum class State {
      kOpen,
      kStartTls,  // once the output is written
      kSilent,
      kClosed,   // after the output
      kDropped,  // at once
    };
    State state = State::kOpen;
    std::string output;  // for the client; its carrier takes it

   private:
    // Whether the answer is a positive one; the session may have ended.
    bool Answer(const std::string& command, const std::string& ordinary) {
      std::string answer = server_.behaviour_.answer ? server_.behaviour_.answer(command) : "";
      if (answer == kClose) return state = State::kDropped, false;
      if (answer == kSilence) return state = State::kSilent, false;
      if (answer.empty()) answer = ordinary;
      output += answer + "\r\n";
      if (answer.starts_with("421")) state = State::kClosed;
      return answer[0] == '2' || answer[0] == '3';
    }

    bool TakeLine() {
      const std::size_t end = buffer_.find("\r\n");
      if (end == std::string::npos) return false;
      const std::string line = buffer_.substr(0, end);
      buffer_.erase(0, end + 2);
      if (in_data_) {
        OnText(line);
      } else {
        OnCommand(line);
      }
      return true;
    }

    void OnText(const std::string& line) {
      if (line != ".") {
        message_.text += line.substr(line.starts_with(".") ? 1 : 0) + "\r\n";
        return;
      }
      in_data_ = false;
      EndMessage();
    }

    bool TakeChunk() {
      const std::size_t taken = std::min(chunk_left_, buffer_.size());
      message_.text.append(buffer_, 0, taken);
      buffer_.erase(0, taken);
      chunk_left_ -= taken;
      if (chunk_left_ > 0) return false;
      if (message_.recipients.empty()) {
        output += "554 no valid recipients\r\n";
      } else {
        EndMessage();
      }
      return true;
    }

    void EndMessage() {
      in_mail_ = false;
      Message message = std::exchange(message_, {});
      if (Answer(".", "250 2.0.0 queued")) server_.messages_.push_back(std::move(message));
    }

    void OnCommand(const std::string& line) {
      const std::string verb = line.substr(0, 4);
      if (verb == "EHLO") {
        std::string ordinary = "250-test\r\n";
        for (const std::string& offer : server_.behaviour_.offers) {
          if (!secure_ || offer != "STARTTLS") ordinary += "250-" + offer + "\r\n";
        }
        Answer(line, ordinary + "250 HELP");
      } else if (verb == "STAR") {
        if (Answer(line, "220 go")) state = State::kStartTls;
      } else if (verb == "MAIL") {
        if (in_mail_) {
          output += "503 nested MAIL\r\n";
          return;
        }
        message_ = {line, {}, {}};
        in_mail_ = Answer(line, "250 sender");
      } else if (verb == "RCPT") {
        if (!in_mail_) {
          output += "503 MAIL first\r\n";
        } else if (Answer(line, "250 recipient")) {
          message_.recipients.push_back(line.substr(9, line.size() - 10));
        }
      } else if (verb == "DATA") {
        if (message_.recipients.empty()) {
          output += "554 no valid recipients\r\n";
          in_mail_ = false;
        } else {
          in_data_ = Answer(line, "354 go");
        }
      } else if (verb == "BDAT") {
        chunk_left_ = std::stoul(line.substr(5));
      } else if (verb == "RSET") {
        in_mail_ = false;
        message_ = {};
        Answer(line, "250 reset");
      } else if (verb == "QUIT") {
        Answer(line, "221 bye");
        state = State::kClosed;
      } else {
        Answer(line, verb == "AUTH" ? "235 welcome" : "500 what");
      }
    }

    ScriptedServer& server_;
    std::string buffer_;
    Message message_;
    bool in_mail_ = false, in_data_ = false, secure_ = false;
    std::size_t chunk_left_ = 0;
  };

  explicit ScriptedServer(Behaviour behaviour = {}) : behaviour_(std::move(behaviour)) {}

  // Null when nobody is served any more.
  std::unique_ptr<Session> Accept() {
    if (dead_) return nullptr;
    ++connections_;
    return std::make_unique<Session>(*this);
  }
  // From now on every connection is closed and no new one is taken.
  void Die() { dead_ = true; }
  bool dead() const { return dead_; }

  const std::vector<Message>& messages() const { return messages_; }
  std::size_t connections() const { return connections_; }

 private:
  Behaviour behaviour_;
  std::vector<Message> messages_;
  std::size_t connections_ = 0;
  bool dead_ = false;
};

}  // namespace vespro::engine
