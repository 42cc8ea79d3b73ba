#ifndef TRACE_BASE_UTF8_H
#define TRACE_BASE_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace marrowfin {

// Whether a text is UTF-8: of the shortest form, without halves of pairs, up to U+10FFFF.
bool IsUtf8(std::string_view text);

// How many bytes come before the first one that is part of no character; all where there is none.
size_t Utf8Prefix(std::string_view text);

// The text with U+FFFD, which stands for a character that is missing, for each byte that is part of
// none.
std::string AsUtf8(std::string_view text);

}  // namespace marrowfin

#endif
