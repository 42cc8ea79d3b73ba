#include "explorer/server/Marks.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <set>

#include "explorer/core/JsonText.h"
#include "explorer/core/Question.h"
#include "trace/read/PositionedFile.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

constexpr size_t MOST_MARKS = 256;
constexpr size_t LONGEST_NAME = 200;  // bytes
constexpr uint64_t FORMAT = 1;
constexpr char FORMAT_NAME[] = "marrowfin-marks";

bool IsName(const std::string& name) {
  const auto isControl = [](char character) {
    return static_cast<unsigned char>(character) < ' ' || character == 0x7F;
  };
  return !name.empty() && name.size() <= LONGEST_NAME &&
         std::none_of(name.begin(), name.end(), isControl);
}

void TakePiece(Members& member, Mark& mark) {
  Members piece = member.Within("piece");
  if (!piece) {
    return;
  }
  for (const char* const kind : {"pe", "switch", "domain", "cluster"}) {
    if (const std::optional<Place> place = piece.PlaceIfAny(kind)) {
      mark.kind = kind;
      mark.at = {place->column, place->row};
    }
  }
  if (piece.Has("link")) {
    if (const std::optional<Members::LinkWords> link = piece.Link("link")) {
      constexpr std::array<std::string_view, 4> HEADINGS = {"right", "left", "up", "down"};
      if (std::find(HEADINGS.begin(), HEADINGS.end(), link->heading) == HEADINGS.end()) {
        piece.Refuse("a link goes right, left, up or down");
      }
      mark.kind = "link";
      mark.at = {link->at.column, link->at.row};
      mark.heading = link->heading;
    }
  }
  piece.RefuseOthers();
}

std::vector<Mark> TakeMarks(Members& all) {
  std::vector<Mark> marks;
  std::set<std::string> names;
  if (!all.Has("marks")) {
    all.Refuse("`marks` is missing");
  }
  for (Members& member : all.Each("marks")) {
    Mark mark;
    mark.name = member.Text("name");
    mark.cycle = member.Wide("cycle");
    TakePiece(member, mark);
    member.RefuseOthers();
    if (!IsName(mark.name)) {
      all.Refuse("a mark has a name of 1 to " + std::to_string(LONGEST_NAME) + " bytes");
    } else if (!names.insert(mark.name).second) {
      all.Refuse("two marks are called alike");
    }
    marks.push_back(std::move(mark));
  }
  if (marks.size() > MOST_MARKS) {
    all.Refuse("more than " + std::to_string(MOST_MARKS) + " marks");
  }
  return marks;
}

void PutMark(const Mark& mark, JsonText& text) {
  text.Object();
  text.Key("name").Text(mark.name);
  text.Key("cycle").Wide(mark.cycle);
  if (!mark.kind.empty()) {
    text.Key("piece").Object().Key(mark.kind).Array();
    text.Number(mark.at[0]).Number(mark.at[1]);
    if (!mark.heading.empty()) {
      text.Text(mark.heading);
    }
    text.End().End();
  }
  text.End();
}

// A mark a line, for those who look into the file or keep it under version control.
std::string FileText(const std::vector<Mark>& marks) {
  std::string text =
      std::string("{\"") + FORMAT_NAME + "\":" + std::to_string(FORMAT) + ",\"marks\":[";
  for (const Mark& mark : marks) {
    JsonText line;
    PutMark(mark, line);
    text += (&mark == &marks.front() ? "\n  " : ",\n  ") + line.Get();
  }
  return text + "\n]}\n";
}

// Another one for other bytes, but by chance.
std::string StateOf(std::span<const uint8_t> bytes) {
  uint64_t value = 0xCBF29CE484222325;
  for (const uint8_t byte : bytes) {
    value = (value ^ byte) * 0x100000001B3;
  }
  char digits[17];
  snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value));
  return digits;
}

Fault NoMarks(const std::string& file, const std::string& reason) {
  Fault fault;
  fault.kind = Fault::DAMAGED_NOTES;
  fault.file = file;
  fault.reason = reason;
  fault.remedy = "move it away, or save marks under another name of the trace";
  return fault;
}

Result<std::vector<uint8_t>> BytesOf(const std::string& file) {
  Result<std::unique_ptr<PositionedFile>> opened = OpenPlainFile(file, PlainAccess::READ);
  if (!opened) {
    return opened.Why();
  }
  if ((*opened)->Size() > Question::LARGEST) {
    return NoMarks(file, "it is longer than any file of marks");
  }
  std::vector<uint8_t> bytes((*opened)->Size());
  if (Fault fault = (*opened)->ReadAt(0, bytes.size(), bytes.data())) {
    return fault;
  }
  return bytes;
}

Fault Write(const std::string& file, const std::string& text) {
  AtomicFileOptions options;
  options.chosen = false;
  AtomicFile out;
  if (Fault fault = out.Open(file, options)) {
    return fault;
  }
  const auto* const bytes = reinterpret_cast<const uint8_t*>(text.data());
  const ByteSink::Written written = out.Write(bytes, text.size());
  if (written.fault) {
    return written.fault;
  }
  return out.Commit();
}

}  // namespace

std::string MarksFileOf(const std::string& trace) { return trace + ".marks"; }

std::optional<SentMarks> ParseSentMarks(std::string_view text, MaybeRefusal& trouble) {
  Question sent({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  Members& all = sent.All();
  SentMarks marks;
  marks.over = all.Text("over", "");
  marks.marks = TakeMarks(all);
  all.RefuseOthers();
  trouble = all.Trouble();
  return trouble ? std::nullopt : std::optional(std::move(marks));
}

Result<KeptMarks> ReadMarks(const std::string& trace) {
  const std::string file = MarksFileOf(trace);
  std::error_code error;
  if (!std::filesystem::exists(std::filesystem::symlink_status(file, error))) {
    return KeptMarks();
  }
  const Result<std::vector<uint8_t>> bytes = BytesOf(file);
  if (!bytes) {
    return bytes.Why();
  }
  Question text(*bytes);
  Members& all = text.All();
  if (all.Number(FORMAT_NAME, 0) != FORMAT) {
    all.Refuse("it does not say \"" + std::string(FORMAT_NAME) + "\": " + std::to_string(FORMAT));
  }
  KeptMarks kept = {TakeMarks(all), StateOf(*bytes)};
  if (all.Trouble()) {
    return NoMarks(file, all.Trouble()->message);
  }
  return kept;
}

Fault SaveMarks(const std::string& trace, const SentMarks& sent) {
  const std::string file = MarksFileOf(trace);
  const Result<KeptMarks> kept = ReadMarks(trace);
  if (!kept) {
    return kept.Why();
  }
  if (kept->state != sent.over) {
    Fault fault;
    fault.kind = Fault::CHANGED;
    fault.file = file;
    fault.reason = "others have saved marks meanwhile";
    return fault;
  }
  const std::string text = FileText(sent.marks);
  return text.size() > Question::LARGEST ? NoMarks(file, "they are too many for a file of marks")
                                         : Write(file, text);
}

std::string MarksReply(const KeptMarks& kept) {
  JsonText text;
  text.Object();
  text.Key("state").Text(kept.state);
  text.Key("marks").Array();
  for (const Mark& mark : kept.marks) {
    PutMark(mark, text);
  }
  text.End().End();
  return text.Get();
}

}  // namespace marrowfin
