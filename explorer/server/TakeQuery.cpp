#include <algorithm>
#include <utility>

#include "explorer/server/Take.h"

namespace marrowfin {
namespace {

typedef std::vector<std::pair<std::string, std::string>> Parameters;

constexpr char REPEATED[] = "where";  // the one parameter that may be there more than once

std::optional<int> HexDigit(char digit) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  const size_t at = DIGITS.find(static_cast<char>(digit | 0x20));
  return at == std::string_view::npos ? std::nullopt : std::optional(static_cast<int>(at));
}

// A value with its escapes undone; nothing where it has characters that nobody types.
std::optional<std::string> Unescaped(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    char character = text[i];
    if (character == '%') {
      const std::optional<int> high = i + 1 < text.size() ? HexDigit(text[i + 1]) : std::nullopt;
      const std::optional<int> low = i + 2 < text.size() ? HexDigit(text[i + 2]) : std::nullopt;
      if (!high || !low) {
        return std::nullopt;
      }
      character = static_cast<char>(*high * 16 + *low);
      i += 2;
    }
    if (static_cast<unsigned char>(character) < ' ' || character == 0x7F) {
      return std::nullopt;
    }
    plain += character;
  }
  return plain;
}

// Names and values of a query.
std::optional<Parameters> Split(std::string_view query) {
  constexpr size_t LONGEST = 256;
  Parameters parameters;
  while (!query.empty()) {
    const size_t end = query.find('&');
    const std::string_view pair = query.substr(0, end);
    query = end == std::string_view::npos ? std::string_view() : query.substr(end + 1);
    const size_t mark = pair.find('=');
    if (mark == std::string_view::npos || pair.size() > LONGEST) {
      return std::nullopt;
    }
    const std::string name(pair.substr(0, mark));
    const std::optional<std::string> value = Unescaped(pair.substr(mark + 1));
    const bool isThere = std::any_of(parameters.begin(), parameters.end(),
                                     [&](const auto& other) { return other.first == name; });
    if (!value || (isThere && name != REPEATED)) {
      return std::nullopt;
    }
    parameters.emplace_back(name, *value);
  }
  return parameters;
}

bool IsNumber(const std::string& text) {
  return !text.empty() && text.size() <= 20 &&
         text.find_first_not_of("0123456789") == std::string::npos;
}

// "7:99".
bool IsRange(const std::string& text) {
  const size_t mark = text.find(':');
  return mark != std::string::npos && IsNumber(text.substr(0, mark)) &&
         IsNumber(text.substr(mark + 1));
}

// "0,2-5".
bool IsThreads(const std::string& text) {
  return text.find_first_not_of("0123456789,-") == std::string::npos;
}

// "3,7".
std::optional<Place> PlaceOf(const std::string& text) {
  constexpr size_t MOST_DIGITS = 9;
  const size_t mark = text.find(',');
  const std::string column = text.substr(0, mark);
  const std::string row = mark == std::string::npos ? "" : text.substr(mark + 1);
  if (!IsNumber(column) || !IsNumber(row) || std::max(column.size(), row.size()) > MOST_DIGITS) {
    return std::nullopt;
  }
  return Place{static_cast<uint32_t>(std::stoul(column)), static_cast<uint32_t>(std::stoul(row))};
}

// Builds a command out of parameters, each of which is used or makes it none.
class Builder {
 public:
  Builder(Parameters parameters, const std::string& file)
      : parameters(std::move(parameters)), file(file) {}

  std::optional<TakeCommand> Build() {
    Take("trace");
    const std::string as = Take("as");
    command.isTold = as == "command";
    good = as.empty() || command.isTold;
    const std::string what = Take("what");
    if (what == "render" || what == "film") {
      AddRender(what == "film");
    } else if (what == "plot") {
      AddPlot();
    } else if (what == "events") {
      AddEvents();
    } else if (what == "trace") {
      const bool isPacked = TakeWord("format", {"raw", "packed"}) == "packed";
      Begin({"cut"}, "application/octet-stream", isPacked ? ".part.mfz" : ".part.trace");
      AddCycles();
    } else if (what == "report") {
      AddReport();
    } else if (what == "stats") {
      AddStats();
    } else if (what == "state") {
      AddState();
    } else if (what == "why") {
      AddWhy();
    } else {
      good = false;
    }
    AddShape();
    return good && parameters.empty() ? std::optional(command) : std::nullopt;
  }

