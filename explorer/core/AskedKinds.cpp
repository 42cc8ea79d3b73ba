#include "explorer/core/AskedKinds.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace marrowfin {

AskedKinds BorrowKinds(const Asking& asking) {
  AskedNotes notes = BorrowNotes(asking);
  if (notes.refusal) {
    return {{}, 0, notes.refusal};
  }
  const std::optional<uint32_t> attribute =
      notes.lease->notes.Declarations().Attribute(KIND_ATTRIBUTE);
  if (!attribute) {
    return {{}, 0, Refusal{Refusal::NOT_THERE, "the notes tell no kinds", {}, {}, {}}};
  }
  return {std::move(notes), *attribute, {}};
}

void PutKindNames(const AskedKinds& kinds, const std::vector<uint64_t>& values, JsonText& head) {
  const std::map<uint64_t, std::string>& names =
      kinds.Notes().Declarations().attributes[kinds.attribute].names;
  head.Key("kinds").Array();
  for (const uint64_t value : values) {
    const auto name = names.find(value);
    head.Text(name != names.end() ? name->second : std::to_string(value));
  }
  head.End();
}

}  // namespace marrowfin
