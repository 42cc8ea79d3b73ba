// All that knows Beast: it takes long to compile, and so stands in one place.

#include "explorer/server/Server.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <csignal>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

#include "explorer/core/AnswerBytes.h"
#include "explorer/core/Core.h"
#include "explorer/core/OpenTraces.h"
#include "explorer/core/Question.h"
#include "explorer/server/HttpBytes.h"
#include "explorer/server/Site.h"
#include "explorer/server/Workers.h"

namespace marrowfin {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;
using Error = beast::error_code;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;
using FileResponse = http::response<http::file_body>;
using Parser = http::request_parser<http::string_body>;
using Flag = std::shared_ptr<std::atomic<bool>>;

constexpr uint32_t LONGEST_HEAD = 16384;

// What tells a request's own head from what else may stand in it.
void Limit(Parser& parser) {
  parser.header_limit(LONGEST_HEAD);
  parser.body_limit(Question::LARGEST);
}

std::string Text(beast::string_view view) { return {view.data(), view.size()}; }

std::string Field(const Request& request, http::field field) { return Text(request[field]); }

SiteRequest AsSiteRequest(Request& request) {
  return {Text(request.method_string()),
          Text(request.target()),
          Field(request, http::field::host),
          Field(request, http::field::origin),
          Field(request, http::field::cookie),
          Field(request, http::field::authorization),
          Field(request, http::field::content_type),
          std::move(request.body()),
          websocket::is_upgrade(request)};
}

// Fields that decide who is let in are there once, or nobody knows which of them was meant.
bool IsAmbiguous(const Request& request) {
  for (const http::field field : {http::field::host, http::field::origin, http::field::cookie,
                                  http::field::authorization, http::field::content_type}) {
    if (request.count(field) > 1) {
      return true;
    }
  }
  return false;
}

// The headers of a reply, whatever its body.
template <class Body>
http::response<Body> HeadOf(const SiteReply& reply, unsigned version, bool keepAlive) {
  http::response<Body> response{static_cast<http::status>(reply.status), version};
  for (const auto& [name, value] : Site::CommonHeaders()) {
    response.set(beast::string_view(name.data(), name.size()),
                 beast::string_view(value.data(), value.size()));
  }
  for (const auto& [name, value] : reply.headers) {
    response.set(name, value);
  }
  response.set(http::field::content_type, reply.type);
  response.keep_alive(keepAlive);
  return response;
}

Response AsResponse(SiteReply reply, unsigned version, bool keepAlive) {
  Response response = HeadOf<http::string_body>(reply, version, keepAlive);
  response.body() = std::move(reply.body);
  response.prepare_payload();
  return response;
}

// The reply to bytes that are no request.
SiteReply ReplyToBroken(const Error& error) {
  if (error == http::error::body_limit) {
    return Site::Sentence(413, "A question has at most 65,536 bytes.");
  }
  if (error == http::error::header_limit) {
    return Site::Sentence(431, "That is too much before the question.");
  }
  return Site::Sentence(400, "This is no request.");
}

constexpr char FAILED[] = "the explorer met a mistake of its own";

std::vector<uint8_t> RefusalBytes(Refusal::Code code, const std::string& message,
                                  const std::string& remedy = {}) {
  return AnswerBytes::Of({code, message, {}, {}, remedy});
}

class SocketSession;

// What all connections share.
struct Shared {
  const Site* site = nullptr;
  const Core* core = nullptr;
  Workers* workers = nullptr;
  Workers* takers = nullptr;  // for what is made to be taken away, which may take minutes
  ServerLimits limits;
  std::atomic<size_t> connections = 0;
  std::atomic<bool> stopping = false;
  std::mutex mutex;
  std::vector<std::weak_ptr<SocketSession>> sockets;

  Core::Cancelled Watch(const Flag& flag) const {
    return [this, flag] { return *flag || stopping; };
  }
};

// Counts a connection while it is there.
class Counted {
 public:
  explicit Counted(Shared& shared) : shared(&shared), before(shared.connections++) {}
  Counted(Counted&& other) noexcept
      : shared(std::exchange(other.shared, nullptr)), before(other.before) {}
  Counted& operator=(Counted&&) = delete;
  ~Counted() {
    if (shared != nullptr) {
      --shared->connections;
    }
  }

  // Whether there were too many before it.
  bool IsTooMuch() const { return before >= shared->limits.connections; }

