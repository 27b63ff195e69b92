// Job and message files of any bytes: nothing crashes, and what is rendered is fit for the wire.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "engine/job.h"
#include "engine/template.h"
#include "mime/reader.h"

namespace {

using vespro::engine::Template;

class FixedClock final : public vespro::Clock {
 public:
  std::chrono::system_clock::time_point Now() const override { return {}; }
};

class FixedRandomness final : public vespro::Randomness {
 public:
  std::uint64_t Next() override { return 42; }
};

void CheckFitForTheWire(const std::string& message) {
  std::size_t line = 0;
  for (std::size_t i = 0; i < message.size(); ++i) {
    const bool lf = message[i] == '\n', after_cr = i > 0 && message[i - 1] == '\r';
    if (lf != after_cr || message[i] == '\0') std::abort();
    line = lf ? 0 : line + 1;
    if (line > 999) std::abort();
  }
  if (!message.ends_with("\r\n")) std::abort();
}

void RenderWith(const std::string& bytes, int bcc_mode, const std::string& row) {
  const FixedClock clock;
  FixedRandomness randomness;
  auto prepared = Template::Prepare(bytes, {bcc_mode, "A,B,C&D"}, clock, randomness);
  if (!prepared.ok()) return;
  const vespro::engine::Recipient recipient{1, "a@x.org", row};
  vespro::engine::RenderedMessage message;
  prepared.value()->Render({&recipient, 1}, message);
  std::string text;
  for (std::string_view piece : message.pieces) text += piece;
  if (text.size() != message.bytes) std::abort();
  CheckFitForTheWire(text);
  if (!vespro::ParseMime(text).ok()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  static_cast<void>(vespro::engine::ParseJob(bytes));
  const std::size_t half = bytes.find('\0');
  const std::string mail =
      "TO: x\nFROM: a@b.example\n" + bytes.substr(half == std::string::npos ? 0 : half + 1);
  RenderWith(mail, 0, bytes.substr(0, half));
  RenderWith(bytes, 1, {});
  return 0;
}