 private:
  // A parameter, which then counts as used; empty where it is not there.
  std::string Take(const std::string& name) {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const auto& other) { return other.first == name; });
    if (found == parameters.end()) {
      return "";
    }
    std::string value = std::move(found->second);
    parameters.erase(found);
    return value;
  }

  void Add(std::vector<std::string> words) {
    command.words.insert(command.words.end(), words.begin(), words.end());
  }

  void AddNumber(const std::string& name, const std::string& flag) {
    const std::string value = Take(name);
    if (!value.empty()) {
      good = good && IsNumber(value);
      Add({flag, value});
    }
  }

  void AddRange(const std::string& name, const std::string& flag) {
    const std::string value = Take(name);
    if (!value.empty()) {
      good = good && IsRange(value);
      Add({flag, value});
    }
  }

  void AddPlace(const std::string& name, const std::string& flag) {
    const std::string value = Take(name);
    if (!value.empty()) {
      good = good && PlaceOf(value);
      Add({flag, value});
    }
  }

  // One of some words; the first of them where nothing is said.
  std::string TakeWord(const std::string& name, const std::vector<std::string>& words) {
    const std::string value = Take(name);
    if (value.empty()) {
      return words[0];
    }
    good = good && std::find(words.begin(), words.end(), value) != words.end();
    return value;
  }

  void Begin(const std::vector<std::string>& words, const std::string& type,
             const std::string& ending) {
    Add(words);
    Add({file.starts_with("-") ? "./" + file : file});  // no option of the program's
    command.type = type;
    command.ending = ending;
  }

  // What people read in a terminal, or programs anywhere.
  bool BeginWords(const std::string& word, const std::string& format) {
    const bool isText = TakeWord("format", {format, "text"}) == "text";
    if (isText) {
      Begin({word}, "text/plain; charset=utf-8", ".txt");
    } else if (format == "csv") {
      Begin({word}, "text/csv; charset=utf-8", ".csv");
    } else {
      Begin({word}, "application/json", ".json");
    }
    command.prints = isText || format == "json";
    return isText;
  }

  void AddShape() {
    AddNumber("clusters", "-c");
    AddNumber("domains", "-d");
    AddNumber("pes", "-p");
  }

  void AddCycles() {
    const std::string first = Take("first");
    const std::string last = Take("last");
    if (!first.empty() || !last.empty()) {
      good = good && IsNumber(first) && IsNumber(last);
      Add({"--cycles", first + ":" + last});
    }
  }

  void AddTheme() { Add({"--theme", TakeWord("theme", {"light", "dark", "print"})}); }

  void AddSize() {
    const std::string width = Take("width");
    const std::string height = Take("height");
    if (!width.empty() || !height.empty()) {
      good = good && IsNumber(width) && IsNumber(height);
      Add({"--size", width + "x" + height});
    }
  }

  void AddMoment() {
    AddNumber("step", "--step");
    AddNumber("cycle", "--cycle");
    AddNumber("skipTo", "-F");
  }

  // COLUMN,ROW or COLUMN,ROW:COLUMN,ROW, or cluster:COLUMN,ROW or domain:COLUMN,ROW.
  void AddRegion() {
    const std::string region = Take("region");
    if (!region.empty()) {
      good = good && region.find_first_not_of("0123456789,:clusterdomain") == std::string::npos;
      Add({"--region", region});
    }
  }

  void AddRender(bool film) {
    Begin({"render"}, film ? "video/mp4" : "image/png", film ? ".mp4" : ".png");
    const bool natural = TakeWord("reading", {"viewer", "natural"}) == "natural";
    if (natural) {
      Add({"--natural", "--theme", TakeWord("theme", {"light", "dark"})});
    }
    AddMoment();
    if (film) {
      AddNumber("from", "--from");
      AddNumber("to", "--to");
      AddNumber("every", "--every");
      AddNumber("fps", "--fps");
      if (natural) {
        Add({"--cycles"});
      }
    }
    AddSize();
  }

  void AddPlot() {
    const std::string kind = TakeWord("kind", {"heat", "links", "threads", "spacetime", "timeline",
                                               "histogram", "latency", "why"});
    const std::string format = TakeWord("format", {"png", "svg", "pdf"});
    const std::string type = format == "svg"   ? "image/svg+xml"
                             : format == "pdf" ? "application/pdf"
                                               : "image/png";
    Begin({"plot", kind}, type, "." + kind + "." + format);
    const std::string measure =
        TakeWord("measure", {"", "fires", "sends", "receives", "transmissions", "idle"});
    if (!measure.empty()) {
      Add({"--measure", measure});
    }
    if (kind == "why") {
      AddNumber("record", "--record");
      AddPlace("pe", "--pe");
      AddNumber("cycle", "--cycle");
    }
    AddCycles();
    AddTheme();
  }

  void AddNotes() {
    for (std::string note = Take("kind"); !note.empty(); note.clear()) {
      Add({"--kind=" + note});
    }
    AddNumber("packet", "--packet");
    for (std::string note = Take(REPEATED); !note.empty(); note = Take(REPEATED)) {
      Add({"--where=" + note});
    }
  }

  // Messages of one end: of either end for the program, of which the others are left out.
  void AddEnds() {
    const std::string from = Take("from");
    const std::string to = Take("to");
    command.from = PlaceOf(from);
    command.to = PlaceOf(to);
    good = good && (from.empty() || command.from) && (to.empty() || command.to);
    if (command.from || command.to) {
      Add({"--region", command.from ? from : to});
    }
  }

  void AddEvents() {
    const bool isText = BeginWords("events", "csv");
    const bool ofEnds = std::any_of(parameters.begin(), parameters.end(), [](const auto& other) {
      return other.first == "from" || other.first == "to";
    });
    if (!isText || ofEnds) {
      Add({"--format", "csv"});
    }
    AddCycles();
    AddRange("records", "--records");
    AddRange("steps", "--steps");
    AddNumber("skipTo", "-F");
    AddNumber("thread", "--thread");
    const std::string threads = Take("threads");
    if (!threads.empty()) {
      good = good && IsThreads(threads);
      Add({"--threads=" + threads});
    }
    AddNotes();
    AddRegion();
    AddEnds();
    const std::string types = Take("types");
    if (!types.empty()) {
      good = good && types.find_first_not_of("firesendwtch,") == std::string::npos;
      Add({"--type", types});
    } else if (ofEnds) {
      Add({"--type", "send"});
    }
    AddNot(ofEnds);
  }

  // Turns all conditions on the trace itself round; the program knows one end of messages only.
  void AddNot(bool ofEnds) {
    const std::string inverted = Take("not");
    if (!inverted.empty()) {
      good = good && inverted == "1" && !ofEnds;
      Add({"--not"});
    }
  }

  void AddReport() {
    Begin({"report"}, "text/html; charset=utf-8", ".html");
    AddCycles();
    AddTheme();
  }

  void AddStats() {
    const bool isText = BeginWords("stats", "json");
    AddCycles();
    AddRegion();
    const std::string table =
        TakeWord("table", {"", "links", "pes", "domains", "clusters", "time"});
    if (!table.empty()) {
      good = good && isText;
      Add({"--csv", table});
    }
    if (!isText) {
      Add({"--json"});
    }
  }

  void AddState() {
    const bool isText = BeginWords("state", "json");
    AddMoment();
    AddRegion();
    if (Take("places") == "1") {
      Add({"--places"});
    }
    if (!isText) {
      Add({"--json"});
    }
  }

  void AddWhy() {
    const bool isText = BeginWords("why", "json");
    const std::string cone = TakeWord("cone", {"", "back", "forward"});
    if (!cone.empty()) {
      Add({"--cone", cone});
    }
    AddNumber("record", "--record");
    AddPlace("pe", "--pe");
    AddNumber("cycle", "--cycle");
    AddNumber("packet", "--packet");
    if (!isText) {
      Add({"--json"});
    }
  }

  Parameters parameters;
  const std::string file;
  TakeCommand command;
  bool good = true;
};

