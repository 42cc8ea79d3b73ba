// The statistics report and the graph of the units.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <set>
#include <sstream>

#include "tests/examples/Example.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// "c0_1" and the like: column and row.
std::string Unit(const char* kind, unsigned row, unsigned column) {
  return kind + std::to_string(column) + "_" + std::to_string(row);
}

// The full names of the units that hold the PE at a position.
std::string ClusterName(const Shape& shape, const Position& pe) {
  return "array/" + Unit("c", pe.row / shape.ClusterSide(), pe.column / shape.ClusterSide());
}

std::string DomainName(const Shape& shape, const Position& pe) {
  return ClusterName(shape, pe) + "/" +
         Unit("d", pe.row / shape.pes % shape.domains, pe.column / shape.pes % shape.domains);
}

std::string PeName(const Shape& shape, const Position& pe) {
  return DomainName(shape, pe) + "/" + Unit("pe", pe.row % shape.pes, pe.column % shape.pes);
}

std::vector<Position> AllPositions(const Shape& shape) {
  std::vector<Position> positions;
  for (unsigned row = 0; row < shape.Side(); ++row) {
    for (unsigned column = 0; column < shape.Side(); ++column) {
      positions.push_back({row, column});
    }
  }
  return positions;
}

class ReportOfShape : public ::testing::TestWithParam<Shape> {
 protected:
  ReportOfShape() {
    Words arguments = shape.Arguments();
    arguments.insert(arguments.end(), {"-.*outFilename", directory.File("trace")});
    statistics = StatisticsIn(RunExample(arguments).out);
    events = EventsIn(ReadFile(directory.File("trace")));
  }

  const Shape& shape = GetParam();
  const TempDir directory;
  std::map<std::string, std::string> statistics;
  std::vector<Event> events;
};

INSTANTIATE_TEST_SUITE_P(Shapes, ReportOfShape, ::testing::ValuesIn(Shapes()),
                         [](const auto& test) { return test.param.Name(); });

TEST_P(ReportOfShape, CountsTheEventsOfTheTraceInEveryDomainAndSwitch) {
  std::map<std::string, uint64_t> counts;
  for (const Position& pe : AllPositions(shape)) {
    counts[DomainName(shape, pe) + "/multiplications"] = 0;
    counts[DomainName(shape, pe) + "/moves"] = 0;
    counts[ClusterName(shape, pe) + "/switch/transmissions"] = 0;
  }
  for (const Event& event : events) {
    if (event.type == TRANSMIT) {
      const Position firstPe = {event.at.row - 4, event.at.column - 4};
      ++counts[ClusterName(shape, firstPe) + "/switch/transmissions"];
    } else {
      ++counts[DomainName(shape, event.at) + (event.type == FIRE ? "/multiplications" : "/moves")];
    }
  }
  std::map<std::string, uint64_t> reported;
  for (const auto& [name, value] : statistics) {
    if (name.starts_with("array/c") && name != "array/cycles" && !name.ends_with("/load")) {
      reported[name] = std::stoull(value);
    }
  }
  EXPECT_EQ(counts, reported);
}

TEST_P(ReportOfShape, TheLoadOfASwitchHoldsEveryCycleAndEveryTransmission) {
  const uint64_t cycles = std::stoull(statistics.at("array/cycles"));
  unsigned switches = 0;
  for (const auto& [name, value] : statistics) {
    if (name.ends_with("/switch/load")) {
      ++switches;
      std::istringstream buckets(value);
      uint64_t cyclesSeen = 0;
      uint64_t transmissions = 0;
      for (std::string text; std::getline(buckets, text, '\t');) {
        unsigned bucket = 0;
        unsigned long long count = 0;
        ASSERT_EQ(2, sscanf(text.c_str(), "%u[%llu", &bucket, &count)) << text;
        cyclesSeen += count;
        transmissions += bucket * count;
      }
      EXPECT_EQ(cycles, cyclesSeen) << name;
      const std::string unit = name.substr(0, name.size() - 4);
      EXPECT_EQ(statistics.at(unit + "transmissions"), std::to_string(transmissions)) << name;
    }
  }
  EXPECT_EQ(shape.clusters * shape.clusters, switches);
}

TEST_P(ReportOfShape, TheUtilizationIsMultiplicationsPerPeAndCycle) {
  const double multiplications = static_cast<double>(SumOf(statistics, "/multiplications"));
  const double slots = std::stod(statistics.at("array/cycles")) * shape.Side() * shape.Side();
  EXPECT_NEAR(multiplications / slots, std::stod(statistics.at("array/utilisation")), 0.0051);
}

TEST_P(ReportOfShape, TheRunLastsUntilThePesAreDoneAndNotMuchLonger) {
  const uint64_t cycles = std::stoull(statistics.at("array/cycles"));
  EXPECT_GT(cycles, events.back().cycle);
  EXPECT_LE(cycles, events.back().cycle + 2 * shape.Side());
}