 private:
  Shared* shared;
  size_t before;
};

// A WebSocket: questions come in, answers go out in whatever order they are found, and news between
// them. What was asked keeps its place until its answer is the next to be sent, so that whoever
// does not read cannot have more and more answers wait for him, and whoever has read one may ask
// again.
class SocketSession : public std::enable_shared_from_this<SocketSession> {
 public:
  SocketSession(tcp::socket socket, Shared& shared, Counted counted)
      : stream(std::move(socket)), shared(shared), counted(std::move(counted)) {}

  void Accept(const Request& request) {
    websocket::stream_base::timeout timeout = {};
    timeout.handshake_timeout = shared.limits.request;
    timeout.idle_timeout = shared.limits.idle;
    timeout.keep_alive_pings = true;
    stream.set_option(timeout);
    stream.set_option(websocket::stream_base::decorator([](websocket::response_type& response) {
      for (const auto& [name, value] : Site::CommonHeaders()) {
        response.set(beast::string_view(name.data(), name.size()),
                     beast::string_view(value.data(), value.size()));
      }
    }));
    stream.read_message_max(FRONT + Question::LARGEST);
    stream.auto_fragment(false);
    {
      const std::lock_guard lock(shared.mutex);
      shared.sockets.push_back(weak_from_this());
    }
    stream.async_accept(request, [self = shared_from_this()](const Error& error) {
      error ? self->End() : self->Read();
    });
  }

  // From any thread. What is told too often to somebody who does not read is left out.
  void Tell(const std::string& news) {
    asio::post(stream.get_executor(), [self = shared_from_this(), news] {
      if (self->accepted && self->queue.size() < MOST_QUEUED) {
        self->Send({true, 0, {news.begin(), news.end()}});
      }
    });
  }

 private:
  static constexpr size_t FRONT = 8;  // bytes before a question, and before an answer
  static constexpr size_t MOST_QUEUED = 64;

  struct Message {
    bool isText = false;
    uint32_t number = 0;
    std::vector<uint8_t> bytes;
    bool answers = false;  // what was in work under that number, which a refusal does not end
    std::array<uint8_t, FRONT> front = {};
  };

  void Read() {
    accepted = true;
    stream.async_read(buffer, [self = shared_from_this()](const Error& error, size_t) {
      error ? self->End() : self->Take();
    });
  }

  void Take() {
    const auto* const data = static_cast<const uint8_t*>(buffer.cdata().data());
    const size_t size = buffer.size();
    const bool isFrame = stream.got_binary() && size >= FRONT && Word(data + 4) == 0;
    if (!isFrame) {
      Close(websocket::close_code::policy_error);
      return;
    }
    TakeQuestion(Word(data), {data + FRONT, data + size});
    if (closing) {
      return;
    }
    buffer.consume(size);
    Read();
  }

  static uint32_t Word(const uint8_t* bytes) {
    return bytes[0] | bytes[1] << 8U | bytes[2] << 16U | static_cast<uint32_t>(bytes[3]) << 24U;
  }

  void TakeQuestion(uint32_t number, std::vector<uint8_t> question) {
    const auto known = asked.find(number);
    if (question.empty()) {
      if (known != asked.end()) {
        *known->second = true;
      }
      return;
    }
    if (known != asked.end()) {
      Refuse(number, Refusal::BAD_QUESTION, "a question of that number is still in work");
      return;
    }
    const Flag flag = std::make_shared<std::atomic<bool>>(false);
    const auto work = [self = shared_from_this(), number, flag, question = std::move(question)] {
      self->Find(number, flag, question);
    };
    const auto failed = [self = shared_from_this(), number] {
      self->Answer(number, RefusalBytes(Refusal::INTERNAL, FAILED));
    };
    if (asked.size() >= shared.limits.questions || !shared.workers->Begin(work, failed)) {
      Refuse(number, Refusal::BUSY, "too many questions are in work");
      return;
    }
    asked.emplace(number, flag);
  }

  void Refuse(uint32_t number, Refusal::Code code, const std::string& message) {
    if (queue.size() >= MOST_QUEUED) {
      Close(websocket::close_code::try_again_later);
      return;
    }
    Send({false, number, RefusalBytes(code, message, "ask again when one was answered")});
  }

