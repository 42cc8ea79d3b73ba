#ifndef TESTS_UTIL_SYSTEMCALLS_H
#define TESTS_UTIL_SYSTEMCALLS_H

#include <cstdio>
#include <deque>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace marrowfin::testing {

// Notes what the program asks of the system while the object lives, and can let it fail; arrays
// taken from the heap are noted too. One object at a time. The linker leads the calls here: see the
// --wrap options of the test program.
class SystemCalls {
 public:
  SystemCalls();
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;
  ~SystemCalls();

  // A call as it is noted: "read(3, 8)". The arguments are
  //   open: name, flags, permissions      read, write: descriptor, bytes
  //   fdopen: descriptor, mode            lseek: descriptor, offset, whence
  //   close: descriptor                   fclose: stream
  //   fileno: stream                      unlink: name
  //   sigaction: signal, handler, flags, signals in the mask
  //   new[]: bytes                        strdup: text
  //   regerror: room for the text
  //   delete[], gettimeofday, regfree: nothing
  // with numbers in decimal.
  template <class... Arguments>
  static std::string Call(const std::string& name, const Arguments&... arguments) {
    std::ostringstream text;
    [[maybe_unused]] const char* separator = "";
    text << name << "(";
    ((text << separator << arguments, separator = ", "), ...);
    text << ")";
    return text.str();
  }

  // The calls so far, those that were made to fail too.
  const std::vector<std::string>& Made() const { return made; }

  // Lets the next calls of `name` fail with these errors, one after the other. An error of 0 lets
  // the call through.
  void Fail(const std::string& name, std::initializer_list<int> errors);

  // The time of day from now on, in seconds.
  void SetTime(long seconds) { time = seconds; }

  // Notes a call. True, with errno set, where it is to fail.
  bool Note(const char* name, const std::string& call);

  long Time() const { return time; }

  // The object that lives; null where there is none.
  static SystemCalls* Current();

  // The first streams whose descriptors the program asked for, before main too.
  static std::vector<FILE*> FirstStreams();

 private:
  std::vector<std::string> made;
  std::map<std::string, std::deque<int>> failures;
  long time = 0;  // 0: what the system says
};

}  // namespace marrowfin::testing

#endif
