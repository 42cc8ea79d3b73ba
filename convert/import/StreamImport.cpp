#include "convert/import/StreamImport.h"

#include <algorithm>

#include "convert/import/Refusal.h"
#include "convert/import/SwitchRoute.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {

Fault StreamImport::Write(const std::string& input) {
  if (Fault fault = stream.Begin(notes)) {
    return fault;
  }
  StreamEvent event;
  for (;;) {
    const uint64_t frame = records == 0 && options.frameThread ? 1 : 0;
    const Result<bool> there = stream.Next(event, records + frame);
    account.counts = stream.Counts();
    account.notesLeftOut = stream.NotesLeftOut();
    if (!there) {
      return there.Why();
    }
    if (!*there) {
      break;
    }
    if (frame == 1) {
      WriteFrame(event.cycle);
    }
    WriteEvent(event);
    if (writer.GetFault()) {
      return writer.GetFault();
    }
    if (records > options.mostRecords) {
      return Refusal(input, "becomes more than " + std::to_string(options.mostRecords) + " records",
                     "allow more if the disk has room for 36 bytes each");
    }
  }
  if (options.frameThread && records > 0) {
    WriteFrame(account.lastCycle + (account.lastCycle + 1 == 0 ? 0 : 1));
  }
  return writer.Flush();
}

void StreamImport::WriteFrame(uint64_t cycle) {
  Put(SEND_RECORD, cycle, *options.frameThread, {}, {});
  ++account.frameRecords;
}

void StreamImport::WriteEvent(const StreamEvent& event) {
  const bool isFirst =
      records == account.frameRecords && account.fires + account.sends + account.switches == 0;
  account.falls += !isFirst && event.cycle < previousCycle ? 1 : 0;
  account.firstCycle = isFirst ? event.cycle : std::min(account.firstCycle, event.cycle);
  account.lastCycle = std::max(account.lastCycle, event.cycle);
  previousCycle = event.cycle;
  Put(event.type, event.cycle, event.thread, event.at, event.to);
  if (notes != nullptr) {
    for (const StreamNote& note : event.notes) {
      notes->Note(note.attribute, note.value);
    }
  }
  Include(event);
  if (event.type == SEND_RECORD && options.switchesOf) {
    Derive(event);
  }
}

void StreamImport::Derive(const StreamEvent& event) {
  const bool isKnown = SwitchRoute(*options.switchesOf).ForEach(event.at, event.to, [&](Place at) {
    Put(SWITCH_RECORD, event.cycle, event.thread, at, {});
    ++account.derived;
  });
  account.withoutRoute += isKnown ? 0 : 1;
}

void StreamImport::Put(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to) {
  if (type == SEND_RECORD) {
    writer.Send(cycle, thread, at, to);
  } else if (type == FIRE_RECORD) {
    writer.Fire(cycle, thread, at);
  } else {
    writer.Switch(cycle, thread, at);
  }
  if (notes != nullptr) {
    notes->Record(type, cycle, thread, at, to);
  }
  if (printed < About::MOST_PRINTED) {
    print.Add(type, cycle, thread, at, to);
    ++printed;
  }
  ++records;
}

void StreamImport::Include(const StreamEvent& event) {
  if (event.type == FIRE_RECORD) {
    ++account.fires;
    ++extents.fires;
    extents.fired.Include(event.at);
  } else if (event.type == SEND_RECORD) {
    ++account.sends;
    ++extents.sends;
    extents.sent.Include(event.at);
    extents.sent.Include(event.to);
  } else {
    ++account.switches;
    ++extents.switches;
    IncludeSwitch(event.at);
  }
}

void StreamImport::IncludeSwitch(Place at) {
  if (!extents.switchesComplete ||
      !switchPlaces.insert(uint64_t{at.column} << 32 | at.row).second) {
    return;
  }
  extents.switchesComplete = extents.switchPlaces.size() < Summary::MAX_SWITCHES;
  if (extents.switchesComplete) {
    extents.switchPlaces.push_back(at);
  }
}

About StreamImport::Describe() const {
  About about;
  stream.Describe(about);
  if (options.switchesOf) {
    about.array = AboutArray();
    about.array->shape = *options.switchesOf;
    about.links = AboutLinks();
    about.links->routing = "xy";
  }
  if (options.frameThread) {
    about.threads[*options.frameThread] = {"frame",
                                           "records before and behind, which draw nothing"};
  }
  about.printed = printed;
  about.fingerprint = print.Value();
  return about;
}

std::optional<ArrayShape> StreamImport::View() const {
  if (options.switchesOf) {
    return options.switchesOf;
  }
  // Ends of messages that are far off make an array no larger, and here nothing else told of it.
  const std::optional<ArrayShape> shape = SuggestShape(extents);
  const bool shows =
      shape && extents.sent.columns <= shape->Columns() && extents.sent.rows <= shape->Rows();
  return shows ? shape : std::nullopt;
}

}  // namespace marrowfin
