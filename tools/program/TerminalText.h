#ifndef TOOLS_PROGRAM_TERMINALTEXT_H
#define TOOLS_PROGRAM_TERMINALTEXT_H

#include <ostream>
#include <streambuf>
#include <string>

namespace marrowfin {

// Text as a terminal may get it: what would be a command to it (control characters, but for line
// feeds and tabs; what turns the order of characters round; bytes that are no UTF-8) is written as
// \x1b. Names of files may hold anything.
std::string Printable(const std::string& text);

// The same of a name, or of what holds one, which may not fake a line of its own: line feeds too
// are written as \x0a.
std::string PrintableLine(const std::string& text);

// The text as it is to be written to `out`: printable in one line where that is a TerminalBuffer's,
// which cannot tell a line feed of a name from the end of a line; elsewhere as it is.
std::string LineFor(const std::ostream& out, const std::string& text);

// A stream buffer that hands text on to a terminal, made printable.
class TerminalBuffer : public std::streambuf {
 public:
  // `terminal` outlives the buffer.
  explicit TerminalBuffer(std::ostream& terminal) : terminal(terminal) {}
  ~TerminalBuffer() override { sync(); }

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

 private:
  std::ostream& terminal;
  std::string line;  // what waits for its end: characters may be cut elsewhere
};

}  // namespace marrowfin

#endif
