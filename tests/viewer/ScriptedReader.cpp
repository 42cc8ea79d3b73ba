// Linked into a second build of the viewer's entry, where ReadEvent hands over what a test wants
// and no trace can make: a status that is not the event's, an event of a class that the trace tool
// refuses. Everything else is the viewer's own.
//
// MARROWFIN_EVENTS holds the answers, in order and separated by blanks:
//   error        ERROR and no event
//   null         SUCCESS and no event
//   fire:CYCLE   SUCCESS and a fire of thread 1 at the origin
//   last:CYCLE   the same with END_OF_FILE
//   plain:CYCLE, location:CYCLE   events of the classes that have no piece
//   likeswitch:CYCLE, likefire:CYCLE, likesend:CYCLE   an event of the base class that has the code
//                of another
// and then END_OF_FILE without an event for ever. Standard error tells when an answer is asked for,
// with the spin flag of the moment, and when a fire is destroyed; and first how the entry's
// variables begin.

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "Core/VisTool.h"
#include "viewer/ArchPiece.h"
#include "viewer/Grid.h"

extern Grid* grid;
extern VisTool* vis;
extern int pictureSizeX;
extern int pictureSizeY;
extern int doSpin;

namespace {

class ReportedFire : public PEFire {
 public:
  explicit ReportedFire(Cycle cycle) : PEFire(cycle, 1, Location(0, 0)) {}

  ~ReportedFire() override {
    const int painted = grid->processingElements[l]->g;
    fprintf(stderr, "destroyed at %d, green is %d\n", static_cast<int>(cyc), painted);
  }
};

VisToolEvent* NewEventWithCode(unsigned code, Cycle cycle) {
  auto* event = new VisToolEvent(cycle, 0);
  event->JoinClass(code);
  return event;
}

VisToolEvent* NewEvent(const std::string& kind, Cycle cycle) {
  if (kind == "plain") {
    return new VisToolEvent(cycle, 0);
  }
  if (kind == "location") {
    return new LocationEvent(cycle, 0, Location(0, 0));
  }
  if (kind == "likeswitch") {
    return NewEventWithCode(NETWORK_SWITCH_TRANSMISSION, cycle);
  }
  if (kind == "likefire") {
    return NewEventWithCode(PE_FIRE, cycle);
  }
  if (kind == "likesend") {
    return NewEventWithCode(MESSAGE_SEND, cycle);
  }
  return kind == "fire" || kind == "last" ? new ReportedFire(cycle) : nullptr;
}

[[gnu::constructor]] void TellStart() {
  fprintf(stderr, "%s %s %d %d %d\n", grid == nullptr ? "no grid" : "grid",
          vis == nullptr ? "no reader" : "reader", pictureSizeX, pictureSizeY, doSpin);
}

}  // namespace

// The linker sends the entry's calls of VisTool::ReadEvent here (--wrap).
File::FileStatus ScriptedReadEvent(VisTool*, VisToolEvent*& event) asm(
    "__wrap__ZN7VisTool9ReadEventERP12VisToolEvent");

File::FileStatus ScriptedReadEvent(VisTool* /*tool*/, VisToolEvent*& event) {
  static std::istringstream answers(getenv("MARROWFIN_EVENTS"));
  std::string answer;
  answers >> answer;
  fprintf(stderr, "asked for %s, spin is %d\n", answer.c_str(), doSpin);
  const size_t colon = answer.find(':');
  const std::string kind = answer.substr(0, colon);
  const Cycle cycle = colon == std::string::npos ? 0 : std::stoull(answer.substr(colon + 1));
  event = NewEvent(kind, cycle);
  if (kind == "error") {
    return File::ERROR;
  }
  return kind == "last" || kind.empty() ? File::END_OF_FILE : File::SUCCESS;
}
