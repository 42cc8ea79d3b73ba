#ifndef MESH_NOC_RECORDER_H
#define MESH_NOC_RECORDER_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Router.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin::mesh {

// Tells what the mesh does, in the words of a trace. A node is a processing element of an array of
// one cluster and one domain; the thread is the virtual channel, so that the viewer tells channels
// by their colours. Without a name for the trace none is opened, and what is told of it has no
// effect, as it is with notes that were not declared.
class Recorder {
 public:
  Recorder(const Options& options, const std::string& command)
      : options(options), occupancies(static_cast<size_t>(options.size) * options.size, 0) {
    if (options.trace.empty()) {
      return;
    }
    marrowfin_trace_open(&trace, options.trace.c_str());
    marrowfin_trace_frame(&trace, Word(options.channels));
    if (options.keepLast != 0) {
      // A node sends at most a flit to each side a cycle, takes one in and one out.
      const uint64_t records = options.keepLast * 6 * occupancies.size();
      marrowfin_trace_keep_last(&trace, records < 1U << 24 ? records : 1U << 24, options.keepLast);
    }
    if (options.notes == "none") {
      return;
    }
    marrowfin_trace_companion(&trace);
    Describe(command);
    kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
    const char* names[] = {"inject", "eject", "head", "body"};
    for (uint64_t value = INJECT; value <= BODY; ++value) {
      marrowfin_trace_value_name(&trace, kind, value, names[value]);
    }
    packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    created = marrowfin_trace_attribute(&trace, "created", MARROWFIN_TRACE_CYCLE, "cycle");
    if (options.notes == "all") {
      bytes = marrowfin_trace_attribute(&trace, "size", MARROWFIN_TRACE_NUMBER, "byte");
      consumes = marrowfin_trace_attribute(&trace, "consumes", MARROWFIN_TRACE_RECORDS, "");
      occupancy = marrowfin_trace_counter(&trace, "occupancy", "flits");
    }
  }

  // The head of a packet came from its source into the router.
  void Inject(uint64_t cycle, Node at, const Flit& flit) {
    marrowfin_trace_fire(&trace, cycle, 0, Word(at.row), Word(at.column));
    Note(INJECT, flit, static_cast<uint64_t>(options.flits));
  }

  // A flit was sent over a link.
  void Hop(uint64_t cycle, Node from, Node to, int channel, Flit& flit) {
    marrowfin_trace_send(&trace, cycle, Word(channel), Word(from.row), Word(from.column),
                         Word(to.row), Word(to.column));
    Note(flit.head ? HEAD : BODY, flit, 1);
    flit.lastSend = marrowfin_trace_last(&trace);
  }

  // The tail of a packet reached its sink.
  void Eject(uint64_t cycle, Node at, int channel, const Flit& flit) {
    marrowfin_trace_fire(&trace, cycle, Word(channel), Word(at.row), Word(at.column));
    Note(EJECT, flit, static_cast<uint64_t>(options.flits));
    marrowfin_trace_note(&trace, consumes, flit.lastSend);
  }

  // A router holds so many flits at the end of a cycle.
  void Occupancy(uint64_t cycle, Node at, int flits) {
    int& told = occupancies[static_cast<size_t>(at.row) * options.size + at.column];
    if (occupancy != -1 && flits != told) {
      marrowfin_trace_count(&trace, cycle, Word(at.row), Word(at.column), occupancy, flits);
      told = flits;
    }
  }

  // Ends the recording. Throws std::runtime_error with the text of what went wrong.
  void Close() {
    marrowfin_trace_dump(&trace);
    if (marrowfin_trace_close(&trace) != 0) {
      throw std::runtime_error(marrowfin_trace_message(&trace));
    }
  }

 private:
  static constexpr uint64_t FLIT_BYTES = 16;
  enum Kind : uint64_t { INJECT, EJECT, HEAD, BODY };

  static uint32_t Word(int number) { return static_cast<uint32_t>(number); }

  void Describe(const std::string& command) {
    marrowfin_trace_about(&trace, "name",
                          (options.traffic + " traffic, " + options.routing + " routing").c_str());
    marrowfin_trace_about(&trace, "command", command.c_str());
    marrowfin_trace_about(&trace, "tool", "mesh_noc " MARROWFIN_VERSION);
    marrowfin_trace_date(&trace);
    const marrowfin_trace_array array = {1, 1, 1, 1, Word(options.size), Word(options.size),
                                         0, 0, 0};
    marrowfin_trace_describe_array(&trace, &array);
    marrowfin_trace_describe_links(&trace, options.routing == "xy" ? "xy" : "", FLIT_BYTES, 1);
    marrowfin_trace_describe_switches(&trace, 1, 0, 1);
    for (int channel = 0; channel < options.channels; ++channel) {
      const std::string name = "channel " + std::to_string(channel);
      marrowfin_trace_name_thread(&trace, Word(channel), name.c_str(), "virtual channel");
    }
  }

  void Note(Kind what, const Flit& flit, uint64_t flits) {
    marrowfin_trace_note(&trace, kind, what);
    marrowfin_trace_note(&trace, packet, flit.packet);
    marrowfin_trace_note(&trace, created, flit.created);
    marrowfin_trace_note(&trace, bytes, flits * FLIT_BYTES);
  }

  const Options options;
  marrowfin_trace trace = {};
  int kind = -1, packet = -1, created = -1, bytes = -1, consumes = -1, occupancy = -1;
  std::vector<int> occupancies;  // as told last
};

}  // namespace marrowfin::mesh

#endif
