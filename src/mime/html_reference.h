// mime/html_reference.h - character references in HTML, such as "&#65;" and "&Auml;". Pure: any
// thread.
#pragma once

#include <cstddef>
#include <string_view>

namespace vespro::ModReference {

// The reference with which `text` begins: its length, and the character that it stands for. 0 when
// there is none. Numbers in both forms, and the names that HTML 4 has for markup, for Latin-1 and
// for punctuation (HTML 4.01, sections 24.2 to 24.4), with the ";".
std::size_t Read(std::string_view text, char32_t& character);

}  // namespace vespro::ModReference
