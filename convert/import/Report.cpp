#include "convert/import/Report.h"

#include <iomanip>
#include <nlohmann/json.hpp>
#include <numeric>
#include <sstream>

namespace marrowfin {
namespace {

using Json = nlohmann::ordered_json;

// Text of the input or of the command line, as it may stand on a terminal: bytes that are no UTF-8
// are replaced, characters beyond ASCII and control characters are escaped.
std::string Quoted(const std::string& text) {
  return Json(text).dump(-1, ' ', true, Json::error_handler_t::replace);
}

uint64_t SkippedEvents(const Capture& capture) {
  uint64_t sum = 0;
  for (const Skipped& skipped : capture.skipped) {
    sum += skipped.events;
  }
  return sum;
}

uint64_t ConvertedEvents(const Account& account) {
  return std::accumulate(account.converted.begin(), account.converted.end(), uint64_t{0});
}

uint64_t RecordsWritten(const Account& account) { return account.Records(); }

std::ostream& Line(std::ostream& out, const std::string& text, uint64_t count) {
  return out << std::left << std::setw(44) << text << std::right << std::setw(12) << count;
}

void LineIfAny(std::ostream& out, const std::string& text, uint64_t count) {
  if (count != 0) {
    Line(out, text, count) << "\n";
  }
}

void PrintConverted(std::ostream& out, const Account& account) {
  for (size_t kind = 0; kind < KIND_COUNT; ++kind) {
    if (account.converted[kind] != 0) {
      Line(out, std::string("    ") + kindLabels[kind].text, account.converted[kind])
          << "  -> " << account.convertedRecords[kind]
          << (IsMessage(static_cast<EventKind>(kind)) ? " sends\n" : " fires\n");
    }
  }
}

void PrintSkipped(std::ostream& out, const Capture& capture) {
  for (size_t reason = 0; reason < SKIP_COUNT; ++reason) {
    const Skipped& skipped = capture.skipped[reason];
    if (skipped.events != 0) {
      Line(out, std::string("    ") + skipLabels[reason].text, skipped.events)
          << "  first: [" << skipped.first << "]" << (skipped.why.empty() ? "" : ": ")
          << skipped.why << "\n";
    }
  }
}

void PrintThreads(std::ostream& out, const ImportReport& report) {
  const std::vector<Processor>& processors = report.capture.processors;
  for (size_t thread = 0; thread < processors.size(); ++thread) {
    if (processors[thread].events != 0) {
      out << "thread " << thread << ": processor " << Quoted(processors[thread].name) << ", "
          << processors[thread].events << " events\n";
    }
  }
  if (report.account.frameRecords != 0) {
    out << "thread " << report.account.frameThread << ": the two records of the frame\n";
  }
}

void PrintDevices(std::ostream& out, const ArrayLayout& layout) {
  if (layout.Devices().size() < 2) {
    return;
  }
  for (const uint32_t device : layout.Devices()) {
    out << "device " << device << ": from column " << layout.FirstColumn(device) << ", row "
        << layout.FirstRow(device) << "\n";
  }
}

void PrintCompanion(std::ostream& out, const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    out << "companion: " << file << "\n";
  }
}

Json ConvertedAsJson(const Account& account) {
  Json kinds = Json::object();
  for (size_t kind = 0; kind < KIND_COUNT; ++kind) {
    kinds[kindLabels[kind].name] = {{"events", account.converted[kind]},
                                    {"records", account.convertedRecords[kind]}};
  }
  return kinds;
}

Json SkippedAsJson(const Capture& capture) {
  Json reasons = Json::object();
  for (size_t reason = 0; reason < SKIP_COUNT; ++reason) {
    reasons[skipLabels[reason].name] = {{"events", capture.skipped[reason].events}};
    if (capture.skipped[reason].events != 0) {
      reasons[skipLabels[reason].name]["first"] = capture.skipped[reason].first;
    }
    if (!capture.skipped[reason].why.empty()) {
      reasons[skipLabels[reason].name]["why"] = capture.skipped[reason].why;
    }
  }
  return reasons;
}

Json ThreadsAsJson(const Capture& capture) {
  Json threads = Json::array();
  for (size_t thread = 0; thread < capture.processors.size(); ++thread) {
    threads.push_back({{"thread", thread},
                       {"processor", capture.processors[thread].name},
                       {"events", capture.processors[thread].events}});
  }
  return threads;
}

Json DevicesAsJson(const ArrayLayout& layout) {
  Json devices = Json::array();
  for (const uint32_t device : layout.Devices()) {
    devices.push_back({{"device", device},
                       {"firstColumn", layout.FirstColumn(device)},
                       {"firstRow", layout.FirstRow(device)}});
  }
  return devices;
}

Json ViewAsJson(const ImportReport& report) {
  const ArrayShape& shape = report.shape;
  Json view = {{"clusters", shape.clusters.columns},
               {"domains", shape.domains.columns},
               {"pes", shape.pes.columns},
               {"positionsPerSide", shape.Columns()}};
  if (!report.viewCommand.empty()) {
    view["command"] = report.viewCommand;
  }
  return view;
}

Json RecordsAsJson(const Account& account) {
  Json records = {{"fires", account.fires},
                  {"sends", account.sends},
                  {"derived", account.derived},
                  {"frame", account.frameRecords},
                  {"total", RecordsWritten(account)}};
  if (account.frameRecords != 0) {
    records["frameThread"] = account.frameThread;
  }
  return records;
}

}  // namespace

std::string ReportAsText(const ImportReport& report) {
  const Account& account = report.account;
  const uint64_t skipped = SkippedEvents(report.capture);
  std::ostringstream out;
  Line(out, "events read", report.capture.eventsRead) << "\n";
  Line(out, "  converted", ConvertedEvents(account)) << "\n";
  PrintConverted(out, account);
  Line(out, "  skipped", skipped) << "\n";
  PrintSkipped(out, report.capture);
  Line(out, "records written", RecordsWritten(account)) << "\n";
  Line(out, "  fires", account.fires) << "\n";
  Line(out, "  sends", account.sends) << "\n";
  LineIfAny(out, "  switches that were derived", account.derived);
  Line(out, "  frame (before and behind, draws nothing)", account.frameRecords) << "\n";
  LineIfAny(out, "messages off the array, without switches", account.withoutRoute);
  out << "cycles 0 to " << account.lastCycle << " (cycle 0 is " << account.origin
      << " in the capture)\n";
  PrintThreads(out, report);
  PrintDevices(out, report.layout);
  PrintCompanion(out, report.companion);
  if (!report.viewCommand.empty()) {
    out << "view it: " << report.viewCommand << "\n";
  }
  return out.str();
}

std::string ReportAsJson(const ImportReport& report) {
  const Account& account = report.account;
  const uint64_t skipped = SkippedEvents(report.capture);
  Json json = Json::object();
  json["format"] = report.format;
  json["input"] = report.input;
  json["output"] = report.output;
  json["companion"] = report.companion;
  json["events"] = {{"read", report.capture.eventsRead},
                    {"converted", ConvertedEvents(account)},
                    {"skipped", skipped}};
  json["converted"] = ConvertedAsJson(account);
  json["skipped"] = SkippedAsJson(report.capture);
  json["records"] = RecordsAsJson(account);
  json["withoutRoute"] = account.withoutRoute;
  json["cycles"] = {{"origin", account.origin}, {"last", account.lastCycle}};
  json["threads"] = ThreadsAsJson(report.capture);
  json["devices"] = DevicesAsJson(report.layout);
  json["view"] = ViewAsJson(report);
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace marrowfin
