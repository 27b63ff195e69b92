// The once-per-job half of Template: reads the message file and lays out the segments.
#include <algorithm>
#include <set>

#include "base/code_page.h"
#include "base/lines.h"
#include "base/text.h"
#include "engine/address.h"
#include "engine/template.h"
#include "mime/author_fields.h"
#include "mime/base64.h"
#include "mime/content_reference.h"

namespace vespro::engine {
namespace {

constexpr std::size_t kMaxLine = 998;        // RFC 5322, section 2.1.1
constexpr std::size_t kMaxEncodedLine = 76;  // RFC 2045, section 6
constexpr std::size_t kCopiedUpTo = 2048;    // longer unchanged bytes are sent from where they are
constexpr std::size_t kMaxTypeBytes = 100;
constexpr std::string_view kContentId = "Content-ID";

struct BodyShape {
  bool ascii = true;  // no NUL and no byte beyond ASCII
  bool crlf_only = true;
  bool lone_cr = false;
  std::size_t longest = 0;
};

BodyShape ShapeOf(std::string_view body) {
  BodyShape shape;
  std::size_t line = 0;
  for (std::size_t i = 0; i < body.size(); ++i) {
    const char c = body[i];
    if (c == '\n') {
      const bool after_cr = i > 0 && body[i - 1] == '\r';
      shape.crlf_only = shape.crlf_only && after_cr;
      shape.longest = std::max(shape.longest, line - (after_cr ? 1 : 0));
      line = 0;
      continue;
    }
    if (c == '\r' && (i + 1 == body.size() || body[i + 1] != '\n')) shape.lone_cr = true;
    if (c == '\0' || (static_cast<unsigned char>(c) & 0x80) != 0) shape.ascii = false;
    ++line;
  }
  shape.longest = std::max(shape.longest, line);
  return shape;
}

std::string WithCrLf(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 32);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r' && text[i] != '\n') {
      out += text[i];
      continue;
    }
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    out += "\r\n";
  }
  return out;
}

bool IsEncoded(const MimePart& part) {
  return part.encoding == "base64" || part.encoding == "quoted-printable";
}

// Whether every server can take the body as it is.
bool CanStay(const MimePart& part, const BodyShape& shape) {
  const bool known = IsEncoded(part) || part.encoding.empty() || part.encoding == "7bit" ||
                     part.encoding == "8bit" || part.encoding == "binary";
  return known && shape.ascii && !shape.lone_cr &&
         shape.longest <= (IsEncoded(part) ? kMaxEncodedLine : kMaxLine);
}

// What is signed or encrypted is so as a whole.
bool IsDecomposed(const MimePart& part) {
  return part.IsMultipart() && part.subtype != "signed" && part.subtype != "encrypted";
}

bool IsComposite(const MimePart& part) { return part.type == "message" || part.IsMultipart(); }

// A message or a signed part with letters outside ASCII: it may not be encoded as a whole (RFC
// 2046, section 5.2.1; RFC 2045, section 6.4), so it needs a server with 8BITMIME.
bool NeedsEightBitMime(const MimePart& part, const BodyShape& shape) {
  return IsComposite(part) && !IsEncoded(part) && !shape.ascii && !shape.lone_cr &&
         shape.longest <= kMaxLine;
}

// So does what it is in.
bool HoldsEightBit(const MimePart& part) {
  if (IsDecomposed(part)) {
    return std::any_of(part.children.begin(), part.children.end(), HoldsEightBit);
  }
  return IsComposite(part) && NeedsEightBitMime(part, ShapeOf(part.body));
}

// Beyond one byte in six that needs "=XX", Base64 is shorter.
bool Base64IsShorter(std::string_view text) {
  const auto encoded = std::count_if(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x7F || c == '=' || (byte < 0x20 && c != '\t' && c != '\r' && c != '\n');
  });
  return static_cast<std::size_t>(encoded) > text.size() / 6;
}

bool IsToken(std::string_view text) {
  return !text.empty() && text.size() <= kMaxTypeBytes &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return c > ' ' && c < 0x7F &&
                  std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
         });
}

std::string Parameters(const std::vector<HeaderParameter>& parameters,
                       std::initializer_list<std::string_view> without) {
  std::string text;
  for (const HeaderParameter& parameter : parameters) {
    if (std::find(without.begin(), without.end(), parameter.name) != without.end()) continue;
    if (!IsToken(parameter.name)) continue;
    text += parameter.name == "filename" ? ModHeader::FileNameParameter(parameter.value)
                                         : ModHeader::Parameter(parameter.name, parameter.value);
  }
  return text;
}

