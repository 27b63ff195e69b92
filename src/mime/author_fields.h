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

// "Name: value" with its last CR LF, folded at blanks, the value (ASCII, unfolded) as it is.
// Empty when it can't be: a line would be longer than 998 characters, or it is not ASCII.
std::string Folded(std::string_view name, std::string_view value);

}  // namespace vespro::ModAuthorFields
