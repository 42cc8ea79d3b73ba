#include "trace/read/AboutFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

// The library for TOML: errors as values, since nothing here throws.
#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include "trace/base/Fingerprint.h"
#include "trace/read/Columns.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/TomlText.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

namespace {

// What is made of a text in memory takes many times its size.
constexpr uint64_t LARGEST = 16 << 20;

Fault Wrong(const std::string& name, size_t line, const std::string& reason) {
  Fault fault;
  fault.kind = Fault::DAMAGED_NOTES;
  fault.file = name;
  fault.reason = "line " + std::to_string(line) + ": " + reason;
  fault.remedy = "mend the line, or remove the file";
  return fault;
}

// Takes values out of a text and keeps the first thing that is wrong.
class Taker {
 public:
  Taker(const TomlText& toml, const std::string& name) : toml(toml), name(name) {}

  const Fault& GetFault() const { return fault; }

  void Refuse(const toml::node& node, const std::string& reason) {
    if (!fault) {
      fault = Wrong(name, node.source().begin.line, reason);
    }
  }

  void Text(const toml::table& table, const char* key, std::string& text) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return;
    }
    if (!node->is_string()) {
      Refuse(*node, std::string(key) + " is no text");
      return;
    }
    text = toml.Original(node->as_string()->get());
  }

  void Flag(const toml::table& table, const char* key, bool& flag) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return;
    }
    if (!node->is_boolean()) {
      Refuse(*node, std::string(key) + " is neither true nor false");
      return;
    }
    flag = node->as_boolean()->get();
  }

  // A number from `least` to 2^32 - 1.
  void Number(const toml::table& table, const char* key, uint32_t least, uint32_t& number) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return;
    }
    const int64_t value = node->is_integer() ? node->as_integer()->get() : -1;
    if (value < least || value > std::numeric_limits<uint32_t>::max()) {
      Refuse(*node, std::string(key) + " is no whole number of at least " + std::to_string(least));
      return;
    }
    number = static_cast<uint32_t>(value);
  }

  // The same of one without which the table means nothing.
  void NeededNumber(const toml::table& table, const char* key, uint32_t& number) {
    if (table.get(key) == nullptr) {
      Refuse(table, std::string("there is no ") + key);
    }
    Number(table, key, 0, number);
  }

  // A number of at least 0; whether there is one.
  bool Real(const toml::table& table, const char* key, double& number) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return false;
    }
    const double value = node->value<double>().value_or(-1);
    if (!node->is_number() || !std::isfinite(value) || value < 0) {
      Refuse(*node, std::string(key) + " is no number of at least 0");
      return false;
    }
    number = value;
    return true;
  }

  // The same of messages a cycle.
  bool Rate(const toml::table& table, const char* key, double& rate) {
    if (!Real(table, key, rate)) {
      return false;
    }
    if (!MessageRate::Is(rate)) {
      Refuse(*table.get(key), std::string(key) + " is not from 0.000001 to 1000000000");
      return false;
    }
    return true;
  }

  // The table of that name, or null.
  const toml::table* Table(const toml::table& table, const char* key) {
    const toml::node* node = table.get(key);
    if (node != nullptr && !node->is_table()) {
      Refuse(*node, std::string(key) + " is no table");
      return nullptr;
    }
    return node == nullptr ? nullptr : node->as_table();
  }

  // Calls `take` with each table of the array of that name.
  template <class Take>
  void Each(const toml::table& table, const char* key, Take take) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return;
    }
    if (!node->is_array()) {
      Refuse(*node, std::string(key) + " are no tables");
      return;
    }
    for (const toml::node& element : *node->as_array()) {
      if (!element.is_table()) {
        Refuse(element, std::string(key) + " are no tables");
        return;
      }
      take(*element.as_table());
    }
  }

 private:
  const TomlText& toml;
  const std::string& name;
  Fault fault;
};