std::string TypeOf(const MimePart& part) {
  if (!IsToken(part.type) || !IsToken(part.subtype)) return "application/octet-stream";
  return part.type + "/" + part.subtype;
}

bool HasCharset(const MimePart& part) {
  return std::any_of(part.parameters.begin(), part.parameters.end(),
                     [](const HeaderParameter& p) { return p.name == "charset"; });
}

struct NamedAddress {
  std::string name, address;
};

// "name" <address>, name <address> or the address alone. The name may hold quotes unescaped: it
// ends at the "<" of the last address.
bool ParseMailbox(std::string_view text, NamedAddress& mailbox) {
  text = ModText::Trim(text);
  std::string_view name, address = text;
  if (!text.empty() && text.back() == '>') {
    const std::size_t open = text.rfind('<');
    if (open == std::string_view::npos) return false;
    address = text.substr(open + 1, text.size() - open - 2);
    name = ModText::Trim(text.substr(0, open));
    if (name.size() >= 2 && name.front() == '"' && name.back() == '"') {
      name = name.substr(1, name.size() - 2);
    }
  }
  mailbox.name = OneLine(name);
  mailbox.address = ModText::Trim(address);
  return WhyUnusable(mailbox.address).empty();
}

// Mailboxes between commas; a comma within quotes separates nothing. False when any is unusable.
bool ParseMailboxes(std::string_view text, std::vector<NamedAddress>& mailboxes) {
  bool quoted = false;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && text[i] == '"') quoted = !quoted;
    if (i < text.size() && (text[i] != ',' || quoted)) continue;
    if (!ParseMailbox(text.substr(start, i - start), mailboxes.emplace_back())) return false;
    if (!ModText::IsAscii(mailboxes.back().address)) return false;
    start = i + 1;
  }
  return true;
}

std::string MailboxesField(std::string_view name, const std::vector<NamedAddress>& mailboxes) {
  std::string field = std::string(name) + ": ";
  std::size_t column = field.size();
  for (std::size_t i = 0; i < mailboxes.size(); ++i) {
    if (i > 0) {
      field += ",\r\n ";
      column = 1;
    }
    field += ModHeader::Mailbox(mailboxes[i].name, mailboxes[i].address, column);
  }
  return field + "\r\n";
}

// One of the lines in front of the MIME text, or nothing when it is not there.
bool TakeLine(std::string_view& rest, std::string_view key, std::string& value) {
  if (!rest.starts_with(key)) return false;
  std::string_view line;
  NextLine(rest, line);
  value = ModCodePage::ToUtf8(line.substr(key.size()));
  return true;
}

}  // namespace

Template::Template(std::string bytes, const TemplateOptions& options, const Clock& clock,
                   Randomness& randomness)
    : bytes_(std::move(bytes)), options_(&options), clock_(clock), randomness_(randomness) {}

OnHash Template::HashesOf(std::string_view where) const {
  if (!options_->on_hash) return {};
  return [this, where](const HashSign& sign) { options_->on_hash(sign, where); };
}

Result<std::unique_ptr<Template>> Template::Prepare(std::string bytes,
                                                    const TemplateOptions& options,
                                                    const Clock& clock, Randomness& randomness) {
  std::unique_ptr<Template> made(new Template(std::move(bytes), options, clock, randomness));
  const bool has_words =
      !options.first_row.empty() || !options.custom_words.empty() || options.on_hash;
  if (options.bcc_mode < 1 && has_words) {
    made->words_ = std::make_unique<MergeWords>(ModMailMerge::FieldNames(options.first_row),
                                                options.custom_words);
  }
  Result<Unsubscribe> unsubscribe = Unsubscribe::Make(options.unsubscribe, options.bcc_mode > 0);
  if (!unsubscribe.ok()) return unsubscribe.status();
  made->unsubscribe_ = std::move(unsubscribe).value();
  std::string_view mime;
  if (Status status = made->ReadHead(options.bcc_mode, mime); !status.ok()) return status;
  Result<MimePart> root = ParseMime(mime);
  if (!root.ok()) {
    return Status(Code::kBadInput, "the message can't be read: " + root.status().text());
  }
  made->AddHead(root.value());
  made->CollectBareIds(root.value());
  if (Status status = made->AddPart(root.value()); !status.ok()) return status;
  made->Seal();
  made->options_ = nullptr;
  return made;
}

