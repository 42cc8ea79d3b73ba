#ifndef CORE_STATSCONTAINER_H
#define CORE_STATSCONTAINER_H

#include <string>
#include <vector>

#include "Util/CommandLineParser.h"
#include "Util/File.h"
#include "Util/Histogram.h"

class StatsOutputHandler;

// The statistics of one unit and, through its sub-containers, of all units below it. A statistic
// stays a plain variable of its owner and is read when a report is written.
//
// The order of the virtual operations and of the fields is fixed, here and in the classes below.
class StatsContainer {
 public:
  enum StatType { INVALID = 0, FLOAT = 1, COUNTER = 2, HISTOGRAM = 3 };

  struct Stat {
    // The full name is `name` until a prefix is added.
    Stat(StatType type, const std::string& name, const std::string& description,
         const void* storage);

    // The full name.
    std::string GetName() const;

    StatType type;
    std::string name;         // as registered
    std::string fullName;     // used in the output
    std::string description;  // one line
    const void* storage;      // a float, an unsigned long long or a Histogram, by type; not owned
  };

  StatsContainer();

  // The statistics of a copy would be the variables of the original.
  StatsContainer(const StatsContainer&) = delete;
  StatsContainer& operator=(const StatsContainer&) = delete;

  // Registers a variable under a name and gives it its initial value.
  void AddStat(float* variable, const char* name, const char* description, float initial);
  void AddStat(unsigned long long* variable, const char* name, const char* description,
               unsigned long long initial);
  void AddStat(Histogram* variable, const char* name, const char* description, Histogram initial);

  // Registers a further name for a variable, which is left alone.
  void AddAliasStat(float* variable, const char* name);
  void AddAliasStat(unsigned long long* variable, const char* name);
  void AddAliasStat(Histogram* variable, const char* name);

  // Adds a container whose statistics are written behind this one's. It is not owned.
  void AddStatContainer(StatsContainer* container);

  // Sets the full name of each own statistic (not those of sub-containers) to `prefix` and its
  // name.
  void AddPrefix(const std::string& prefix);

  // Called just before this container's statistics are written, so that values derived from others
  // can be brought up to date. Does nothing here.
  virtual void Compute();

  virtual ~StatsContainer();

  // Hands this container to `output`, which must be set.
  void DoStatsOutput();

  static StatsOutputHandler* output;  // the one sink of all containers; not owned

  std::vector<Stat> stats;                     // own, in order of registration
  std::vector<StatsContainer*> subContainers;  // in order of adding; not owned
};

// Where reports go. It may have options of its own.
class StatsOutputHandler : public CommandLineParser {
 public:
  virtual void Output(StatsContainer* container) = 0;
};

// Writes reports as text: "NAME = VALUE" lines between "STATISTICS:" and "STATISTICS DONE".
class StatsPrinter : public StatsOutputHandler {
 public:
  // `fileName` is the default of the option -outputFileName; empty means the standard output.
  explicit StatsPrinter(const std::string& fileName = "");

  // Writes `container` and everything below it. The first report empties the named file, later ones
  // of the same run follow it. A file that cannot be opened ends the program.
  void Output(StatsContainer* container) override;

  // Whether all reports so far have reached their file, as far as the system has told. False before
  // the first one, and where `outputFile`, made one that is not crash-on-error, cannot be opened.
  bool IsReportWritten();

  File outputFile;  // closed until the first report
  std::string outputFileName;

 private:
  void Output_help(StatsContainer* container);
};

#endif
