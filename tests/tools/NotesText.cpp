#include "tests/tools/NotesText.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "tests/support/Files.h"
#include "tests/tools/TraceRecords.h"
#include "trace/base/Fingerprint.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {
namespace {

uint64_t PrintOf(const std::vector<TraceRecord>& records, const NotesBlock& block) {
  Fingerprint print;
  for (uint64_t i = block.first; i < block.first + block.count; ++i) {
    const TraceRecord& record = records.at(i);
    const Place at = {record.words[0], record.words[1]};
    const Place to = record.words.size() == 4 ? Place{record.words[2], record.words[3]} : Place();
    print.Add(record.type, record.cycle, record.thread, at, to);
  }
  return print.Value();
}

// By record and attribute.
using Notes = std::map<uint64_t, std::map<uint32_t, std::string>>;

void Add(const NoteDeclarations& declarations, const NotesBlock& block, Notes& notes) {
  for (const NoteColumn& column : block.columns) {
    const NoteAttribute& attribute = declarations.attributes.at(column.attribute);
    for (size_t i = 0; i < column.values.size(); ++i) {
      const uint64_t value = column.values[i];
      notes[block.first + column.positions[i]][column.attribute] =
          attribute.name + "=" +
          (attribute.type == NoteType::NAME ? attribute.names.at(value) : std::to_string(value));
    }
  }
}

std::string Joined(const std::map<uint32_t, std::string>& notes) {
  std::string text;
  for (const auto& [attribute, note] : notes) {
    text += (text.empty() ? "" : " ") + note;
  }
  return text;
}

}  // namespace

std::vector<std::string> NotesBeside(const std::string& trace) {
  const std::vector<TraceRecord> records = RecordsIn(testing::ReadFile(trace));
  const Result<std::unique_ptr<NotesFile>> file = NotesFile::Open(NotesFile::NameBeside(trace));
  if (!file || (*file)->End()) {
    throw std::runtime_error(file ? (*file)->End().Text() : file.Why().Text());
  }
  Notes notes;
  for (size_t number = 0; number < (*file)->Blocks().size(); ++number) {
    if ((*file)->Blocks()[number].kind != NotesBlockKind::NOTES) {
      continue;
    }
    const Result<NotesBlock> block = (*file)->Notes(number);
    if (!block || block->fingerprint != PrintOf(records, *block)) {
      throw std::runtime_error("a block of notes is not about this trace");
    }
    Add((*file)->Declarations(), *block, notes);
  }
  if ((*file)->Records() != records.size()) {
    throw std::runtime_error("the notes do not reach to the last record");
  }
  std::vector<std::string> texts;
  for (uint64_t i = 0; i < records.size(); ++i) {
    texts.push_back(Joined(notes[i]));
  }
  return texts;
}

size_t CountNoted(const std::vector<std::string>& records, const std::string& note) {
  return static_cast<size_t>(
      std::count_if(records.begin(), records.end(), [&note](const std::string& notes) {
        return (" " + notes + " ").find(" " + note + " ") != std::string::npos;
      }));
}

}  // namespace marrowfin
