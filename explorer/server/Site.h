#ifndef EXPLORER_SERVER_SITE_H
#define EXPLORER_SERVER_SITE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "explorer/core/Core.h"
#include "explorer/core/FollowedTrace.h"
#include "explorer/core/OpenTraces.h"
#include "explorer/server/Take.h"

namespace marrowfin {

// A request as it came, of which nothing is believed. Empty texts stand for what was not there.
struct SiteRequest {
  std::string method;
  std::string target;
  std::string host;
  std::string origin;
  std::string cookie;
  std::string authorization;
  std::string contentType;
  std::string body;
  bool upgrade = false;  // to a WebSocket
};

struct SiteReply {
  unsigned status = 200;
  std::string type = "text/plain; charset=utf-8";
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  std::shared_ptr<UnnamedResult> file;  // instead of a body
};

// Where the server is, and who may come in.
struct SiteAccess {
  std::string token;
  std::string address;       // that it listens at besides the loopback addresses; may be empty
  uint16_t port = 0;         // by which its cookie is called
  std::string restart = {};  // the command line that starts the server again
  bool keepsToken = false;
};

// What the server answers to requests, without a word about connections: who is let in, the page,
// the state of the traces, and questions.
//
// Every path asks the same: the name by which the server was called must be one of its own, so that
// no page of a foreign name that is bent to this machine reads an answer; a page that asks must
// have come from here; and the token must be known. Ports are left alone: whoever forwards one
// chooses another. Nothing that a request names is looked for in a file system.
//
// Any number of threads may ask.
class Site {
 public:
  Site(OpenTraces& traces, const Core& core, SiteAccess access);

  // The refusal of a request that is not let in, or is for nothing that is here; nothing where
  // Answer, or for the socket a WebSocket, is to take it on.
  std::optional<SiteReply> Refuse(const SiteRequest& request) const;

  // The answer to a request that was not refused and is not for the socket. `cancelled` tells that
  // nobody waits for it any more.
  SiteReply Answer(const SiteRequest& request, const Core::Cancelled& cancelled = {}) const;

  // Whether the request is for the WebSocket; and whether it has something made to take away, which
  // takes longer than any question.
  static bool IsForSocket(const SiteRequest& request);
  static bool IsForTaking(const SiteRequest& request);

  // The headers that every reply has.
  static const std::vector<std::pair<std::string_view, std::string_view>>& CommonHeaders();

  // A reply that is a sentence.
  static SiteReply Sentence(unsigned status, const std::string& text);

  // What WebSockets are told.
  static std::string NewsText(const TraceNews& news);

 private:
  bool IsOwnHost(std::string_view host) const;
  bool KnowsToken(const SiteRequest& request) const;
  std::string CookieName() const { return "marrowfin-" + std::to_string(access.port); }
  std::optional<SiteReply> RefuseMethod(const SiteRequest& request) const;
  std::optional<SiteReply> LetIn(const SiteRequest& request) const;
  std::string StatusText() const;
  SiteReply Take(const SiteRequest& request, const Core::Cancelled& cancelled) const;
  SiteReply Marks(const SiteRequest& request) const;
  std::optional<TraceStatus> AskedTrace(const SiteRequest& request) const;

  OpenTraces& traces;
  const Core& core;
  const SiteAccess access;
  mutable std::mutex marking;  // one reads or writes marks at a time
};

}  // namespace marrowfin

#endif