  // In a worker's thread.
  void Find(uint32_t number, const Flag& flag, const std::vector<uint8_t>& question) {
    Answer(number, *flag ? RefusalBytes(Refusal::CANCELLED, "nobody wants to know any more")
                         : shared.core->Answer(question, shared.Watch(flag)));
  }

  void Answer(uint32_t number, std::vector<uint8_t> answer) {
    asio::post(stream.get_executor(),
               [self = shared_from_this(), number, answer = std::move(answer)]() mutable {
                 self->Send({false, number, std::move(answer), true});
               });
  }

  void Send(Message message) {
    if (ended) {
      return;
    }
    for (size_t i = 0; i < 4; ++i) {
      message.front[i] = static_cast<uint8_t>(message.number >> 8 * i);
    }
    queue.push_back(std::move(message));
    if (queue.size() == 1) {
      Write();
    }
  }

  // The place is free before the answer can be read: what is asked then may be here before it is
  // known here that all was written.
  void Write() {
    const Message& message = queue.front();
    if (message.answers) {
      asked.erase(message.number);
    }
    stream.text(message.isText);
    const std::array<asio::const_buffer, 2> buffers = {
        asio::buffer(message.front.data(), message.isText ? 0 : FRONT),
        asio::buffer(message.bytes)};
    stream.async_write(buffers, [self = shared_from_this()](const Error& error, size_t) {
      error ? self->End() : self->Wrote();
    });
  }

  void Wrote() {
    queue.pop_front();
    if (!queue.empty()) {
      Write();
    }
  }

  void Close(websocket::close_code code) {
    if (std::exchange(closing, true)) {
      return;
    }
    stream.async_close(code, [self = shared_from_this()](const Error&) { self->End(); });
  }

  // What was asked is of no use any more.
  void End() {
    ended = true;
    for (const auto& [number, flag] : asked) {
      *flag = true;
    }
  }

  websocket::stream<beast::tcp_stream> stream;
  Shared& shared;
  Counted counted;
  beast::flat_buffer buffer;
  bool accepted = false;
  bool closing = false;
  bool ended = false;
  std::map<uint32_t, Flag> asked;  // and not yet answered
  std::deque<Message> queue;       // the first one is on its way
};

// A connection: requests, one after the other.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(tcp::socket socket, Shared& shared)
      : stream(std::move(socket)), shared(shared), counted(shared) {}

  void Start() {
    asio::dispatch(stream.get_executor(), [self = shared_from_this()] { self->Wait(); });
  }

 private:
  // For the first byte of a request, which may be long in coming.
  void Wait() {
    parser.emplace();
    Limit(*parser);
    if (buffer.size() > 0) {
      Read();
      return;
    }
    stream.expires_after(counted.IsTooMuch() ? shared.limits.request : shared.limits.idle);
    stream.async_read_some(buffer.prepare(4096),
                           [self = shared_from_this()](const Error& error, size_t size) {
                             self->buffer.commit(size);
                             error ? self->End() : self->Read();
                           });
  }

  void Read() {
    stream.expires_after(shared.limits.request);
    http::async_read(
        stream, buffer, *parser,
        [self = shared_from_this()](const Error& error, size_t) { self->Take(error); });
  }

  void Take(const Error& error) {
    if (error && error.category() != Error(http::error::bad_method).category()) {
      End();
      return;
    }
    if (error == http::error::end_of_stream || error == http::error::partial_message) {
      End();
      return;
    }
    if (error) {
      Write(ReplyToBroken(error), false);
      return;
    }
    Request& request = parser->get();
    if (counted.IsTooMuch()) {
      Write(Site::Sentence(503, "Too many connections are open. Try again in a moment."), false);
    } else if (IsAmbiguous(request)) {
      Write(Site::Sentence(400, "A header is there twice."), false);
    } else {
      Serve(request);
    }
  }

  void Serve(Request& request) {
    const bool keepAlive = request.keep_alive();
    SiteRequest asked = AsSiteRequest(request);
    if (std::optional<SiteReply> refusal = shared.site->Refuse(asked)) {
      Write(std::move(*refusal), keepAlive);
    } else if (Site::IsForSocket(asked)) {
      std::make_shared<SocketSession>(stream.release_socket(), shared, std::move(counted))
          ->Accept(request);
    } else {
      Find(std::move(asked), keepAlive);
    }
  }

