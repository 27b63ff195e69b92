// engine/address.h - which addresses can go into the commands of RFC 5321. Pure: any thread.
#pragma once

#include <string>
#include <string_view>

namespace vespro::engine {

// Why `address` (UTF-8) can't be an envelope address, in a few words for the report; empty when it
// can. An address has one "@", at most 64 bytes before it and 254 in all (RFC 5321, section
// 4.5.3.1), and no quoting; dots may be anywhere in the part before the "@", as some providers
// hand them out. Letters outside ASCII are let through: the server has to offer SMTPUTF8 for them.
std::string WhyUnusable(std::string_view address);

// What is after the "@" of a usable address.
std::string_view DomainOf(std::string_view address);

}  // namespace vespro::engine
