#include "measure/CauseNotes.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "measure/CausalGraph.h"

namespace marrowfin {

CauseNotes::CauseNotes(NotesOfTrace& notes) : notes(notes), end(notes.File().Records()) {
  const NoteDeclarations& declarations = notes.Declarations();
  const auto ofType = [&](std::string_view name, NoteType type) {
    const std::optional<uint32_t> number = declarations.Attribute(name);
    return number && declarations.attributes[*number].type == type ? number : std::nullopt;
  };
  consumes = ofType(CONSUMES_ATTRIBUTE, NoteType::RECORDS);
  produced = ofType(PRODUCED_BY_ATTRIBUTE, NoteType::RECORDS);
  packet = ofType(PACKET_ATTRIBUTE, NoteType::NUMBER);
  kind = ofType(KIND_ATTRIBUTE, NoteType::NAME);
}

Fault CauseNotes::Read(const Selection& records) {
  first = records.begin;
  for (const auto& [attribute, values] :
       {std::pair(consumes, &consumed), std::pair(produced, &producers),
        std::pair(packet, &packets), std::pair(kind, &kinds)}) {
    *values = nullptr;
    if (attribute) {
      const Result<const NoteValues*> read = notes.Of(records, *attribute);
      if (!read) {
        return read.Why();
      }
      *values = *read;
    }
  }
  return {};
}

uint32_t CauseNotes::WorkOf(size_t i) {
  const std::optional<uint64_t> value = One(kinds, i);
  if (!value) {
    return 0;
  }
  if (const auto found = works.find(*value); found != works.end()) {
    return found->second;
  }
  const uint32_t next =
      std::min(static_cast<uint32_t>(works.size()) + 1, CausalGraph::WORK_KINDS - 1);
  if (works.size() < CausalGraph::WORK_KINDS) {
    works.emplace(*value, next);
  }
  return next;
}

}  // namespace marrowfin