Status Template::ReadHead(int bcc_mode, std::string_view& mime) {
  mime = bytes_;
  std::string to, from, reply_to;
  TakeLine(mime, "TO:", to);
  if (!TakeLine(mime, "FROM:", from)) {
    return Status(Code::kBadInput, "the message file has no FROM: line");
  }
  TakeLine(mime, "REPLY-TO:", reply_to);
  ReadTo(to, bcc_mode);
  if (Status status = ReadFrom(from); !status.ok()) return status;
  return ReadReplyTo(reply_to);
}

void Template::ReadTo(std::string_view line, int bcc_mode) {
  if (bcc_mode < 1) return;
  recipients_per_message_ = static_cast<std::size_t>(bcc_mode);
  const std::string text = OneLine(ModText::Trim(line));
  std::vector<NamedAddress> mailboxes;
  if (text.empty()) {
    to_field_ = "To: undisclosed-recipients:;\r\n";
  } else if (ParseMailboxes(text, mailboxes)) {
    to_field_ = MailboxesField("To", mailboxes);
  } else {
    // A group without members (RFC 5322, section 3.4) shows any text in a valid field.
    to_field_ = "To: " + ModHeader::Phrase(text, 4) + ":;\r\n";
  }
}

Status Template::ReadFrom(std::string_view line) {
  NamedAddress from;
  if (!ParseMailbox(line, from)) {
    return Status(Code::kBadInput, "the FROM: line of the message file has no usable address: '" +
                                       ModText::Printable(ModText::Trim(line)) + "'");
  }
  sender_ = from.address;
  from_ = from.name.empty() ? sender_ : from.name + " <" + sender_ + ">";
  from_field_ = "From: " + ModHeader::Mailbox(from.name, sender_, 6) + "\r\n";
  return {};
}

Status Template::ReadReplyTo(std::string_view line) {
  if (ModText::Trim(line).empty()) return {};
  std::vector<NamedAddress> mailboxes;
  if (!ParseMailboxes(line, mailboxes)) {
    return Status(Code::kBadInput,
                  "the REPLY-TO: line of the message file has no usable address: '" +
                      ModText::Printable(ModText::Trim(line)) + "'");
  }
  reply_to_field_ = MailboxesField("Reply-To", mailboxes);
  return {};
}

void Template::AddHead(const MimePart& root) {
  const HeaderField* subject = Find(root, "Subject");
  if (subject != nullptr) subject_ = OneLine(ModHeader::Decode(subject->value));
  AddSpecial(Segment::Kind::kDate);
  AddBytes(from_field_);
  AddBytes(reply_to_field_);
  if (to_field_.empty()) AddSpecial(Segment::Kind::kTo);
  AddBytes(to_field_);
  if (!AddMergedField("Subject", subject_)) AddBytes(ModHeader::Field("Subject", subject_));
  AddAuthorFields(root);
  AddSpecial(Segment::Kind::kMessageId);
  AddBytes("MIME-Version: 1.0\r\n");
  if (unsubscribe_.per_recipient()) {
    AddSpecial(Segment::Kind::kUnsubscribe);
  } else if (unsubscribe_.wanted()) {
    std::string fields;
    unsubscribe_.Append(fields, {});
    AddBytes(fields);
  }
}

bool Template::AddMergedField(std::string_view name, std::string_view text) {
  if (!words_) return false;
  MergeText merged = words_->SplitPlain(text, HashesOf(name == "Subject" ? "the subject" : name));
  if (merged.slots.empty()) {
    if (merged.statics.front() == text) return false;
    AddBytes(ModHeader::Field(name, merged.statics.front()));
    return true;
  }
  UseColumns(merged.slots);
  AddSpecial(Segment::Kind::kField);
  segments_.back().index = fields_.size();
  fields_.push_back({std::string(name), std::move(merged)});
  return true;
}

// Once each: of a name that is there twice the first counts.
void Template::AddAuthorFields(const MimePart& root) {
  std::set<std::string> known;
  if (!reply_to_field_.empty()) known.insert("reply-to");
  if (unsubscribe_.wanted()) known.insert({"list-unsubscribe", "list-unsubscribe-post"});
  for (const HeaderField& field : root.headers) {
    if (!ModAuthorFields::IsAuthors(field.name)) continue;
    if (!known.insert(ModText::LowerAscii(field.name)).second) continue;
    const std::string text = OneLine(ModHeader::Decode(field.value));
    if (AddMergedField(field.name, text)) continue;
    const std::string folded = ModAuthorFields::Folded(field.name, field.value);
    AddBytes(folded.empty() ? ModHeader::Field(field.name, text) : folded);
  }
}