  // Has a worker answer, and looks out for the end of the connection meanwhile.
  void Find(SiteRequest request, bool keepAlive) {
    stream.expires_never();
    const Flag flag = std::make_shared<std::atomic<bool>>(false);
    const bool takes = Site::IsForTaking(request);
    const auto work = [self = shared_from_this(), request = std::move(request), flag, keepAlive] {
      self->Hand(self->shared.site->Answer(request, self->shared.Watch(flag)), keepAlive);
    };
    const auto failed = [self = shared_from_this(), keepAlive] {
      self->Hand(Site::Sentence(500, "The explorer met a mistake of its own."), keepAlive);
    };
    if (!(takes ? shared.takers : shared.workers)->Begin(work, failed)) {
      Write(Site::Sentence(503, "Too many questions are in work. Try again in a moment."),
            keepAlive);
      return;
    }
    LookOut(flag);
  }

  // From a worker's thread.
  void Hand(SiteReply reply, bool keepAlive) {
    asio::post(stream.get_executor(),
               [self = shared_from_this(), reply = std::move(reply), keepAlive]() mutable {
                 self->Found(std::move(reply), keepAlive);
               });
  }

  // By reading on: what comes before the end are the first bytes of the next request.
  void LookOut(const Flag& flag) {
    if (buffer.size() >= LONGEST_HEAD) {
      return;
    }
    looksOut = true;
    stream.socket().async_read_some(
        buffer.prepare(4096), [self = shared_from_this(), flag](const Error& error, size_t size) {
          self->buffer.commit(size);
          self->looksOut = false;
          if (self->found) {
            self->WriteFound();
          } else if (error) {
            *flag = true;
          } else {
            self->LookOut(flag);
          }
        });
  }

  // One read at a time: the reply waits for the end of the one that looks out.
  void Found(SiteReply reply, bool keepAlive) {
    found.emplace(std::move(reply), keepAlive);
    looksOut ? stream.socket().cancel() : WriteFound();
  }

  void WriteFound() {
    auto [reply, keepAlive] = std::move(*found);
    found.reset();
    Write(std::move(reply), keepAlive);
  }

  void Write(SiteReply reply, bool keepAlive) {
    if (reply.file) {
      WriteFile(reply);
      return;
    }
    response = AsResponse(std::move(reply), parser->get().version(), keepAlive);
    stream.expires_after(shared.limits.reply);
    http::async_write(stream, *response,
                      [self = shared_from_this(), keepAlive](const Error& error, size_t) {
                        error || !keepAlive ? self->End() : self->Wait();
                      });
  }

  // In pieces, as they are read: whoever reads slowly has some minutes for each.
  void WriteFile(const SiteReply& reply) {
    fileResponse = HeadOf<http::file_body>(reply, parser->get().version(), false);
    Error error;
    beast::file_posix file;
    file.native_handle(reply.file->Take());
    fileResponse->body().reset(std::move(file), error);
    if (error) {
      End();
      return;
    }
    fileResponse->prepare_payload();
    fileSerializer.emplace(*fileResponse);
    WritePiece();
  }

  void WritePiece() {
    stream.expires_after(shared.limits.reply);
    http::async_write_some(
        stream, *fileSerializer, [self = shared_from_this()](const Error& error, size_t) {
          error || self->fileSerializer->is_done() ? self->End() : self->WritePiece();
        });
  }

  // The other side is told first: what it still sends would have its system forget the reply.
  void End() {
    Error ignored;
    stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
    stream.expires_after(std::chrono::seconds(1));
    Drain();
  }

  void Drain() {
    if (drained++ > MOST_DRAINED) {
      return;
    }
    stream.async_read_some(asio::buffer(rest),
                           [self = shared_from_this()](const Error& error, size_t) {
                             if (!error) {
                               self->Drain();
                             }
                           });
  }

  static constexpr size_t MOST_DRAINED = 64;

  beast::tcp_stream stream;
  Shared& shared;
  Counted counted;
  beast::flat_buffer buffer;
  std::optional<Parser> parser;
  std::optional<Response> response;
  std::optional<FileResponse> fileResponse;
  std::optional<http::serializer<false, http::file_body>> fileSerializer;
  std::array<char, 4096> rest;
  size_t drained = 0;
  bool looksOut = false;  // while a worker answers
  std::optional<std::pair<SiteReply, bool>> found;
};

