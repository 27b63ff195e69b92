// engine/trace.h - what a run does, line by line, for the person who looks for a fault. Whoever has
// something to tell holds a Trace* that is null while nobody wants it, and makes no text then.
// Secrets are redacted by the caller. One thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace vespro::engine {

enum class TraceKind : char {
  kSent = '>',      // to the server
  kReceived = '<',  // from the server
  kState = '=',     // a change of state
  kNote = '*',      // a decision, and why
};

class Trace {
 public:
  virtual ~Trace() = default;
  // `connection` counts the connections of a run from 1; 0 where a line belongs to none. `text` is
  // one line or several, without the last line end; of any charset.
  virtual void Write(std::uint64_t connection, TraceKind kind, std::string_view text) = 0;
  // Whether the text of messages is wanted too, and not only their size.
  virtual bool with_data() const = 0;
};

}  // namespace vespro::engine
