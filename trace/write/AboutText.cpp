#include "trace/write/AboutText.h"

#include <charconv>
#include <cmath>

#include "trace/base/Utf8.h"

namespace marrowfin {

namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : AsUtf8(text)) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
    }
    quoted += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? ' ' : c;
  }
  return quoted + "\"";
}

// The shortest text that stands for the number, with a point: without one it were an integer.
std::string Real(double number) {
  char text[32];
  const char* end = std::to_chars(text, text + sizeof(text), number).ptr;
  std::string shown(static_cast<const char*>(text), end);
  return shown.find_first_of(".e") == std::string::npos ? shown + ".0" : shown;
}

std::string Counts(const PerAxis& counts) {
  return "{ columns = " + std::to_string(counts.columns) +
         ", rows = " + std::to_string(counts.rows) + " }";
}

std::string Hex(uint64_t number) {
  constexpr char DIGITS[] = "0123456789abcdef";
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) {
    text += DIGITS[number >> shift & 0xF];
  }
  return text;
}

void AddLine(std::string& text, const char* key, const std::string& value) {
  if (!value.empty()) {
    text += std::string(key) + " = " + Quoted(value) + "\n";
  }
}

void AddNumber(std::string& text, const char* key, double value) {
  if (std::isfinite(value)) {
    text += std::string(key) + " = " + Real(value) + "\n";
  }
}

std::string ArrayText(const AboutArray& array) {
  const auto word = [](bool flag) { return flag ? "true" : "false"; };
  return "\n[array]\nclusters = " + Counts(array.shape.clusters) +
         "\ndomains = " + Counts(array.shape.domains) + "\npes = " + Counts(array.shape.pes) +
         "\ngaps = " + word(array.gaps) + "\nwrap = { columns = " + word(array.wrapColumns) +
         ", rows = " + word(array.wrapRows) + " }\n";
}

void AddRate(std::string& text, double rate) {
  if (MessageRate::Is(rate)) {
    AddNumber(text, "messages_per_cycle", rate);
  }
}

std::string LinksText(const AboutLinks& links) {
  std::string text = "\n[links]\nrouting = " + Quoted(links.routing) + "\n";
  AddNumber(text, "bytes_per_cycle", links.bytesPerCycle);
  AddNumber(text, "latency", links.latency);
  AddRate(text, links.messagesPerCycle);
  return text;
}

std::string SwitchesText(const AboutSwitches& switches) {
  std::string text = "\n[switches]\n";
  if (switches.ports) {
    text += "ports = " + std::to_string(*switches.ports) + "\n";
  }
  if (switches.messagesPerCycle) {
    AddRate(text, *switches.messagesPerCycle);
  }
  if (switches.latency) {
    AddNumber(text, "latency", *switches.latency);
  }
  return text;
}

}  // namespace

std::string AboutText(const About& about) {
  std::string text = "format = " + std::to_string(About::FORMAT) + "\n";
  AddLine(text, "name", about.name);
  AddLine(text, "command", about.command);
  AddLine(text, "date", about.date);
  AddLine(text, "tool", about.tool);
  if (about.cycleNs) {
    AddNumber(text, "cycle_ns", *about.cycleNs);
  }
  text += "\n[trace]\nrecords = " + std::to_string(about.printed) + "\nfingerprint = \"" +
          Hex(about.fingerprint) + "\"\n";
  if (about.array) {
    text += ArrayText(*about.array);
  }
  if (about.links) {
    text += LinksText(*about.links);
  }
  if (about.switches) {
    text += SwitchesText(*about.switches);
  }
  for (const auto& [number, thread] : about.threads) {
    text += "\n[[threads]]\nthread = " + std::to_string(number) + "\n";
    AddLine(text, "name", thread.name);
    AddLine(text, "meaning", thread.meaning);
  }
  for (const auto& [place, name] : about.places) {
    text += "\n[[places]]\ncolumn = " + std::to_string(place.column) +
            "\nrow = " + std::to_string(place.row) + "\n";
    AddLine(text, "name", name);
  }
  return text;
}

}  // namespace marrowfin
