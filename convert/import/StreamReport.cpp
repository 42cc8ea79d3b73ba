#include "convert/import/StreamReport.h"

#include <iomanip>
#include <nlohmann/json.hpp>
#include <numeric>
#include <sstream>

namespace marrowfin {
namespace {

using Json = nlohmann::ordered_json;

uint64_t SkippedEvents(const StreamCounts& counts) {
  return std::accumulate(counts.skipped.begin(), counts.skipped.end(), uint64_t{0},
                         [](uint64_t sum, const Skipped& skipped) { return sum + skipped.events; });
}

std::ostream& Line(std::ostream& out, const std::string& text, uint64_t count) {
  return out << std::left << std::setw(44) << text << std::right << std::setw(12) << count;
}

// Of what is mostly nothing.
void LineIfAny(std::ostream& out, const std::string& text, uint64_t count) {
  if (count > 0) {
    Line(out, text, count) << "\n";
  }
}

void PrintSkipped(std::ostream& out, const StreamCounts& counts) {
  for (size_t reason = 0; reason < SKIP_COUNT; ++reason) {
    const Skipped& skipped = counts.skipped[reason];
    if (skipped.events != 0) {
      Line(out, std::string("    ") + skipLabels[reason].text, skipped.events)
          << "  first: [" << skipped.first << "]: " << skipped.why << "\n";
    }
  }
}

Json SkippedAsJson(const StreamCounts& counts) {
  Json reasons = Json::object();
  for (size_t reason = 0; reason < SKIP_COUNT; ++reason) {
    const Skipped& skipped = counts.skipped[reason];
    Json& entry = reasons[skipLabels[reason].name] = {{"events", skipped.events}};
    if (skipped.events != 0) {
      entry["first"] = skipped.first;
      entry["why"] = skipped.why;
    }
  }
  return reasons;
}

Json ViewAsJson(const StreamReport& report) {
  if (!report.view) {
    return nullptr;
  }
  Json view = {{"clusters", report.view->clusters.columns},
               {"domains", report.view->domains.columns},
               {"pes", report.view->pes.columns},
               {"positionsPerSide", report.view->Columns()}};
  if (!report.viewCommand.empty()) {
    view["command"] = report.viewCommand;
  }
  return view;
}

}  // namespace

std::string ReportAsText(const StreamReport& report) {
  const StreamAccount& account = report.account;
  const uint64_t skipped = SkippedEvents(account.counts);
  std::ostringstream out;
  Line(out, "events read", account.counts.read) << "\n";
  Line(out, "  converted", account.fires + account.sends + account.switches) << "\n";
  Line(out, "  skipped", skipped) << "\n";
  PrintSkipped(out, account.counts);
  Line(out, "records written", account.Records()) << "\n";
  Line(out, "  fires", account.fires) << "\n";
  Line(out, "  sends", account.sends) << "\n";
  Line(out, "  switches", account.switches) << "\n";
  LineIfAny(out, "  switches that were derived", account.derived);
  LineIfAny(out, "  frame (before and behind, draws nothing)", account.frameRecords);
  LineIfAny(out, "messages off the array, without switches", account.withoutRoute);
  LineIfAny(out, "values of notes that do not fit", account.notesLeftOut);
  LineIfAny(out, "records out of order of time", account.falls);
  out << "cycles " << account.firstCycle << " to " << account.lastCycle << "\n";
  for (const std::string& file : report.companion) {
    out << "companion: " << file << "\n";
  }
  if (report.view && !report.viewCommand.empty()) {
    out << "view it: " << report.viewCommand << "\n";
  }
  return out.str();
}

std::string ReportAsJson(const StreamReport& report) {
  const StreamAccount& account = report.account;
  Json json = Json::object();
  json["format"] = report.format;
  json["input"] = report.input;
  json["output"] = report.output;
  json["companion"] = report.companion;
  json["events"] = {{"read", account.counts.read},
                    {"converted", account.fires + account.sends + account.switches},
                    {"skipped", SkippedEvents(account.counts)}};
  json["skipped"] = SkippedAsJson(account.counts);
  json["records"] = {{"fires", account.fires},        {"sends", account.sends},
                     {"switches", account.switches},  {"derived", account.derived},
                     {"frame", account.frameRecords}, {"total", account.Records()}};
  json["withoutRoute"] = account.withoutRoute;
  json["notesLeftOut"] = account.notesLeftOut;
  json["falls"] = account.falls;
  json["cycles"] = {{"first", account.firstCycle}, {"last", account.lastCycle}};
  json["view"] = ViewAsJson(report);
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace marrowfin