void Template::CollectBareIds(const MimePart& part) {
  const std::string& id = part.content_id;
  const bool is_bare = !id.empty() && id.find('@') == std::string::npos;
  if (is_bare && ModText::IsAscii(DomainOf(sender_))) bare_ids_.insert(id);
  if (!IsDecomposed(part)) return;
  for (const MimePart& child : part.children) CollectBareIds(child);
}

std::string Template::InFull(const std::string& content_id) const {
  const bool is_bare = bare_ids_.contains(content_id);
  return is_bare ? content_id + "@" + std::string(DomainOf(sender_)) : content_id;
}

bool Template::PutIdsInFull(std::string& html) const {
  if (bare_ids_.empty()) return false;
  std::string out;
  std::size_t done = 0;
  for (const ContentReference& reference : ContentReferences(html)) {
    if (!bare_ids_.contains(reference.id)) continue;
    out.append(html, done, reference.end - done).append("@").append(DomainOf(sender_));
    done = reference.end;
  }
  if (done == 0) return false;
  html = out.append(html, done);
  return true;
}

// The fields that say what a part is for; Content-Type and -Transfer-Encoding are written apart.
std::string Template::DescribingFields(const MimePart& part) const {
  std::string fields;
  if (const HeaderField* field = Find(part, "Content-Disposition")) {
    const ParameterizedValue value = ModHeader::ParseParameters(field->value);
    if (IsToken(value.value)) {
      fields += "Content-Disposition: " + value.value + Parameters(value.parameters, {}) + "\r\n";
    }
  }
  for (const std::string_view name :
       {kContentId, std::string_view("Content-Location"), std::string_view("Content-Language")}) {
    const HeaderField* field = Find(part, name);
    if (field == nullptr) continue;
    const bool is_bare = name == kContentId && bare_ids_.contains(part.content_id);
    const std::string value = is_bare ? "<" + InFull(part.content_id) + ">" : OneLine(field->value);
    // Not folded: a blank in these would change them.
    if (!value.empty() && value.size() <= kMaxLine - 20 && ModText::IsAscii(value)) {
      fields += std::string(name) + ": " + value + "\r\n";
    }
  }
  if (const HeaderField* field = Find(part, "Content-Description")) {
    fields += ModHeader::Field("Content-Description", OneLine(ModHeader::Decode(field->value)));
  }
  return fields;
}

Status Template::AddPart(const MimePart& part) {
  if (IsDecomposed(part)) return AddMultipart(part);
  const bool is_text = part.type == "text" && part.disposition != "attachment";
  if (!is_text) return AddOther(part);
  Result<std::string> decoded = DecodedText(part);
  if (!decoded.ok()) return AddOther(part);
  std::string text = WithCrLf(decoded.value());
  const bool html = part.subtype == "html";
  const bool renames = html && PutIdsInFull(text);
  MergeText merged;
  if (words_) {
    merged = html ? words_->SplitHtml(text, HashesOf("the HTML"))
                  : words_->SplitPlain(text, HashesOf("the text"));
  }
  if (merged.statics.empty()) merged.statics.push_back(text);
  const bool unchanged = !renames && merged.slots.empty() && merged.statics.front() == text;
  if (unchanged && CanStay(part, ShapeOf(part.body))) return AddOther(part);
  AddText(part, std::move(merged), Base64IsShorter(text));
  return {};
}

Status Template::AddMultipart(const MimePart& part) {
  if (part.children.empty()) {
    return Status(Code::kBadInput, "the message has a multipart without parts");
  }
  // "=_" is in no quoted-printable or Base64 text, so no value can end the part.
  const std::string boundary = "=_" + UniqueText();
  std::vector<HeaderParameter> parameters = part.parameters;
  for (HeaderParameter& parameter : parameters) {  // multipart/related names its first part so
    const std::string& id = parameter.value;
    if (parameter.name != "start" || !id.starts_with('<') || !id.ends_with('>')) continue;
    parameter.value = "<" + InFull(id.substr(1, id.size() - 2)) + ">";
  }
  AddBytes("Content-Type: " + TypeOf(part) + Parameters(parameters, {"boundary"}) +
           ";\r\n boundary=\"" + boundary + "\"\r\n" +
           (HoldsEightBit(part) ? "Content-Transfer-Encoding: 8bit\r\n" : "") +
           DescribingFields(part) + "\r\n");
  const std::string line = "--" + boundary;
  for (const MimePart& child : part.children) {
    AddBytes(line + "\r\n");
    if (Status status = AddPart(child); !status.ok()) return status;
    AddBytes("\r\n");
  }
  AddBytes(line + "--\r\n");
  return {};
}

