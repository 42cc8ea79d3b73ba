#include "trace/read/NotesFile.h"

#include <algorithm>
#include <cstring>

#include "trace/base/BigEndian.h"
#include "trace/read/NotesDecode.h"

namespace marrowfin {

namespace {

bool IsListed(uint8_t kind) {
  return kind == static_cast<uint8_t>(NotesBlockKind::NOTES) ||
         kind == static_cast<uint8_t>(NotesBlockKind::SAMPLES);
}

bool IsKnown(uint8_t kind) {
  return IsListed(kind) || kind == static_cast<uint8_t>(NotesBlockKind::DECLARATIONS);
}

Fault CutBlock(const std::string& name, uint64_t offset) {
  Fault fault;
  fault.kind = Fault::CUT_NOTES;
  fault.file = name;
  fault.offset = offset;
  fault.reason = "the notes end within a block, at byte " + std::to_string(offset);
  fault.remedy = "whoever records them was stopped, or goes on";
  return fault;
}

// The fault of a block that was listed, which takes no other block with it: whoever reads the notes
// goes on behind it. Samples only make sense whole.
Fault Alone(Fault fault, NotesBlockKind kind) {
  if (fault.kind == Fault::DAMAGED_NOTES) {
    fault.remedy = kind == NotesBlockKind::NOTES ? "notes in other blocks are believed as before"
                                                 : "no counter is known; notes are believed";
  }
  return fault;
}

}  // namespace

Result<std::unique_ptr<NotesFile>> NotesFile::Open(const std::string& name) {
  Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::READ);
  if (!file) {
    return file.Why();
  }
  return Open(std::move(file).Take());
}

Result<std::unique_ptr<NotesFile>> NotesFile::Open(std::unique_ptr<PositionedFile> file) {
  std::unique_ptr<NotesFile> notes(new NotesFile(std::move(file)));
  uint8_t magic[sizeof(NOTES_MAGIC)] = {};
  if (notes->file->Size() < sizeof(magic)) {
    return notes->file->Size() == 0 ? CutBlock(notes->Name(), 0)
                                    : notes->Damaged(0, "these are no notes");
  }
  if (Fault fault = notes->file->ReadAt(0, sizeof(magic), magic)) {
    return fault;
  }
  if (memcmp(magic, NOTES_MAGIC, sizeof(magic) - 1) != 0) {
    return notes->Damaged(0, "these are no notes");
  }
  if (magic[7] != NOTES_MAGIC[7]) {
    return notes->Damaged(0, "these are notes of another version");
  }
  if (!notes->TakeTable()) {
    notes->TakeBlocks(sizeof(NOTES_MAGIC));
  }
  return notes;
}

Fault NotesFile::Damaged(uint64_t offset, const std::string& reason,
                         const std::string& remedy) const {
  Fault fault;
  fault.kind = Fault::DAMAGED_NOTES;
  fault.file = file->Name();
  fault.offset = offset;
  fault.reason = reason + " (block at byte " + std::to_string(offset) + ")";
  fault.remedy = remedy;
  return fault;
}

// That of a block from which nothing leads on.
Fault NotesFile::Damaged(uint64_t offset, const std::string& reason) const {
  return Damaged(offset, reason, "what is behind it is left out");
}

// A block whose checksum is right, unpacked.
struct NotesFile::Block {
  uint8_t kind = 0;  // perhaps none that is known
  std::vector<uint8_t> body;
  uint64_t behind = 0;  // the byte behind it
};

Result<NotesFile::Block> NotesFile::BlockAt(uint64_t offset) const {
  uint8_t head[NOTES_BLOCK_HEAD];
  if (file->Size() < offset || file->Size() - offset < sizeof(head)) {
    return CutBlock(Name(), offset);
  }
  if (Fault fault = file->ReadAt(offset, sizeof(head), head)) {
    return fault;
  }
  const NotesBlockHead fields = DecodeNotesHead(head);
  const uint64_t begin = offset + sizeof(head);
  if (fields.stored > NOTES_LARGEST_BODY) {
    return Damaged(offset, "a block is larger than any may be");
  }
  if (file->Size() - begin < fields.stored) {
    return CutBlock(Name(), offset);
  }
  std::vector<uint8_t> stored(fields.stored);
  if (!stored.empty()) {
    if (Fault fault = file->ReadAt(begin, stored.size(), stored.data())) {
      return fault;
    }
  }
  Block block = {fields.kind, {}, begin + fields.stored};
  const std::string wrong = UnpackNotesBody(head, stored, block.body);
  if (!wrong.empty()) {
    return Damaged(offset, wrong);
  }
  return block;
}

// The block that an entry tells of.
Result<NotesFile::Block> NotesFile::BlockAt(const NotesEntry& entry) const {
  Result<Block> block = BlockAt(entry.offset);
  if (block && block->kind != static_cast<uint8_t>(entry.kind)) {
    return Damaged(entry.offset, "the table of blocks tells of a block of another kind");
  }
  return block;
}

