// The once-per-recipient half of Template.
#include "engine/template.h"

#include <array>
#include <cassert>
#include <cstdio>

#include "base/text.h"
#include "engine/address.h"
#include "mime/base64.h"
#include "recipients/list_text.h"

namespace vespro::engine {
namespace {

// A cell as a merge value: blanks around it are no part of it, nor is one pair of quotes.
std::string CellValue(std::string_view cell) {
  cell = ModText::Trim(cell);
  if (cell.size() >= 2 && cell.front() == '"' && cell.back() == '"') {
    cell = cell.substr(1, cell.size() - 2);
  }
  return ListText(cell);
}

std::string DateText(const LocalTime& time) {
  constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const int offset = std::abs(time.utc_offset_minutes);
  std::array<char, 96> text{};
  std::snprintf(text.data(), text.size(), "Date: %s, %d %s %04d %02d:%02d:%02d %c%02d%02d\r\n",
                kDays[static_cast<std::size_t>(time.weekday)], time.day,
                kMonths[static_cast<std::size_t>(time.month - 1)], time.year, time.hour,
                time.minute, time.second, time.utc_offset_minutes < 0 ? '-' : '+', offset / 60,
                offset % 60);
  return text.data();
}

}  // namespace

const std::string& Template::DateField() {
  const auto now = clock_.Now();
  const std::int64_t second =
      std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count();
  if (second != date_second_ || date_.empty()) {
    date_ = DateText(ModClock::ToLocal(now));
    date_second_ = second;
  }
  return date_;
}

std::string Template::UniqueText() {
  std::string text(32, '0');
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < text.size(); ++i, bits >>= 4) {
    if (i % 16 == 0) bits = randomness_.Next();
    text[i] = "0123456789abcdef"[bits & 15];
  }
  return text;
}

void Template::AppendMessageId(std::string& out) {
  out.append("Message-ID: <").append(UniqueText()).append("@").append(DomainOf(sender_)) += ">\r\n";
}

void Template::ReadValues(std::string_view row) {
  for (std::string& value : values_) value.clear();
  for (std::size_t column = 0; column < value_of_column_.size(); ++column) {
    const std::size_t comma = row.find(',');
    if (value_of_column_[column] != kUnused) {
      values_[value_of_column_[column]] = CellValue(row.substr(0, comma));
    }
    if (comma == std::string_view::npos) return;
    row.remove_prefix(comma + 1);
  }
}

void Template::AppendSlot(std::string& out, const MergeSlot& slot) {
  std::string value = BodyValue(values_[slot.column]);
  if (slot.link != LinkPart::kNone) value = LinkValue(value, slot.link);
  AppendValue(out, value, slot.place);
}

void Template::RenderText(const TextPart& part, std::string& out) {
  if (!part.base64) {
    QpWriter writer(out);
    writer.Append(part.pieces.front());
    for (std::size_t i = 0; i < part.slots.size(); ++i) {
      scratch_.clear();
      AppendSlot(scratch_, part.slots[i]);
      writer.Append(scratch_);
      writer.Append(part.pieces[i + 1]);
    }
    return;
  }
  scratch_ = part.statics.front();
  for (std::size_t i = 0; i < part.slots.size(); ++i) {
    AppendSlot(scratch_, part.slots[i]);
    scratch_ += part.statics[i + 1];
  }
  ModBase64::AppendLines(out, scratch_);
  if (out.ends_with("\r\n")) out.resize(out.size() - 2);  // the boundary's line brings its own
}

void Template::RenderField(const MergedField& field, std::string& out) {
  scratch_ = field.text.statics.front();
  for (std::size_t i = 0; i < field.text.slots.size(); ++i) {
    scratch_ += OneLine(values_[field.text.slots[i].column]);
    scratch_ += field.text.statics[i + 1];
  }
  out += ModHeader::Field(field.name, scratch_);
}

void Template::Render(std::span<const Recipient> recipients, RenderedMessage& out) {
  assert(!recipients.empty());
  std::string& own = out.own;
  own.clear();
  cuts_.clear();
  if (!values_.empty()) ReadValues(recipients.front().row);
  for (const Segment& segment : segments_) {
    switch (segment.kind) {
      case Segment::Kind::kBytes:
        own += segment.own;
        if (!segment.outside.empty()) cuts_.push_back({own.size(), segment.outside});
        break;
      case Segment::Kind::kDate:
        own += DateField();
        break;
      case Segment::Kind::kTo:
        own.append("To: ").append(recipients.front().address).append("\r\n");
        break;
      case Segment::Kind::kField:
        RenderField(fields_[segment.index], own);
        break;
      case Segment::Kind::kMessageId:
        AppendMessageId(own);
        break;
      case Segment::Kind::kUnsubscribe:
        unsubscribe_.Append(own, recipients.front().address);
        break;
      case Segment::Kind::kText:
        RenderText(text_parts_[segment.index], own);
        break;
    }
  }
  // Only now, when `own` moves no more.
  out.pieces.clear();
  out.bytes = own.size();
  const std::string_view text = own;
  std::size_t at = 0;
  for (const Cut& cut : cuts_) {
    if (cut.at > at) out.pieces.push_back(text.substr(at, cut.at - at));
    out.pieces.push_back(cut.outside);
    out.bytes += cut.outside.size();
    at = cut.at;
  }
  if (at < text.size()) out.pieces.push_back(text.substr(at));
}

}  // namespace vespro::engine
