// engine/template.h - the message of a job: read and taken apart once, then rendered for each
// recipient. One thread per object.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/random.h"
#include "base/status.h"
#include "engine/merge_words.h"
#include "engine/qp_writer.h"
#include "engine/unsubscribe.h"
#include "engine/work.h"
#include "mime/reader.h"

namespace vespro::engine {

struct TemplateOptions {
  int bcc_mode = 0;       // as Job has it
  std::string first_row;  // of a CSV list, bytes: it names the merge fields; empty for none
  UnsubscribeOptions unsubscribe = {};
  std::vector<std::string> custom_words = {};  // as MergeWords takes them
  // Told while the message is prepared of each "#" in its texts and fields, and of what they are
  // called: "the subject", "the text", "the HTML", or a field's name.
  std::function<void(const HashSign&, std::string_view where)> on_hash = {};
};

// Rendered messages have ASCII lines of at most 998 bytes (addresses beyond ASCII alone are written
// as UTF-8), ended by CR LF; text is quoted-printable or Base64 with lines of at most 76. Of the
// original head only the subject, the author's own fields (mime/author_fields.h) and what describes
// the content is kept, so that nothing of the sender's machine leaves it.
class Template final : public Renderer {
 public:
  // `bytes` is a message file (docs/formats/message-file.md). kBadInput names what is missing or
  // can't be used; kUsage what is wrong with the unsubscribe options. `clock` and `randomness` must
  // outlive the object.
  static Result<std::unique_ptr<Template>> Prepare(std::string bytes,
                                                   const TemplateOptions& options,
                                                   const Clock& clock, Randomness& randomness);
  Template(const Template&) = delete;
  Template& operator=(const Template&) = delete;

  const std::string& sender() const override { return sender_; }
  std::size_t recipients_per_message() const override { return recipients_per_message_; }
  std::uint64_t least_bytes() const override { return least_bytes_; }
  // What a row has beyond the list's columns counts as nothing, and so do columns it lacks.
  void Render(std::span<const Recipient> recipients, RenderedMessage& out) override;

  // For the report: as the author wrote it, merge words and all.
  const std::string& subject() const { return subject_; }
  const std::string& from() const { return from_; }

 private:
  // A text with merge words, ready but for the values.
  struct TextPart {
    std::vector<QpPiece> pieces;       // quoted-printable: one more than slots
    std::vector<std::string> statics;  // Base64: the same, not encoded
    std::vector<MergeSlot> slots;      // `column` is an index into values_
    bool base64 = false;
    bool ends_line = false;
  };
  struct Segment {
    enum class Kind { kBytes, kDate, kTo, kField, kMessageId, kUnsubscribe, kText };
    Kind kind = Kind::kBytes;
    std::string own;           // kBytes: copied into each message,
    std::string_view outside;  // or, where not empty, sent from bytes_ or encoded_
    std::size_t index = 0;     // kText: of text_parts_, kField: of fields_
  };
  // A header field with merge words.
  struct MergedField {
    std::string name;
    MergeText text;
  };
  // Where such a piece is between the bytes of a message's own.
  struct Cut {
    std::size_t at = 0;
    std::string_view outside;
  };
  static constexpr std::size_t kUnused = static_cast<std::size_t>(-1);

  Template(std::string bytes, const TemplateOptions& options, const Clock& clock,
           Randomness& randomness);
  OnHash HashesOf(std::string_view where) const;
  Status ReadHead(int bcc_mode, std::string_view& mime);
  void ReadTo(std::string_view line, int bcc_mode);
  Status ReadFrom(std::string_view line);
  Status ReadReplyTo(std::string_view line);
  void AddHead(const MimePart& root);
  void AddAuthorFields(const MimePart& root);
  void CollectBareIds(const MimePart& part);
  // An id that has no domain gets one, as it has to be unique in the world (RFC 2045, section 7).
  std::string InFull(const std::string& content_id) const;
  bool PutIdsInFull(std::string& html) const;
  std::string DescribingFields(const MimePart& part) const;
  // False when there is no merge word in it.
  bool AddMergedField(std::string_view name, std::string_view text);
  Status AddPart(const MimePart& part);
  Status AddMultipart(const MimePart& part);
  void AddText(const MimePart& part, MergeText text, bool base64);
  Status AddOther(const MimePart& part);
  void AddBytes(std::string_view bytes);
  void AddView(std::string_view bytes);
  void AddSpecial(Segment::Kind kind);
  void UseColumns(std::vector<MergeSlot>& slots);
  void Seal();

  const std::string& DateField();
  std::string UniqueText();
  void AppendMessageId(std::string& out);
  void ReadValues(std::string_view row);
  void AppendSlot(std::string& out, const MergeSlot& slot);
  void RenderText(const TextPart& part, std::string& out);
  void RenderField(const MergedField& field, std::string& out);

  const std::string bytes_;
  const TemplateOptions* options_;  // while it is prepared
  const Clock& clock_;
  Randomness& randomness_;
  std::unique_ptr<MergeWords> words_;  // null: nothing is merged

  std::string sender_, from_, subject_;
  std::string from_field_, reply_to_field_, to_field_;
  std::size_t recipients_per_message_ = 1;
  std::uint64_t least_bytes_ = 0;  // what is the same in all messages
  Unsubscribe unsubscribe_;
  std::set<std::string> bare_ids_;  // content ids without a domain
  std::vector<MergedField> fields_;
  std::vector<Segment> segments_;
  std::deque<std::string> encoded_;  // long pieces that bytes_ does not hold as they are sent
  std::vector<TextPart> text_parts_;
  std::vector<std::size_t> value_of_column_;  // an index into values_, or kUnused

  // While rendering; kept for their memory.
  std::vector<std::string> values_;
  std::vector<Cut> cuts_;
  std::string scratch_;
  std::string date_;
  std::int64_t date_second_ = 0;
};

}  // namespace vespro::engine