// Accepts connections at one address.
class Listener : public std::enable_shared_from_this<Listener> {
 public:
  Listener(asio::io_context& context, tcp::acceptor acceptor, Shared& shared)
      : context(context), acceptor(std::move(acceptor)), timer(context), shared(shared) {}

  void Accept() {
    acceptor.async_accept(asio::make_strand(context),
                          [self = shared_from_this()](const Error& error, tcp::socket socket) {
                            self->Take(error, std::move(socket));
                          });
  }

 private:
  // Where descriptors ran out, trying again at once would be all that is done.
  void Take(const Error& error, tcp::socket socket) {
    if (error == asio::error::operation_aborted) {
      return;
    }
    if (error) {
      timer.expires_after(std::chrono::milliseconds(50));
      timer.async_wait([self = shared_from_this()](const Error& stopped) {
        if (!stopped) {
          self->Accept();
        }
      });
      return;
    }
    Error ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    std::make_shared<HttpSession>(std::move(socket), shared)->Start();
    Accept();
  }

  asio::io_context& context;
  tcp::acceptor acceptor;
  asio::steady_timer timer;
  Shared& shared;
};

struct Bound {
  std::optional<tcp::acceptor> acceptor;
  Error error;  // why there is none
};

Bound Bind(asio::io_context& context, const asio::ip::address& address, uint16_t port) {
  const tcp::endpoint endpoint(address, port);
  tcp::acceptor acceptor(context);
  Error error;
  acceptor.open(endpoint.protocol(), error);
  if (!error) {
    acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  }
  if (!error && address.is_v6()) {
    acceptor.set_option(asio::ip::v6_only(true), error);
  }
  if (!error) {
    acceptor.bind(endpoint, error);
  }
  if (!error) {
    acceptor.listen(asio::socket_base::max_listen_connections, error);
  }
  return {error ? std::nullopt : std::optional(std::move(acceptor)), error};
}

Fault CannotListen(const std::string& address, uint16_t port, const Error& error) {
  Fault fault = SystemFault(address + ":" + std::to_string(port), "cannot listen", error.value());
  fault.remedy = "give another --port";
  return fault;
}

// Both loopback addresses at one port; a machine may have but the one.
Result<std::vector<tcp::acceptor>> BindLoopback(asio::io_context& context, uint16_t wanted) {
  constexpr int TRIES = 100;
  Error met;
  for (int i = 0; i < TRIES && wanted + i <= 65535; ++i) {
    const auto port = static_cast<uint16_t>(wanted == 0 ? 0 : wanted + i);
    Bound fourth = Bind(context, asio::ip::address_v4::loopback(), port);
    if (!fourth.acceptor) {
      met = fourth.error;
      continue;
    }
    const uint16_t taken = fourth.acceptor->local_endpoint().port();
    Bound sixth = Bind(context, asio::ip::address_v6::loopback(), taken);
    std::vector<tcp::acceptor> acceptors;
    acceptors.push_back(std::move(*fourth.acceptor));
    if (sixth.acceptor) {
      acceptors.push_back(std::move(*sixth.acceptor));
    }
    if (sixth.error != asio::error::address_in_use) {
      return acceptors;
    }
    met = sixth.error;
  }
  return CannotListen("127.0.0.1", wanted, met);
}

Result<std::vector<tcp::acceptor>> BindAll(asio::io_context& context,
                                           const ServerOptions& options) {
  if (options.listen.empty()) {
    return BindLoopback(context, options.port);
  }
  Error error;
  const asio::ip::address address = asio::ip::make_address(options.listen, error);
  if (error) {
    Fault fault = SystemFault(options.listen, "this is no address", error.value());
    fault.remedy = "give --listen an address such as 127.0.0.1";
    return fault;
  }
  Bound bound = Bind(context, address, options.port);
  if (!bound.acceptor) {
    return CannotListen(options.listen, options.port, bound.error);
  }
  std::vector<tcp::acceptor> acceptors;
  acceptors.push_back(std::move(*bound.acceptor));
  return acceptors;
}

std::string RestartLine(const ServerOptions& options, uint16_t port) {
  return options.restart + " --port " + std::to_string(port);
}

constexpr size_t TAKERS = 2;

size_t WorkerCount() { return std::clamp<size_t>(std::thread::hardware_concurrency(), 2, 8); }

}  // namespace

