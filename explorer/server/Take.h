#ifndef EXPLORER_SERVER_TAKE_H
#define EXPLORER_SERVER_TAKE_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trace/base/Place.h"

namespace marrowfin {

// Things to take away are made by marrowfin-trace, in a process of its own: their bytes are then
// those of the command line that is told beside them, and what takes long or much memory can be
// ended without a word to anybody else.

// What is asked for.
struct TakeCommand {
  std::vector<std::string> words;  // behind the program's name and before the output
  std::string type;                // as Content-Type tells it
  std::string ending;              // of the file's name: ".png"
  bool prints = false;             // on standard output, where no output can be named

  // Of messages: those of this sender, and to this receiver. The program tells messages of either
  // end only, so that the others are left out of what it writes.
  std::optional<Place> from = {};
  std::optional<Place> to = {};

  bool isTold = false;  // whether the command line is asked for, and not what it makes
};

// Reads a query such as "what=plot&kind=heat&format=svg&first=10&last=99" about a file. Nothing
// where it asks for nothing that there is: every word of a command is one of a list, a number, or
// stands behind the flag that it belongs to.
std::optional<TakeCommand> ParseTake(std::string_view query, const std::string& file);

// The command as it is typed in a shell, with `name` and its ending as the name of the output where
// it has one.
std::string TakeText(const TakeCommand& command, const std::string& name);

// A file without a name, which goes with the object.
class UnnamedResult {
 public:
  explicit UnnamedResult(int descriptor) : descriptor(descriptor) {}
  UnnamedResult(const UnnamedResult&) = delete;
  UnnamedResult& operator=(const UnnamedResult&) = delete;
  ~UnnamedResult();

  // The descriptor, which is the caller's from now on.
  int Take();

 private:
  int descriptor;
};

// What came of it: the file, or what the program said was wrong.
struct TakeResult {
  std::shared_ptr<UnnamedResult> file;
  std::string failure;
};

// Runs the program `program` and waits for it; `cancelled` ends it.
TakeResult RunTake(const std::string& program, const TakeCommand& command,
                   const std::function<bool()>& cancelled);

// The marrowfin-trace beside this program, else the one that the system finds.
std::string TakeProgram();

}  // namespace marrowfin

#endif
