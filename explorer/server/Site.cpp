#include "explorer/server/Site.h"

#include <filesystem>

#include "explorer/core/JsonText.h"
#include "explorer/server/Marks.h"
#include "explorer/server/PageFiles.h"
#include "explorer/server/Token.h"

namespace marrowfin {
namespace {

constexpr char ASK[] = "/api/ask";
constexpr char STATUS[] = "/api/status";
constexpr char SOCKET[] = "/api/socket";
constexpr char TAKE[] = "/api/take";
constexpr char MARKS[] = "/api/marks";

std::string_view PathOf(std::string_view target) { return target.substr(0, target.find('?')); }

std::string_view QueryOf(std::string_view target) {
  const size_t mark = target.find('?');
  return mark == std::string_view::npos ? std::string_view() : target.substr(mark + 1);
}

// The value of a parameter of a query, and the query without it.
struct Parameter {
  std::string_view value;
  std::string others;
};
Parameter TakeParameter(std::string_view query, std::string_view name) {
  Parameter found;
  while (!query.empty()) {
    const size_t end = query.find('&');
    const std::string_view pair = query.substr(0, end);
    query = end == std::string_view::npos ? std::string_view() : query.substr(end + 1);
    if (pair.starts_with(name) && pair.substr(name.size()).starts_with('=')) {
      found.value = pair.substr(name.size() + 1);
    } else if (!pair.empty()) {
      found.others += (found.others.empty() ? "" : "&") + std::string(pair);
    }
  }
  return found;
}

// The name of a Host header without its port. Nothing where it is none.
std::optional<std::string_view> NameOfHost(std::string_view host) {
  const size_t colon = host.starts_with('[') ? host.find(':', host.find(']')) : host.find(':');
  if (colon == std::string_view::npos) {
    return host;
  }
  const std::string_view port = host.substr(colon + 1);
  const bool digits = !port.empty() && port.size() <= 5 &&
                      port.find_first_not_of("0123456789") == std::string_view::npos;
  return digits ? std::optional(host.substr(0, colon)) : std::nullopt;
}

bool IsPath(std::string_view path) {
  return path == ASK || path == STATUS || path == SOCKET || path == TAKE || path == MARKS ||
         FindPageFile(path) != nullptr;
}

// The name of a file without its folder, in letters that no header takes for anything else.
std::string SafeName(const std::string& file) {
  std::string name = std::filesystem::path(file).filename().string();
  for (char& character : name) {
    const bool plain = (character >= 'a' && character <= 'z') ||
                       (character >= 'A' && character <= 'Z') ||
                       (character >= '0' && character <= '9') || character == '-' ||
                       character == '.' || character == '_';
    character = plain ? character : '_';
  }
  return name;
}

const char* StateName(TraceStatus::State state) {
  return state == TraceStatus::READY    ? "ready"
         : state == TraceStatus::FAILED ? "failed"
                                        : "indexing";
}

void PutFault(const Fault& fault, JsonText& text) {
  if (!fault) {
    text.Null();
    return;
  }
  const Refusal refusal = RefusalOf(fault);
  text.Object();
  text.Key("code").Text(RefusalName(refusal.code));
  text.Key("message").Text(refusal.message);
  text.Key("place").Text(refusal.place);
  text.Key("remedy").Text(refusal.remedy);
  text.End();
}

void PutTrace(const TraceStatus& status, JsonText& text) {
  const TraceView* const view = status.view.get();
  text.Object();
  text.Key("fingerprint").Text(status.fingerprint);
  text.Key("was").Array();
  for (const std::string& name : status.was) {
    text.Text(name);
  }
  text.End();
  text.Key("name").Text(std::filesystem::path(status.file).filename().string());
  text.Key("bytes").Number(view != nullptr ? view->Trace().Size() : 0);
  text.Key("records").Number(view != nullptr ? view->GetSummary().records : 0);
  text.Key("indexed");
  if (status.state == TraceStatus::INDEXING) {
    text.Object().Key("done").Number(status.progress.done);
    text.Key("all").Number(status.progress.all).End();
  } else {
    text.Null();
  }
  text.Key("state").Text(StateName(status.state));
  text.Key("end");
  PutFault(view != nullptr ? view->GetSummary().end : Fault(), text);
  text.Key("failure");
  PutFault(status.failure, text);
  text.Key("changed").Flag(!status.was.empty());
  text.End();
}

}  // namespace

Site::Site(OpenTraces& traces, const Core& core, SiteAccess access)
    : traces(traces), core(core), access(std::move(access)) {}

const std::vector<std::pair<std::string_view, std::string_view>>& Site::CommonHeaders() {
  static const std::vector<std::pair<std::string_view, std::string_view>> headers = {
      {"Content-Security-Policy",
       "default-src 'self'; img-src 'self' blob:; object-src 'none'; base-uri 'none'; "
       "form-action 'none'; frame-ancestors 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Opener-Policy", "same-origin"},
      {"Cross-Origin-Resource-Policy", "same-origin"}};
  return headers;
}

SiteReply Site::Sentence(unsigned status, const std::string& text) {
  SiteReply reply;
  reply.status = status;
  reply.headers = {{"Cache-Control", "no-store"}};
  reply.body = text + "\n";
  return reply;
}

bool Site::IsForSocket(const SiteRequest& request) { return PathOf(request.target) == SOCKET; }

bool Site::IsForTaking(const SiteRequest& request) {
  return PathOf(request.target) == TAKE &&
         TakeParameter(QueryOf(request.target), "as").value.empty();
}

bool Site::IsOwnHost(std::string_view host) const {
  const std::optional<std::string_view> name = NameOfHost(host);
  if (!name || name->empty()) {
    return false;
  }
  return *name == "127.0.0.1" || *name == "[::1]" || *name == "localhost" ||
         (!access.address.empty() &&
          (*name == access.address || *name == '[' + access.address + ']'));
}

bool Site::KnowsToken(const SiteRequest& request) const {
  constexpr std::string_view BEARER = "Bearer ";
  const std::string_view authorization = request.authorization;
  if (authorization.starts_with(BEARER)) {
    return IsSameSecret(authorization.substr(BEARER.size()), access.token);
  }
  return IsSameSecret(CookieValue(request.cookie, CookieName()), access.token);
}

// The page is opened by a link with the token in it, which is then kept as a cookie and goes from
// the address, so that it is in no history and in no picture of the window.
std::optional<SiteReply> Site::LetIn(const SiteRequest& request) const {
  const Parameter token = TakeParameter(QueryOf(request.target), "token");
  if (PathOf(request.target) != "/" || token.value.empty() || request.method != "GET" ||
      !IsSameSecret(token.value, access.token)) {
    return std::nullopt;
  }
  SiteReply reply = Sentence(303, "The page is at /.");
  reply.headers.emplace_back("Location", "/" + (token.others.empty() ? "" : "?" + token.others));
  reply.headers.emplace_back(
      "Set-Cookie", CookieName() + "=" + access.token + "; Path=/; HttpOnly; SameSite=Strict");
  return reply;
}

std::optional<SiteReply> Site::RefuseMethod(const SiteRequest& request) const {
  const std::string_view path = PathOf(request.target);
  const bool posts = path == ASK || (path == MARKS && request.method == "POST");
  if (request.method != (posts ? "POST" : "GET")) {
    SiteReply reply = Sentence(405, path == ASK     ? "Questions are posted."
                                    : path == MARKS ? "Marks are got or posted."
                                                    : "This is only to be got.");
    reply.headers.emplace_back("Allow", path == ASK ? "POST" : path == MARKS ? "GET, POST" : "GET");
    return reply;
  }
  const std::string_view content = request.contentType;
  const std::string_view type = content.substr(0, content.find(';'));
  if (posts && type != "application/json") {
    return Sentence(
        415, path == ASK ? "A question is application/json." : "Marks are application/json.");
  }
  return std::nullopt;
}

std::optional<SiteReply> Site::Refuse(const SiteRequest& request) const {
  if (!IsOwnHost(request.host)) {
    return Sentence(403, "This server is not called so.");
  }
  if (!request.origin.empty() && request.origin != "http://" + request.host) {
    return Sentence(403, "Pages of another origin may not ask.");
  }
  if (std::optional<SiteReply> reply = LetIn(request)) {
    return reply;
  }
  if (!KnowsToken(request)) {
    return Sentence(403, "Open the link that marrowfin-explorer printed: it has a token in it.");
  }
  if (!IsPath(PathOf(request.target))) {
    return Sentence(404, "There is nothing here.");
  }
  if (std::optional<SiteReply> reply = RefuseMethod(request)) {
    return reply;
  }
  if (IsForSocket(request) && !request.upgrade) {
    SiteReply reply = Sentence(426, "Here is a WebSocket.");
    reply.headers.emplace_back("Upgrade", "websocket");
    return reply;
  }
  return std::nullopt;
}

SiteReply Site::Answer(const SiteRequest& request, const Core::Cancelled& cancelled) const {
  const std::string_view path = PathOf(request.target);
  SiteReply reply = Sentence(200, "");
  if (path == ASK) {
    const std::vector<uint8_t> answer = core.Answer(
        {reinterpret_cast<const uint8_t*>(request.body.data()), request.body.size()}, cancelled);
    reply.type = "application/octet-stream";
    reply.body.assign(answer.begin(), answer.end());
  } else if (path == TAKE) {
    return Take(request, cancelled);
  } else if (path == MARKS) {
    return Marks(request);
  } else if (path == STATUS) {
    reply.type = "application/json";
    reply.body = StatusText();
  } else if (const PageFile* const file = FindPageFile(path)) {
    reply.type = file->type;
    reply.body = file->bytes;
    if (path != "/") {
      reply.headers = {{"Cache-Control", "private, max-age=31536000, immutable"}};
    }
  }
  return reply;
}

std::optional<TraceStatus> Site::AskedTrace(const SiteRequest& request) const {
  const std::string fingerprint(TakeParameter(QueryOf(request.target), "trace").value);
  for (TraceStatus& status : traces.Status()) {
    if (!fingerprint.empty() && status.fingerprint == fingerprint) {
      return std::move(status);
    }
  }
  return std::nullopt;
}

SiteReply Site::Take(const SiteRequest& request, const Core::Cancelled& cancelled) const {
  const std::optional<TraceStatus> status = AskedTrace(request);
  if (!status) {
    return Sentence(404, "No trace of that fingerprint is open here.");
  }
  const std::optional<TakeCommand> command = ParseTake(QueryOf(request.target), status->file);
  if (!command) {
    return Sentence(400, "There is nothing of that kind to take away.");
  }
  if (command->isTold) {
    return Sentence(200, TakeText(*command, SafeName(status->file)));
  }
  TakeResult result = RunTake(TakeProgram(), *command, cancelled);
  if (!result.file) {
    return Sentence(422, result.failure);
  }
  SiteReply reply = Sentence(200, "");
  reply.type = command->type;
  reply.file = std::move(result.file);
  reply.headers.emplace_back(
      "Content-Disposition",
      "attachment; filename=\"" + SafeName(status->file) + command->ending + '"');
  return reply;
}

// Marks beside a trace, which are written only where somebody posts them.
SiteReply Site::Marks(const SiteRequest& request) const {
  const std::optional<TraceStatus> status = AskedTrace(request);
  if (!status) {
    return Sentence(404, "No trace of that fingerprint is open here.");
  }
  const std::lock_guard lock(marking);
  if (request.method == "POST") {
    MaybeRefusal trouble;
    const std::optional<SentMarks> sent = ParseSentMarks(request.body, trouble);
    if (!sent) {
      return Sentence(400, "These are no marks: " + trouble->message + '.');
    }
    if (const Fault fault = SaveMarks(status->file, *sent)) {
      return Sentence(fault.kind == Fault::CHANGED ? 409 : 422, fault.Text());
    }
  }
  const Result<KeptMarks> kept = ReadMarks(status->file);
  if (!kept) {
    return Sentence(422, kept.Why().Text());
  }
  SiteReply reply = Sentence(200, "");
  reply.type = "application/json";
  reply.body = MarksReply(*kept);
  return reply;
}

std::string Site::StatusText() const {
  JsonText text;
  text.Object();
  text.Key("protocol").Number(AnswerBytes::PROTOCOL);
  text.Key("build").Text(std::string(MARROWFIN_VERSION " ") + std::string(PageBuild()));
  text.Key("restart").Object();
  text.Key("command").Text(access.restart);
  text.Key("sameLink").Flag(access.keepsToken).End();
  text.Key("traces").Array();
  for (const TraceStatus& status : traces.Status()) {
    PutTrace(status, text);
  }
  text.End().End();
  return text.Get();
}

std::string Site::NewsText(const TraceNews& news) {
  constexpr const char* NAMES[] = {"index",     "indexed", "grown", "changed",
                                   "truncated", "failed",  "notes"};
  JsonText text;
  text.Object();
  text.Key("news").Text(NAMES[news.kind]);
  text.Key("trace").Text(news.fingerprint);
  text.Key("now").Text(news.now);
  if (news.kind == TraceNews::INDEXING) {
    text.Key("done").Number(news.progress.done);
    text.Key("all").Number(news.progress.all);
  } else {
    text.Key("records").Number(news.records);
  }
  text.End();
  return text.Get();
}

}  // namespace marrowfin
