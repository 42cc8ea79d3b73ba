#ifndef EXPLORER_SERVER_HTTPBYTES_H
#define EXPLORER_SERVER_HTTPBYTES_H

#include <string>
#include <string_view>

namespace marrowfin {

class Site;

// The reply to the bytes of one request, as a connection would give it: for tests, and for whoever
// looks for requests that break a promise. Bytes that are less than a request are refused.
std::string ReplyToBytes(const Site& site, std::string_view bytes);

}  // namespace marrowfin

#endif
