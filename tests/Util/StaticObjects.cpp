// A program whose static objects use the library from their constructors and destructors. It stands
// before the library on the linker's command line, as every program does.

#include <cstdio>

#include "Util/File.h"
#include "Util/Regression.h"
#include "Util/SimOutput.h"

namespace {

// Tells on standard output that it came, and registers itself.
class Early final : public StatelessCallback {
 public:
  Early() {
    SimOutput::Print("print\n");
    SimOutput::PrintError("error\n");
    SIM_DEBUG("debug");
    SIM_TRACE("trace");
    SIM_WARN("warn");
    File::Stdout.Print("standard output\n");
    File::Stderr.Print("standard error\n");
    SimOutput::Print("descriptor %d\n", File::Stdin.GetFD());
    Regression::Fail("too early");
    Regression::AddCrashCallback(this);
  }

  ~Early() { SimOutput::Print("gone, %zu callbacks\n", Regression::crashCalls.size()); }

  void operator()() override { SimOutput::Print("called\n"); }
};

const Early early;

}  // namespace

int main() {
  (*Regression::crashCalls.at(0))();
  Regression::PrintSuccess();
}
