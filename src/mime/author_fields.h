// mime/author_fields.h - which header fields of a composed message are its author's and go out with
// it: Reply-To, the List- fields (RFC 2369, 2919, 8058), Precedence, Auto-Submitted (RFC 3834),
// Feedback-ID, Importance, Organization, Keywords and X- fields; not what a mail program or a
// server has written about the author's machine, nor what is written anew for each message. Pure:
// any thread.
#pragma once

#include <string>
#include <string_view>

#include "base/status.h"

namespace vespro::ModAuthorFields {

// In any case.
bool IsAuthors(std::string_view name);

// A field that the author gives as "Name: value": kUsage when the name is no field name (RFC 5322,
// section 2.2) or not an author's field, or the value holds line breaks or other control
// characters.
Status Check(std::string_view field);
// The whole field with its last CR LF. The value is UTF-8; `field` must have passed Check.
std::string Format(std::string_view field);

// "List-Id: name <news.example.org>" (RFC 2919) from that or from "news.example.org" alone. kUsage
// for an id that is none: letters, digits and "-" between dots, two parts at least.
Result<std::string> ListId(std::string_view text);

// The fields that ask vacation programs and the like not to answer: those of RFC 3834 and of older
// programs, and what Exchange listens to (MS-OXCMAIL, 2.1.3.2.20).
inline constexpr std::string_view kNoAutoReplies[] = {"Auto-Submitted: auto-generated",
                                                      "Precedence: list",
                                                      "X-Auto-Response-Suppress: OOF, AutoReply"};

// "Name: value" with its last CR LF, folded at blanks, the value (ASCII, unfolded) as it is.
// Empty when it can't be: a line would be longer than 998 characters, or it is not ASCII.
std::string Folded(std::string_view name, std::string_view value);

}  // namespace vespro::ModAuthorFields