// Goes by the table at the end of the file. A table is only believed as far as it leads to blocks;
// where it does not, or there is none, false, and nothing was taken up.
bool NotesFile::TakeTable() {
  uint8_t tail[NOTES_TABLE_TAIL];
  constexpr uint64_t LEAST = sizeof(NOTES_MAGIC) + NOTES_BLOCK_HEAD + NOTES_TABLE_TAIL;
  if (file->Size() < LEAST || file->ReadAt(file->Size() - sizeof(tail), sizeof(tail), tail) ||
      memcmp(tail + 8, NOTES_TABLE_MAGIC, sizeof(NOTES_TABLE_MAGIC)) != 0) {
    return false;
  }
  const uint64_t offset = Load64(tail);
  std::vector<NotesEntry> listed;
  if (offset > file->Size() - LEAST + sizeof(NOTES_MAGIC)) {
    return false;
  }
  const Result<Block> table = BlockAt(offset);
  if (!table || table->kind != static_cast<uint8_t>(NotesBlockKind::TABLE) ||
      table->behind != file->Size() || !DecodeNotesTable(table->body, offset, listed).empty()) {
    return false;
  }
  for (const NotesEntry& entry : listed) {
    if (entry.kind == NotesBlockKind::DECLARATIONS) {
      const Result<Block> block = BlockAt(entry);
      if (!block || !declarations.Add(block->body).empty()) {
        declarations = {};
        entries.clear();
        records = 0;
        return false;
      }
      continue;
    }
    records = entry.kind == NotesBlockKind::NOTES ? entry.high : records;
    entries.push_back(entry);
  }
  next = table->behind;
  return true;
}

void NotesFile::TakeBlocks(uint64_t offset) {
  next = offset;
  end = {};
  while (next < file->Size()) {
    const Result<Block> block = BlockAt(next);
    if (!block) {
      end = block.Why();
      return;
    }
    const std::string wrong = TakeBody(block->kind, block->body);
    if (!wrong.empty()) {
      end = Damaged(next, wrong);
      return;
    }
    next = block->behind;
  }
}

// Takes up the block at `next`; what is wrong with it, or an empty text.
std::string NotesFile::TakeBody(uint8_t kind, std::span<const uint8_t> body) {
  if (!IsKnown(kind)) {
    return "";
  }
  NotesEntry entry;
  entry.kind = static_cast<NotesBlockKind>(kind);
  entry.offset = next;
  std::string wrong;
  if (entry.kind == NotesBlockKind::DECLARATIONS) {
    return declarations.Add(body);
  }
  if (entry.kind == NotesBlockKind::NOTES) {
    NotesBlock block;
    wrong = DecodeNotes(body, Declarations(), block);
    if (wrong.empty() && block.first < records) {
      wrong = "a block tells of records that a block before it told of";
    }
    entry.low = block.first;
    entry.high = block.first + block.count;
    records = wrong.empty() ? entry.high : records;
  } else {
    std::vector<CounterSample> samples;
    wrong = DecodeSamples(body, Declarations().counters.size(), samples);
    const auto [low, high] = std::minmax_element(
        samples.begin(), samples.end(),
        [](const CounterSample& a, const CounterSample& b) { return a.cycle < b.cycle; });
    entry.low = samples.empty() ? 0 : low->cycle;
    entry.high = samples.empty() ? 0 : high->cycle;
  }
  if (wrong.empty()) {
    entries.push_back(entry);
  }
  return wrong;
}

Fault NotesFile::Follow() {
  Result<std::unique_ptr<PositionedFile>> now = OpenPlainFile(Name(), PlainAccess::READ);
  return now ? Follow(std::move(now).Take()) : now.Why();
}

Fault NotesFile::Follow(std::unique_ptr<PositionedFile> now) {
  const FileIdentity& before = file->Identity();
  if (now->Identity().inode != before.inode || now->Identity().device != before.device ||
      now->Size() < file->Size()) {
    Fault fault = Damaged(0, "the notes were replaced");
    fault.kind = Fault::CHANGED;
    fault.remedy = "open them again";
    return fault;
  }
  file = std::move(now);
  TakeBlocks(next);
  return {};
}

Fault NotesFile::OtherTrace(const NotesEntry& entry, const std::string& reason) const {
  Fault fault = Damaged(entry.offset, reason);
  fault.kind = Fault::OTHER_TRACE;
  fault.remedy = "none of them is believed; remove them, or record trace and companion together";
  return fault;
}

Result<NotesBlock> NotesFile::Notes(size_t number) const {
  const NotesEntry& entry = entries[number];
  const Result<Block> stored = BlockAt(entry);
  if (!stored) {
    return Alone(stored.Why(), entry.kind);
  }
  NotesBlock block;
  const std::string wrong = DecodeNotes(stored->body, Declarations(), block);
  if (!wrong.empty()) {
    return Alone(Damaged(entry.offset, wrong), entry.kind);
  }
  if (block.first != entry.low || block.first + block.count != entry.high) {
    return Alone(Damaged(entry.offset, "the table of blocks tells of other records"), entry.kind);
  }
  return block;
}

Result<std::vector<CounterSample>> NotesFile::Samples(size_t number) const {
  const NotesEntry& entry = entries[number];
  const Result<Block> stored = BlockAt(entry);
  if (!stored) {
    return Alone(stored.Why(), entry.kind);
  }
  std::vector<CounterSample> samples;
  const std::string wrong = DecodeSamples(stored->body, Declarations().counters.size(), samples);
  if (!wrong.empty()) {
    return Alone(Damaged(entry.offset, wrong), entry.kind);
  }
  for (const CounterSample& sample : samples) {
    if (sample.cycle < entry.low || sample.cycle > entry.high) {
      return Alone(Damaged(entry.offset, "the table of blocks tells of other cycles"), entry.kind);
    }
  }
  return samples;
}

}  // namespace marrowfin
