#include <string>
#include <string_view>

#include "explorer/server/HttpBytes.h"
#include "explorer/server/Marks.h"
#include "explorer/server/Site.h"
#include "fuzz/ExploredRun.h"
#include "fuzz/Fuzz.h"

// Bytes as a request to the explorer's server: whatever they are, there is a reply that says what a
// page may do; and who does not know the token learns nothing. The same bytes as marks that are to
// be kept, and as a query for something to take away: they are refused, or keep their bounds.

namespace marrowfin::fuzz {

namespace {

constexpr char TOKEN[] = "0123456789abcdef";

void CheckReply(std::string_view request, const std::string& reply) {
  Require(reply.starts_with("HTTP/1.1 ") && reply.size() > 12, "a reply has a status");
  Require(reply.find("Content-Security-Policy: default-src 'self'") != std::string::npos,
          "a reply has a policy");
  const std::string status = reply.substr(9, 3);
  const bool letIn = status == "200" || status == "101" || status == "303" || status == "422";
  Require(!letIn || request.find(TOKEN) != std::string_view::npos,
          "nobody is let in without the token");
}

void CheckMarks(std::string_view bytes) {
  MaybeRefusal trouble;
  const std::optional<SentMarks> sent = ParseSentMarks(bytes, trouble);
  Require(sent.has_value() != trouble.has_value(), "marks are read or refused");
  for (const Mark& mark : sent ? sent->marks : std::vector<Mark>()) {
    Require(!mark.name.empty() && mark.name.size() <= 200, "a mark has a name of some bytes");
    Require(mark.kind.empty() == mark.at.empty(), "a piece has a place");
  }
}

void CheckTake(std::string_view query) {
  const std::optional<TakeCommand> command = ParseTake(query, "run.trace");
  if (!command) {
    return;
  }
  Require(command->words.size() >= 2 && !command->type.empty(), "a command has words");
  const std::string text = TakeText(*command, "run.trace");
  Require(text.starts_with("marrowfin-trace ") && text.find('\n') == std::string::npos,
          "a command is a line");
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace marrowfin;
  using namespace marrowfin::fuzz;
  static ExploredRun run;
  static const Site site(run.Traces(), run.GetCore(), {TOKEN, "", 8120});
  const std::string_view request(reinterpret_cast<const char*>(data), size);
  // What is made to be taken away is made by another program.
  if (request.find("/api/take") == std::string_view::npos) {
    CheckReply(request, ReplyToBytes(site, request));
  }
  CheckMarks(request);
  CheckTake(request);
  return 0;
}
