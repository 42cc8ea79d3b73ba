#include "tools/program/CompanionText.h"

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>

#include "measure/NumberText.h"
#include "tools/program/Json.h"
#include "tools/program/PlainCount.h"
#include "tools/program/ViewCommand.h"
#include "trace/base/About.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {

namespace {

uint64_t CoveredRecords(const NotesFile& notes) {
  uint64_t records = 0;
  for (const NotesEntry& entry : notes.Blocks()) {
    records += entry.kind == NotesBlockKind::NOTES ? entry.high - entry.low : 0;
  }
  return records;
}

void PrintArray(const AboutArray& array, std::ostream& out) {
  const ArrayShape& s = array.shape;
  out << "array         " << PlainCount(s.Columns(), "column") << " x "
      << PlainCount(s.Rows(), "row") << ": " << LevelsText(s)
      << (array.wrapColumns ? ", columns" : "")
      << (array.wrapColumns && array.wrapRows ? " and rows"
          : array.wrapRows                    ? ", rows"
                                              : "")
      << (array.wrapColumns || array.wrapRows ? " joined at their ends" : "") << "\n";
}

void PrintLinks(const AboutLinks& links, std::ostream& out) {
  out << "links         " << (links.routing.empty() ? "of unknown" : "of " + links.routing)
      << " routing, " << AmountOf(links.messagesPerCycle, "message")
      << (links.bytesPerCycle > 0 ? " and " + AmountOf(links.bytesPerCycle, "byte") : "")
      << " a cycle, " << AmountOf(links.latency, "cycle") << " a hop\n";
}

void PrintSwitches(const AboutSwitches& switches, std::ostream& out) {
  std::string text;
  const auto add = [&](const std::string& more) { text += (text.empty() ? "" : ", ") + more; };
  if (switches.ports) {
    add(CountOf(*switches.ports, "port") + " beside the links");
  }
  if (switches.messagesPerCycle) {
    add(AmountOf(*switches.messagesPerCycle, "message") + " a cycle at most");
  }
  if (switches.latency) {
    add(AmountOf(*switches.latency, "cycle") + " on the way through");
  }
  if (!text.empty()) {
    out << "switches      " << text << "\n";
  }
}

// A title, and what is behind it where there is anything.
void PrintLine(const char* title, const std::string& text, std::ostream& out) {
  if (!text.empty()) {
    out << title << text << "\n";
  }
}

void PrintAbout(const About& about, std::ostream& out) {
  PrintLine("run           ", about.name, out);
  PrintLine("command       ", about.command, out);
  const std::string by = about.tool.empty() ? "" : "by " + about.tool;
  const std::string at = about.date.empty() ? "" : (by.empty() ? "at " : ", at ") + about.date;
  PrintLine("recorded      ", by + at, out);
  if (about.cycleNs) {
    out << "cycle         " << *about.cycleNs << " ns\n";
  }
  if (about.array) {
    PrintArray(*about.array, out);
  }
  if (about.links) {
    PrintLinks(*about.links, out);
  }
  if (about.switches) {
    PrintSwitches(*about.switches, out);
  }
  if (!about.threads.empty() || !about.places.empty()) {
    out << "named         " << about.threads.size() << " threads, " << about.places.size()
        << " places\n";
  }
}

void PrintNotes(const NotesFile& notes, const Summary& summary, std::ostream& out) {
  const NoteDeclarations& declarations = notes.Declarations();
  out << "notes         of " << CoveredRecords(notes) << " of " << summary.records << " records";
  const char* before = ": ";
  for (const NoteAttribute& attribute : declarations.attributes) {
    const std::string& unit =
        attribute.unit.empty() ? NoteTypeName(attribute.type) : attribute.unit;
    out << before << attribute.name << " (" << unit << ")";
    before = ", ";
  }
  out << "\n";
  before = "counters      ";
  for (const NoteCounter& counter : declarations.counters) {
    out << before << counter.name << (counter.unit.empty() ? "" : " (" + counter.unit + ")");
    before = ", ";
  }
  out << (declarations.counters.empty() ? "" : "\n");
}

nlohmann::json ArrayAsJson(const AboutArray& array) {
  nlohmann::json json = LevelsAsJson(array.shape);
  json["columns"] = array.shape.Columns();
  json["rows"] = array.shape.Rows();
  json["gaps"] = array.gaps;
  json["wrap"] = {{"columns", array.wrapColumns}, {"rows", array.wrapRows}};
  return json;
}

nlohmann::json LinksAsJson(const AboutLinks& links) {
  nlohmann::json json = {{"routing", links.routing},
                         {"messagesPerCycle", links.messagesPerCycle},
                         {"latency", links.latency}};
  if (links.bytesPerCycle > 0) {
    json["bytesPerCycle"] = links.bytesPerCycle;
  }
  return json;
}

nlohmann::json SwitchesAsJson(const AboutSwitches& switches) {
  nlohmann::json json = nlohmann::json::object();
  if (switches.ports) {
    json["ports"] = *switches.ports;
  }
  if (switches.messagesPerCycle) {
    json["messagesPerCycle"] = *switches.messagesPerCycle;
  }
  if (switches.latency) {
    json["latency"] = *switches.latency;
  }
  return json;
}

// Only what somebody said.
nlohmann::json AboutAsJson(const About& about) {
  nlohmann::json json = nlohmann::json::object();
  for (const auto& [name, text] : {std::pair("name", &about.name),
                                   {"command", &about.command},
                                   {"date", &about.date},
                                   {"tool", &about.tool}}) {
    if (!text->empty()) {
      json[name] = *text;
    }
  }
  if (about.cycleNs) {
    json["cycleNs"] = *about.cycleNs;
  }
  if (about.array) {
    json["array"] = ArrayAsJson(*about.array);
  }
  if (about.links) {
    json["links"] = LinksAsJson(*about.links);
  }
  if (about.switches) {
    json["switches"] = SwitchesAsJson(*about.switches);
  }
  json["threadNames"] = nlohmann::json::array();
  for (const auto& [thread, named] : about.threads) {
    json["threadNames"].push_back(
        {{"thread", thread}, {"name", named.name}, {"meaning", named.meaning}});
  }
  json["placeNames"] = nlohmann::json::array();
  for (const auto& [place, name] : about.places) {
    json["placeNames"].push_back({{"column", place.column}, {"row", place.row}, {"name", name}});
  }
  return json;
}

nlohmann::json NotesAsJson(const NotesFile& notes) {
  nlohmann::json json = {{"records", CoveredRecords(notes)},
                         {"attributes", nlohmann::json::array()},
                         {"counters", nlohmann::json::array()}};
  for (const NoteAttribute& attribute : notes.Declarations().attributes) {
    nlohmann::json one = {
        {"name", attribute.name}, {"type", NoteTypeName(attribute.type)}, {"unit", attribute.unit}};
    for (const auto& [unused, name] : attribute.names) {
      one["values"].push_back(name);
    }
    json["attributes"].push_back(one);
  }
  for (const NoteCounter& counter : notes.Declarations().counters) {
    json["counters"].push_back({{"name", counter.name}, {"unit", counter.unit}});
  }
  if (notes.End()) {
    json["fault"] = AsJson(notes.End());
  }
  return json;
}

}  // namespace

void PrintBeside(const Companion& companion, const Summary& summary, std::ostream& out) {
  if (companion.GetAbout() != nullptr) {
    PrintAbout(*companion.GetAbout(), out);
  }
  if (companion.Notes() != nullptr) {
    PrintNotes(*companion.Notes(), summary, out);
  }
}

nlohmann::json BesideAsJson(const Companion& companion) {
  nlohmann::json json = nlohmann::json::object();
  if (companion.GetAbout() != nullptr) {
    json["about"] = AboutAsJson(*companion.GetAbout());
  } else if (companion.WhyNoAbout()) {
    json["about"] = {{"fault", AsJson(companion.WhyNoAbout())}};
  }
  if (companion.Notes() != nullptr) {
    json["notes"] = NotesAsJson(*companion.Notes());
  } else if (companion.WhyNoNotes()) {
    json["notes"] = {{"fault", AsJson(companion.WhyNoNotes())}};
  }
  return json.empty() ? nlohmann::json() : json;
}

}  // namespace marrowfin
