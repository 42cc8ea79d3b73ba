#ifndef EXPLORER_SERVER_TOKEN_H
#define EXPLORER_SERVER_TOKEN_H

#include <string>
#include <string_view>

#include "trace/base/Result.h"

namespace marrowfin {

// What lets somebody in: other users of the machine reach the server's address as well, but do not
// know the link. Hexadecimal digits of 128 random bits. A SYSTEM fault where the system has none.
[[nodiscard]] Result<std::string> RandomToken();

// The token that is kept in a file, so that a link outlives the server: the one that is there, or a
// random one that is put there for its owner alone. A SYSTEM fault where the file cannot be read or
// written; REFUSED_INPUT where what it holds is no token.
[[nodiscard]] Result<std::string> TokenInFile(const std::string& file);

// Whether two texts are the same, in a time that does not tell where they differ.
bool IsSameSecret(std::string_view a, std::string_view b);

// The value of a cookie of a Cookie header; empty where there is none.
std::string_view CookieValue(std::string_view header, std::string_view name);

}  // namespace marrowfin

#endif
