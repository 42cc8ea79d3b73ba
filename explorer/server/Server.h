#ifndef EXPLORER_SERVER_SERVER_H
#define EXPLORER_SERVER_SERVER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "explorer/core/FollowedTrace.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Result.h"

namespace marrowfin {

// How much is taken on at once.
struct ServerLimits {
  size_t connections = 256;                  // more are refused with a sentence
  size_t questions = 8;                      // of a WebSocket, in work or waiting
  size_t waiting = 1024;                     // questions of all connections, in work or waiting
  size_t taking = 8;                         // things to take away, in work or waiting
  std::chrono::milliseconds idle{120000};    // for a connection that says nothing
  std::chrono::milliseconds request{15000};  // for the whole of a request, once it has begun
  std::chrono::milliseconds reply{60000};    // for whoever reads the reply
};

struct ServerOptions {
  std::vector<std::string> files;
  std::optional<ArrayShape> shape;  // of all traces
  std::string token;
  bool keepsToken = false;  // the next server has the same one
  std::string restart;      // the command line that starts it again, without a port
  std::string listen;       // an address; empty for the loopback addresses
  uint16_t port = 8120;     // where it is taken, the next free one of a hundred; 0 for any
  ServerLimits limits;
  FollowedTrace::Timing timing;
};

// The explorer's server: the page, its questions and what becomes of the traces, by HTTP and
// WebSocket.
//
// Any number of threads may ask a server; Run is for one.
class Server {
 public:
  // Binds an address and opens the traces, which are indexed from now on. A SYSTEM fault where no
  // address can be had.
  [[nodiscard]] static Result<std::unique_ptr<Server>> Start(const ServerOptions& options);

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  uint16_t Port() const;

  // What opens the page: with the token.
  std::string Link() const;

  // Serves until Stop, or until a signal asks the process to end (SIGINT, SIGTERM, SIGHUP).
  void Run();

  // From any thread.
  void Stop();

  // How many connections there are.
  size_t Connections() const;

 private:
  struct Parts;
  explicit Server(std::unique_ptr<Parts> parts);

  std::unique_ptr<Parts> parts;
};

}  // namespace marrowfin

#endif
