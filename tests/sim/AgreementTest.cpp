// Simulator and viewer together: the viewer replays what the simulator records, to the end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "Core/VisTool.h"
#include "tests/sim/Rig.h"
#include "tests/support/Files.h"
#include "viewer/Grid.h"

namespace marrowfin::sim::testing {

using ::testing::EndsWith;

// An X server of its own, with software OpenGL.
class XServer {
 public:
  XServer() {
    int ends[2];
    if (pipe(ends) != 0) {
      throw std::runtime_error("no pipe");
    }
    child = fork();
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(ends[0]);
      execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(ends[1]).c_str(), "-screen", "0",
             "1280x1024x24", "+extension", "GLX", "-nolisten", "tcp", "-noreset",
             static_cast<char*>(nullptr));
      _exit(127);
    }
    close(ends[1]);
    // The server writes its number, and a line feed, when it takes connections.
    for (char c; read(ends[0], &c, 1) == 1 && c != '\n';) {
      number += c;
    }
    close(ends[0]);
  }

  ~XServer() {
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
  }

  bool IsRunning() const { return !number.empty(); }
  std::string Variable() const { return "DISPLAY=:" + number; }

 private:
  pid_t child;
  std::string number;
};

// Whether the grid has a piece where the event is.
bool IsFiled(const Grid& grid, const VisToolEvent& event) {
  switch (event.Class()) {
    case PE_FIRE:
      return grid.processingElements.count(dynamic_cast<const PEFire&>(event).l) == 1;
    case NETWORK_SWITCH_TRANSMISSION:
      return grid.networkSwitches.count(dynamic_cast<const NetworkSwitchTransmission&>(event).l) ==
             1;
    default: {
      const MessageSend& send = dynamic_cast<const MessageSend&>(event);
      return grid.processingElements.count(send.from) == 1 &&
             grid.processingElements.count(send.to) == 1;
    }
  }
}

// The number of events that the grid does not know, and of all.
std::pair<size_t, size_t> CountUnknown(const std::string& trace, Grid& grid) {
  VisTool tool;
  tool.inFilename = trace;
  tool.InitializeForRead();
  std::pair<size_t, size_t> counts = {0, 0};
  VisToolEvent* event;
  while (tool.ReadEvent(event) == File::SUCCESS) {
    counts.first += !IsFiled(grid, *event);
    ++counts.second;
    delete event;
  }
  tool.inFile.Close();
  return counts;
}

struct Agreement {
  const char* program;
  const char* size;
  const char* clusters;
  const char* domains;
  const char* pes;
};

class AgreementTest : public ::testing::TestWithParam<Agreement> {
 protected:
  void Simulate() const {
    const Agreement& run = GetParam();
    const CommandResult result = RunSimulator({"-program",
                                               run.program,
                                               "-size",
                                               run.size,
                                               "-sweeps",
                                               "3",
                                               "-threads",
                                               "2",
                                               "-array/clusters",
                                               run.clusters,
                                               "-array/domains",
                                               run.domains,
                                               "-array/pes",
                                               run.pes,
                                               "-array/operandBuffer",
                                               "256",
                                               "-placement",
                                               "random",
                                               "-outFilename",
                                               Trace()});
    ASSERT_EQ(0, result.exitStatus) << result.err;
  }

  CommandResult Replay(const XServer& server) const {
    const Agreement& run = GetParam();
    CommandOptions options;
    options.environment = {server.Variable()};
    return RunCommand(
        {MARROWFIN_VIEWER, "-c", run.clusters, "-d", run.domains, "-p", run.pes, "-f", Trace()},
        options);
  }

  std::string Trace() const { return directory.File("trace"); }

  TempDir directory;
};

INSTANTIATE_TEST_SUITE_P(
    Every, AgreementTest,
    ::testing::Values(
        Agreement{"matmul", "3", "2", "2", "2"}, Agreement{"matmul", "6", "2", "1", "4"},
        Agreement{"spmv", "4", "2", "2", "2"}, Agreement{"spmv", "12", "3", "1", "3"},
        Agreement{"fft", "4", "2", "2", "2"}, Agreement{"fft", "8", "2", "2", "3"},
        Agreement{"sort", "5", "2", "2", "2"}, Agreement{"sort", "9", "1", "2", "4"},
        Agreement{"stencil", "3", "2", "2", "2"}, Agreement{"stencil", "5", "2", "3", "2"},
        Agreement{"reduce", "6", "2", "2", "2"}, Agreement{"reduce", "40", "4", "1", "2"}),
    [](const auto& parameter) {
      return std::string(parameter.param.program) + "OfSize" + parameter.param.size;
    });

TEST_P(AgreementTest, TheViewerReachesTheEndOfTheTrace) {
  ASSERT_NO_FATAL_FAILURE(Simulate());
  const XServer server;
  ASSERT_TRUE(server.IsRunning());
  const CommandResult result = Replay(server);
  EXPECT_EQ(SIGABRT, result.signal);
  EXPECT_THAT(result.err, EndsWith(": failed assertion `e'\n"));
}

TEST_P(AgreementTest, EveryEventLiesWhereTheViewerHasAPiece) {
  ASSERT_NO_FATAL_FAILURE(Simulate());
  const auto number = [](const char* text) { return static_cast<unsigned>(std::stoul(text)); };
  Grid grid(number(GetParam().clusters), number(GetParam().domains), number(GetParam().pes));
  const auto [unknown, all] = CountUnknown(Trace(), grid);
  EXPECT_EQ(0U, unknown);
  EXPECT_GT(all, 20U);
  // The control: a smaller grid lacks some of the places.
  Grid smaller(1, 1, 1);
  EXPECT_LT(0U, CountUnknown(Trace(), smaller).first);
}

}  // namespace marrowfin::sim::testing