void TakeRecognition(Taker& taker, const toml::table& all, About& about) {
  const toml::table* trace = taker.Table(all, "trace");
  if (trace == nullptr) {
    taker.Refuse(all, "there is no table [trace], by which the trace is recognised");
    return;
  }
  taker.Number(*trace, "records", 0, about.printed);
  if (about.printed > About::MOST_PRINTED) {
    taker.Refuse(*trace, "records is above " + std::to_string(About::MOST_PRINTED));
  }
  std::string digits;
  taker.Text(*trace, "fingerprint", digits);
  const char* end = digits.data() + digits.size();
  const auto parsed = std::from_chars(digits.data(), end, about.fingerprint, 16);
  if (digits.size() != 16 || parsed.ec != std::errc() || parsed.ptr != end) {
    taker.Refuse(*trace, "fingerprint is not 16 hexadecimal digits");
  }
}

PerAxis TakePerAxis(Taker& taker, const toml::table& array, const char* key) {
  PerAxis counts;
  if (const toml::table* table = taker.Table(array, key)) {
    taker.Number(*table, "columns", 1, counts.columns);
    taker.Number(*table, "rows", 1, counts.rows);
  }
  return counts;
}

bool Fits(uint64_t clusters, uint64_t domains, uint64_t pes) {
  constexpr uint64_t MOST = uint64_t{1} << 31;
  return clusters < MOST && domains < MOST && pes < MOST && clusters * domains < MOST &&
         clusters * domains * pes < MOST;
}

void TakeArray(Taker& taker, const toml::table& all, About& about) {
  const toml::table* array = taker.Table(all, "array");
  if (array == nullptr) {
    return;
  }
  about.array.emplace();
  const PerAxis clusters = TakePerAxis(taker, *array, "clusters");
  const PerAxis domains = TakePerAxis(taker, *array, "domains");
  const PerAxis pes = TakePerAxis(taker, *array, "pes");
  if (!Fits(clusters.columns, domains.columns, pes.columns) ||
      !Fits(clusters.rows, domains.rows, pes.rows)) {
    taker.Refuse(*array, "the array has 2^31 columns or rows, or more");
    return;
  }
  about.array->shape = ArrayShape(clusters, domains, pes);
  taker.Flag(*array, "gaps", about.array->gaps);
  if (const toml::table* wrap = taker.Table(*array, "wrap")) {
    taker.Flag(*wrap, "columns", about.array->wrapColumns);
    taker.Flag(*wrap, "rows", about.array->wrapRows);
  }
}

void TakeLinks(Taker& taker, const toml::table& all, About& about) {
  if (const toml::table* links = taker.Table(all, "links")) {
    about.links.emplace();
    taker.Text(*links, "routing", about.links->routing);
    taker.Real(*links, "bytes_per_cycle", about.links->bytesPerCycle);
    taker.Real(*links, "latency", about.links->latency);
    taker.Rate(*links, "messages_per_cycle", about.links->messagesPerCycle);
  }
}

void TakeSwitches(Taker& taker, const toml::table& all, About& about) {
  const toml::table* switches = taker.Table(all, "switches");
  if (switches == nullptr) {
    return;
  }
  about.switches.emplace();
  if (switches->get("ports") != nullptr) {
    taker.Number(*switches, "ports", 0, about.switches->ports.emplace());
  }
  double number = 0;
  if (taker.Rate(*switches, "messages_per_cycle", number)) {
    about.switches->messagesPerCycle = number;
  }
  if (taker.Real(*switches, "latency", number)) {
    about.switches->latency = number;
  }
}

void TakeNames(Taker& taker, const toml::table& all, About& about) {
  taker.Each(all, "threads", [&](const toml::table& table) {
    uint32_t number = 0;
    AboutThread thread;
    taker.NeededNumber(table, "thread", number);
    taker.Text(table, "name", thread.name);
    taker.Text(table, "meaning", thread.meaning);
    about.threads[number] = thread;
  });
  taker.Each(all, "places", [&](const toml::table& table) {
    Place place;
    std::string name;
    taker.NeededNumber(table, "column", place.column);
    taker.NeededNumber(table, "row", place.row);
    taker.Text(table, "name", name);
    about.places[place] = name;
  });
}

