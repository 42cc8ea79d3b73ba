// Finding places, threads and kinds by name.

#include <cctype>
#include <optional>
#include <string>

#include "explorer/core/Answers.h"

namespace marrowfin {
namespace {

constexpr uint64_t MOST_FOUND = 1000;

std::string Lower(std::string text) {
  for (char& character : text) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return text;
}

// Names in which a text stands, in whatever letters.
class NameSearch {
 public:
  NameSearch(const std::string& text, uint64_t most) : text(Lower(text)), most(most) {}

  bool Finds(const std::string& name) const { return Lower(name).find(text) != std::string::npos; }
  bool IsFull() const { return found >= most; }
  void Take() { ++found; }

 private:
  const std::string text;
  const uint64_t most;
  uint64_t found = 0;
};

void SearchPlaces(const Asking& asking, const std::string& text, uint64_t most, JsonText& head) {
  NameSearch search(text, most);
  head.Key("places").Array();
  const About* const about = asking.view.Beside().GetAbout();
  for (const auto& [at, name] : about != nullptr ? about->places : decltype(about->places)()) {
    if (!search.IsFull() && search.Finds(name)) {
      head.Object().Key("at").At(at).Key("name").Text(name).End();
      search.Take();
    }
  }
  head.End();
}

void SearchThreads(const Asking& asking, const std::string& text, uint64_t most, JsonText& head) {
  NameSearch search(text, most);
  head.Key("threads").Array();
  const About* const about = asking.view.Beside().GetAbout();
  for (const auto& [thread, records] : asking.GetSummary().threads) {
    const auto told =
        about != nullptr ? about->threads.find(thread) : decltype(about->threads.end())();
    const std::string name =
        about != nullptr && told != about->threads.end() ? told->second.name : "";
    if (!search.IsFull() &&
        (std::to_string(thread) == text || (!name.empty() && search.Finds(name)))) {
      head.Object().Key("thread").Number(thread);
      head.Key("name").Text(name);
      head.Key("records").Number(records).End();
      search.Take();
    }
  }
  head.End();
}

void SearchKinds(const Asking& asking, const std::string& text, uint64_t most, JsonText& head) {
  NameSearch search(text, most);
  head.Key("kinds").Array();
  const NotesFile* const notes = asking.view.Beside().Notes();
  const std::optional<uint32_t> kind =
      notes != nullptr ? notes->Declarations().Attribute(KIND_ATTRIBUTE) : std::nullopt;
  if (kind) {
    for (const auto& [value, name] : notes->Declarations().attributes[*kind].names) {
      if (!search.IsFull() && search.Finds(name)) {
        head.Object().Key("value").Wide(value).Key("name").Text(name).End();
        search.Take();
      }
    }
  }
  head.End();
}

}  // namespace

MaybeRefusal AnswerSearch(Asking& asking, AnswerBytes& answer) {
  const std::string text = asking.members.Text("text");
  const uint64_t most = asking.members.NumberUpTo("most", MOST_FOUND, 20);
  if (asking.members.Has("shape")) {
    static_cast<void>(TakeShape(asking));
  }
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  SearchPlaces(asking, text, most, answer.Head());
  SearchThreads(asking, text, most, answer.Head());
  SearchKinds(asking, text, most, answer.Head());
  return std::nullopt;
}

}  // namespace marrowfin
