#include "Core/StatsContainer.h"

#include <fcntl.h>

#include "Util/SimOutput.h"

StatsOutputHandler* StatsContainer::output = nullptr;

StatsContainer::Stat::Stat(StatType type, const std::string& name, const std::string& description,
                           const void* storage)
    : type(type), name(name), fullName(name), description(description), storage(storage) {}

std::string StatsContainer::Stat::GetName() const { return fullName; }

StatsContainer::StatsContainer() = default;

StatsContainer::~StatsContainer() = default;

void StatsContainer::AddStat(float* variable, const char* name, const char* description,
                             float initial) {
  stats.push_back(Stat(FLOAT, name, description, variable));
  *variable = initial;
}

void StatsContainer::AddStat(unsigned long long* variable, const char* name,
                             const char* description, unsigned long long initial) {
  stats.push_back(Stat(COUNTER, name, description, variable));
  *variable = initial;
}

void StatsContainer::AddStat(Histogram* variable, const char* name, const char* description,
                             Histogram initial) {
  stats.push_back(Stat(HISTOGRAM, name, description, variable));
  *variable = initial;
}

void StatsContainer::AddAliasStat(float* variable, const char* name) {
  stats.push_back(Stat(FLOAT, name, "", variable));
}

void StatsContainer::AddAliasStat(unsigned long long* variable, const char* name) {
  stats.push_back(Stat(COUNTER, name, "", variable));
}

void StatsContainer::AddAliasStat(Histogram* variable, const char* name) {
  stats.push_back(Stat(HISTOGRAM, name, "", variable));
}

void StatsContainer::AddStatContainer(StatsContainer* container) {
  subContainers.push_back(container);
}

void StatsContainer::AddPrefix(const std::string& prefix) {
  for (Stat& stat : stats) {
    stat.fullName = prefix + stat.name;
  }
}

void StatsContainer::Compute() {}

void StatsContainer::DoStatsOutput() { output->Output(this); }

StatsPrinter::StatsPrinter(const std::string& fileName) : outputFile(true) {
  AddOption(&outputFileName, "-outputFileName",
            "file for the statistics report, empty for the standard output", fileName);
}

void StatsPrinter::Output(StatsContainer* container) {
  if (!outputFile.IsOpen()) {
    if (outputFileName.empty()) {
      outputFile = File::Stdout;
    } else {
      // The truncation empties what an earlier run left; appending keeps the reports of this one in
      // order whatever else writes to the file.
      outputFile.Open(outputFileName, File::WRITE_FLAGS | O_APPEND, File::DEFAULT_MODE);
    }
  }
  outputFile.Print("STATISTICS:\n");
  Output_help(container);
  outputFile.Print("STATISTICS DONE\n");
  // A report is complete in its file once it is written, also when the run is killed later. Where
  // that fails, the stream keeps the error.
  fflush(outputFile.GetFILE());
}

bool StatsPrinter::IsReportWritten() {
  return outputFile.IsOpen() && ferror(outputFile.GetFILE()) == 0;
}

void StatsPrinter::Output_help(StatsContainer* container) {
  container->Compute();
  for (const StatsContainer::Stat& stat : container->stats) {
    const std::string name = stat.GetName();
    switch (stat.type) {
      case StatsContainer::FLOAT:
        outputFile.Print("%s = %5.2f\n", name.c_str(),
                         static_cast<double>(*static_cast<const float*>(stat.storage)));
        break;
      case StatsContainer::COUNTER:
        outputFile.Print("%s = %llu\n", name.c_str(),
                         *static_cast<const unsigned long long*>(stat.storage));
        break;
      case StatsContainer::HISTOGRAM: {
        std::string text;
        outputFile.Print("%s = %s\n", name.c_str(),
                         static_cast<const Histogram*>(stat.storage)->ToString(text));
        break;
      }
      default:
        SIM_CRASH("Illegal stat type.");
    }
  }
  for (StatsContainer* subContainer : container->subContainers) {
    Output_help(subContainer);
  }
}