void TakeFormat(Taker& taker, const toml::table& all) {
  const toml::node* format = all.get("format");
  const int64_t version =
      format != nullptr && format->is_integer() ? format->as_integer()->get() : 0;
  if (version < 1) {
    taker.Refuse(format != nullptr ? *format : all, "format is not said");
  } else if (version > About::FORMAT) {
    taker.Refuse(*format, "format " + std::to_string(version) + " is newer than this program");
  }
}

}  // namespace

Result<About> ParseAbout(std::string_view text, const std::string& name) {
  const TomlText toml(text);
  if (!toml.Wrong().empty()) {
    return Wrong(name, toml.Line(), toml.Wrong());
  }
  const toml::parse_result parsed = toml::parse(toml.Ascii());
  if (!parsed) {
    return Wrong(name, parsed.error().source().begin.line,
                 toml.Original(parsed.error().description()));
  }
  if (!text.ends_with('\n')) {
    // A number that lost its last digits is still one.
    const auto lines = std::count(text.begin(), text.end(), '\n');
    return Wrong(name, static_cast<size_t>(lines) + 1, "the last line does not end: this is cut");
  }
  const toml::table& all = parsed.table();
  Taker taker(toml, name);
  About about;
  TakeFormat(taker, all);
  taker.Text(all, "name", about.name);
  taker.Text(all, "command", about.command);
  taker.Text(all, "date", about.date);
  taker.Text(all, "tool", about.tool);
  double nanoseconds = 0;
  if (taker.Real(all, "cycle_ns", nanoseconds)) {
    if (nanoseconds == 0) {
      taker.Refuse(*all.get("cycle_ns"), "cycle_ns is 0");
    }
    about.cycleNs = nanoseconds;
  }
  TakeRecognition(taker, all, about);
  TakeArray(taker, all, about);
  TakeLinks(taker, all, about);
  TakeSwitches(taker, all, about);
  TakeNames(taker, all, about);
  if (taker.GetFault()) {
    return taker.GetFault();
  }
  return about;
}

Result<About> ReadAbout(const std::string& name) {
  const Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::READ);
  return file ? ReadAbout(**file) : file.Why();
}

Result<About> ReadAbout(const PositionedFile& file) {
  if (file.Size() > LARGEST) {
    return Wrong(file.Name(), 1, "this is larger than 16 MiB, as no about file is");
  }
  std::vector<uint8_t> bytes(static_cast<size_t>(file.Size()));
  if (!bytes.empty()) {
    if (Fault fault = file.ReadAt(0, bytes.size(), bytes.data())) {
      return fault;
    }
  }
  return ParseAbout({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, file.Name());
}

Fault OtherAbout(const std::string& name) {
  Fault fault;
  fault.kind = Fault::OTHER_TRACE;
  fault.file = name;
  fault.reason = "this is about another trace, or an earlier run";
  fault.remedy = "remove it, or record trace and companion together";
  return fault;
}

Fault CheckIsAbout(const About& about, const TraceSource& trace, const std::string& name) {
  Fingerprint print;
  const auto columns = std::make_unique<Columns>();
  if (about.printed > 0 && trace.Size() > 0) {
    // A trace that breaks off within these records is another one, too.
    static_cast<void>(trace.Decode(0, trace.Size(), *columns));
  }
  for (size_t i = 0; i < about.printed && i < columns->size; ++i) {
    print.Add(columns->tag[i].type, columns->cycle[i], columns->tag[i].thread, columns->at[i],
              columns->to[i]);
  }
  if (columns->size >= about.printed && print.Value() == about.fingerprint) {
    return {};
  }
  return OtherAbout(name);
}

}  // namespace marrowfin