void Template::AddText(const MimePart& part, MergeText text, bool base64) {
  AddBytes("Content-Type: " + TypeOf(part) + "; charset=utf-8" +
           Parameters(part.parameters, {"charset"}) + "\r\nContent-Transfer-Encoding: " +
           (base64 ? "base64" : "quoted-printable") + "\r\n" + DescribingFields(part) + "\r\n");
  std::uint64_t least = 0;  // encoded it is not shorter
  for (const std::string& piece : text.statics) least += piece.size();
  TextPart prepared;
  prepared.base64 = base64;
  prepared.slots = std::move(text.slots);
  UseColumns(prepared.slots);
  if (base64) {
    prepared.statics = std::move(text.statics);
  } else {
    prepared.ends_line = text.statics.back().ends_with("\r\n");
    for (const std::string& piece : text.statics) prepared.pieces.emplace_back(piece);
  }
  if (prepared.slots.empty()) {
    std::string encoded;
    RenderText(prepared, encoded);
    AddBytes(encoded);
    return;
  }
  least_bytes_ += least;
  AddSpecial(Segment::Kind::kText);
  segments_.back().index = text_parts_.size();
  text_parts_.push_back(std::move(prepared));
}

// A part that nothing is put into: as it is where it can travel so, as Base64 elsewhere.
Status Template::AddOther(const MimePart& part) {
  const BodyShape shape = ShapeOf(part.body);
  const bool eight_bit = NeedsEightBitMime(part, shape);
  const bool stays = eight_bit || CanStay(part, shape);
  std::string encoding = eight_bit ? "8bit" : "base64";
  if (stays && !eight_bit) encoding = IsEncoded(part) ? part.encoding : "7bit";
  std::string type = TypeOf(part) + Parameters(part.parameters, {});
  if (part.type == "text" && !HasCharset(part) && stays && !IsEncoded(part)) {
    type += "; charset=us-ascii";
  }
  AddBytes("Content-Type: " + type + "\r\nContent-Transfer-Encoding: " + encoding + "\r\n" +
           DescribingFields(part) + "\r\n");
  if (stays) {
    if (shape.crlf_only)
      AddView(part.body);
    else
      AddBytes(WithCrLf(part.body));
    return {};
  }
  Result<std::string> bytes = DecodedBytes(part);
  if (!bytes.ok()) {
    return Status(Code::kBadInput, "a part of the message (" + TypeOf(part) +
                                       ") can't be sent: " + bytes.status().text());
  }
  std::string encoded;
  ModBase64::AppendLines(encoded, bytes.value());
  if (encoded.ends_with("\r\n")) encoded.resize(encoded.size() - 2);
  AddBytes(encoded);
  return {};
}

void Template::AddBytes(std::string_view bytes) {
  if (bytes.empty()) return;
  const bool grows = !segments_.empty() && segments_.back().kind == Segment::Kind::kBytes &&
                     segments_.back().outside.empty();
  if (!grows) segments_.emplace_back();
  segments_.back().own += bytes;
}

void Template::AddView(std::string_view bytes) {
  if (bytes.size() <= kCopiedUpTo) return AddBytes(bytes);
  segments_.emplace_back();
  segments_.back().outside = bytes;
}

void Template::AddSpecial(Segment::Kind kind) {
  segments_.emplace_back();
  segments_.back().kind = kind;
}

// From a column of the list to the place where its value is kept.
void Template::UseColumns(std::vector<MergeSlot>& slots) {
  for (MergeSlot& slot : slots) {
    if (slot.column >= value_of_column_.size()) value_of_column_.resize(slot.column + 1, kUnused);
    std::size_t& value = value_of_column_[slot.column];
    if (value == kUnused) {
      value = values_.size();
      values_.emplace_back();
    }
    slot.column = value;
  }
}

// The message's last line ends, too; and what is long is not copied into every message.
void Template::Seal() {
  const Segment& last = segments_.back();
  bool ends = false;
  if (last.kind == Segment::Kind::kText) {
    ends = text_parts_[last.index].ends_line;
  } else {
    ends = (last.outside.empty() ? std::string_view(last.own) : last.outside).ends_with("\r\n");
  }
  if (!ends) AddBytes("\r\n");
  for (Segment& segment : segments_) {
    least_bytes_ += segment.own.size() + segment.outside.size();
    if (segment.own.size() <= kCopiedUpTo) continue;
    segment.outside = encoded_.emplace_back(std::move(segment.own));
    segment.own.clear();
  }
}

}  // namespace vespro::engine
