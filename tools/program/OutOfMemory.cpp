#include "tools/program/OutOfMemory.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

#include "tools/program/ExitCode.h"
#include "tools/program/Report.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

std::terminate_handler before = nullptr;

void Say(const char* text) {
  // Where nobody can be told nothing is left to do.
  static_cast<void>(!write(STDERR_FILENO, text, strlen(text)));
}

[[noreturn]] void End() {
  RemoveTemporaries();
  for (const char* text : {PROGRAM_NAME, ": ", OUT_OF_MEMORY, "\n  ", OUT_OF_MEMORY_REMEDY, "\n"}) {
    Say(text);
  }
  _exit(EXIT_SYSTEM);
}

[[noreturn]] void EndOfException() {
  try {
    if (std::current_exception()) {
      throw;
    }
  } catch (const std::bad_alloc&) {
    End();
  } catch (const std::length_error&) {
    End();
  } catch (...) {
  }
  before();
  abort();
}

}  // namespace

void EndCleanlyWithoutMemory() { before = std::set_terminate(EndOfException); }

}  // namespace marrowfin