TEST_P(ReportOfShape, EveryMessageIsGivenBack) {
  EXPECT_EQ("0", statistics.at("messages/inUse"));
  EXPECT_EQ(statistics.at("messages/newCalled"), statistics.at("messages/deleteCalled"));
  // One operand for every element that enters, one result for every element of a product.
  EXPECT_LT(0U, std::stoull(statistics.at("messages/maxInUse")));
}

TEST(ReportTest, ItIsWrittenToTheNamedFileAndTheVerdictToStandardOutput) {
  const TempDir directory;
  const CommandResult result =
      RunExample({"-c", "1", "-.*outputFileName", "report"}, directory.Path());
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("Regression PASSED\n", result.out);
  const std::string report = ReadFile(directory.File("report"));
  EXPECT_THAT(report, StartsWith("STATISTICS:\narray/cycles = "));
  EXPECT_THAT(report, ::testing::EndsWith("\nSTATISTICS DONE\n"));
}

TEST(ReportTest, TheSameRunWritesTheSameReport) {
  EXPECT_EQ(RunExample({"-c", "2"}).out, RunExample({"-c", "2"}).out);
}

// The lines of a graph that hold nodes and edges.
struct Graph {
  explicit Graph(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      if (line.find(" -> ") != std::string::npos) {
        edges.insert(line);
      } else if (line.find("[shape=box") != std::string::npos) {
        nodes.insert(line);
      }
    }
  }

  void AddEdge(const std::string& from, const std::string& to) {
    edges.insert("\"" + from + "\" -> \"" + to + "\";");
  }

  std::multiset<std::string> nodes;
  std::multiset<std::string> edges;
};

class GraphOfShape : public ::testing::TestWithParam<Shape> {
 protected:
  GraphOfShape() {
    Words arguments = shape.Arguments();
    arguments.insert(arguments.end(), {"-array/dotFile", directory.File("graph")});
    result = RunExample(arguments);
  }

  const Shape& shape = GetParam();
  const TempDir directory;
  CommandResult result;
};

INSTANTIATE_TEST_SUITE_P(Shapes, GraphOfShape,
                         ::testing::Values(Shape{1, 1, 1}, Shape{2, 2, 2}, Shape{3, 1, 2},
                                           Shape{1, 3, 2}, Shape{2, 2, 4}),
                         [](const auto& test) { return test.param.Name(); });

TEST_P(GraphOfShape, GraphvizDrawsIt) {
  const CommandResult drawn =
      RunCommand({"dot", "-Tsvg", "-o", directory.File("svg"), directory.File("graph")});
  EXPECT_EQ(0, drawn.exitStatus);
  EXPECT_EQ("", drawn.err);
  EXPECT_THAT(ReadFile(directory.File("svg")), HasSubstr("<title>array/c0_0/d0_0/pe0_0</title>"));
}

TEST_P(GraphOfShape, ItHasABoxForEachUnit) {
  Graph expected("");
  expected.nodes = {"\"array/host\" [shape=box,label=\"host\"];",
                    "\"array/vis\" [shape=box,label=\"vis\"];"};
  for (const Position& pe : AllPositions(shape)) {
    expected.nodes.insert("\"" + PeName(shape, pe) + "\" [shape=box,label=\"" +
                          Unit("pe", pe.row % shape.pes, pe.column % shape.pes) + "\"];");
    if (pe.row % shape.ClusterSide() == 0 && pe.column % shape.ClusterSide() == 0) {
      expected.nodes.insert("\"" + ClusterName(shape, pe) +
                            "/switch\" [shape=box,label=\"switch\"];");
    }
  }
  EXPECT_EQ(expected.nodes, Graph(ReadFile(directory.File("graph"))).nodes);
}

TEST_P(GraphOfShape, ItsEdgesLeadEastAndSouthByWayOfASwitchBetweenClusters) {
  Graph expected("");
  for (const Position& pe : AllPositions(shape)) {
    expected.AddEdge(PeName(shape, pe), "array/host");
    // The PE in the corner is on two edges of the array, but it is one receiver.
    if (pe.row == 0 || pe.column == 0) {
      expected.AddEdge("array/host", PeName(shape, pe));
    }
    for (const Position& to : {Position{pe.row, pe.column + 1}, Position{pe.row + 1, pe.column}}) {
      if (to.row == shape.Side() || to.column == shape.Side()) {
        continue;
      }
      if (ClusterName(shape, pe) == ClusterName(shape, to)) {
        expected.AddEdge(PeName(shape, pe), PeName(shape, to));
      } else {
        expected.AddEdge(PeName(shape, pe), ClusterName(shape, pe) + "/switch");
        expected.AddEdge(ClusterName(shape, pe) + "/switch", PeName(shape, to));
      }
    }
  }
  EXPECT_EQ(expected.edges, Graph(ReadFile(directory.File("graph"))).edges);
}

TEST_P(GraphOfShape, TheRunGoesOnAfterIt) {
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("Regression PASSED\n"));
}

}  // namespace marrowfin::testing