// A word as a shell takes it for one.
std::string Quoted(const std::string& word) {
  constexpr std::string_view PLAIN =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./,:=+@%";
  if (!word.empty() && word.find_first_not_of(PLAIN) == std::string::npos) {
    return word;
  }
  std::string quoted = "'";
  for (const char character : word) {
    quoted += character == '\'' ? "'\\''" : std::string(1, character);
  }
  return quoted + "'";
}

// What leaves out messages of other ends.
std::string EndsText(const TakeCommand& command) {
  std::string conditions;
  const auto add = [&](const std::optional<Place>& place, int column) {
    if (place) {
      conditions += (conditions.empty() ? "$" : " && $") + std::to_string(column) +
                    " == " + std::to_string(place->column) + " && $" + std::to_string(column + 1) +
                    " == " + std::to_string(place->row);
    }
  };
  add(command.from, 5);
  add(command.to, 7);
  return conditions.empty() ? "" : " | awk -F, 'NR == 1 || (" + conditions + ")'";
}

}  // namespace

std::optional<TakeCommand> ParseTake(std::string_view query, const std::string& file) {
  std::optional<Parameters> parameters = Split(query);
  return parameters ? Builder(std::move(*parameters), file).Build() : std::nullopt;
}

std::string TakeText(const TakeCommand& command, const std::string& name) {
  std::string text = "marrowfin-trace";
  for (const std::string& word : command.words) {
    text += ' ' + Quoted(word);
  }
  const std::string ends = EndsText(command);
  if (command.prints) {
    return text + ends;
  }
  return ends.empty() ? text + " -o " + Quoted(name + command.ending)
                      : text + ends + " > " + Quoted(name + command.ending);
}

}  // namespace marrowfin