struct Server::Parts {
  explicit Parts(const ServerOptions& options)
      : options(options),
        workers(WorkerCount(), options.limits.waiting),
        takers(TAKERS, options.limits.taking) {}

  ~Parts() {
    shared.stopping = true;
    workers.Stop();
    takers.Stop();
    workers.Join();
    takers.Join();
  }

  void Open(std::vector<tcp::acceptor> acceptors) {
    port = acceptors[0].local_endpoint().port();
    traces = std::make_unique<OpenTraces>(
        options.files, [this](const TraceNews& news) { Tell(news); }, options.timing);
    core = std::make_unique<Core>(*traces, options.shape);
    site = std::make_unique<Site>(*traces, *core,
                                  SiteAccess{options.token, options.listen, port,
                                             RestartLine(options, port), options.keepsToken});
    shared.site = site.get();
    shared.core = core.get();
    shared.workers = &workers;
    shared.takers = &takers;
    shared.limits = options.limits;
    for (tcp::acceptor& acceptor : acceptors) {
      std::make_shared<Listener>(context, std::move(acceptor), shared)->Accept();
    }
  }

  void Tell(const TraceNews& news) {
    const std::string text = Site::NewsText(news);
    const std::lock_guard lock(shared.mutex);
    std::erase_if(shared.sockets, [&](const std::weak_ptr<SocketSession>& socket) {
      const std::shared_ptr<SocketSession> session = socket.lock();
      if (session) {
        session->Tell(text);
      }
      return !session;
    });
  }

  // What a handler throws, for want of memory, ends the connection that it was about: nobody holds
  // on to that any more.
  void Serve() {
    for (bool again = true; again;) {
      try {
        context.run();
        again = false;
      } catch (const std::exception&) {
      }
    }
  }

  const ServerOptions options;
  Shared shared;
  asio::io_context context;
  uint16_t port = 0;
  std::unique_ptr<OpenTraces> traces;
  std::unique_ptr<Core> core;
  std::unique_ptr<Site> site;
  Workers workers;
  Workers takers;
};

Server::Server(std::unique_ptr<Parts> parts) : parts(std::move(parts)) {}

Server::~Server() = default;

Result<std::unique_ptr<Server>> Server::Start(const ServerOptions& options) {
  auto parts = std::make_unique<Parts>(options);
  Result<std::vector<tcp::acceptor>> acceptors = BindAll(parts->context, options);
  if (!acceptors) {
    return acceptors.Why();
  }
  parts->Open(std::move(acceptors).Take());
  return std::unique_ptr<Server>(new Server(std::move(parts)));
}

uint16_t Server::Port() const { return parts->port; }

std::string Server::Link() const {
  const std::string& listen = parts->options.listen;
  const bool sixth = listen.find(':') != std::string::npos;
  const std::string host = listen.empty() ? "127.0.0.1" : sixth ? '[' + listen + ']' : listen;
  return "http://" + host + ":" + std::to_string(parts->port) + "/?token=" + parts->options.token;
}

size_t Server::Connections() const { return parts->shared.connections; }

void Server::Stop() { parts->context.stop(); }

void Server::Run() {
  asio::signal_set signals(parts->context, SIGINT, SIGTERM, SIGHUP);
  signals.async_wait([this](const Error& error, int) {
    if (!error) {
      Stop();
    }
  });
  std::thread second([this] { parts->Serve(); });
  parts->Serve();
  second.join();
}

std::string ReplyToBytes(const Site& site, std::string_view bytes) {
  Parser parser;
  Limit(parser);
  parser.eager(true);
  Error error;
  size_t used = 0;
  while (!error && !parser.is_done() && used < bytes.size()) {
    used += parser.put(asio::buffer(bytes.data() + used, bytes.size() - used), error);
  }
  SiteReply reply = ReplyToBroken(error);
  if (!error && parser.is_done()) {
    Request& request = parser.get();
    SiteRequest asked = AsSiteRequest(request);
    std::optional<SiteReply> refusal = site.Refuse(asked);
    reply = IsAmbiguous(request)       ? Site::Sentence(400, "A header is there twice.")
            : refusal                  ? std::move(*refusal)
            : Site::IsForSocket(asked) ? Site::Sentence(101, "")
                                       : site.Answer(asked);
  }
  std::ostringstream out;
  out << AsResponse(std::move(reply), 11, false);
  return out.str();
}

}  // namespace marrowfin
