#ifndef EXPLORER_CORE_ASKEDKINDS_H
#define EXPLORER_CORE_ASKEDKINDS_H

#include <cstdint>
#include <vector>

#include "explorer/core/Asking.h"
#include "explorer/core/JsonText.h"
#include "trace/read/NotesDeclarations.h"

namespace marrowfin {

// The notes for a question about kinds, and which attribute tells them; or why there are none.
struct AskedKinds {
  AskedNotes notes;
  uint32_t attribute = 0;
  MaybeRefusal refusal;

  NotesOfTrace& Notes() const { return notes.lease->notes; }
  const NotesIndex& Index() const { return *notes.lease->index; }
};
AskedKinds BorrowKinds(const Asking& asking);

// The member `kinds`: names of values, and the numbers of those that have none.
void PutKindNames(const AskedKinds& kinds, const std::vector<uint64_t>& values, JsonText& head);

}  // namespace marrowfin

#endif
