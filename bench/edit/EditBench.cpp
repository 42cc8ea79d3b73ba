// What making traces of traces costs, and lists of events, against copying the files: programs as
// their users start them, to the disk and back.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "trace/write/Synth.h"
#include "trace/write/Writer.h"

namespace marrowfin::bench {
namespace {

constexpr size_t PIECE = 256 << 10;

// What is measured, and where.
struct Subject {
  uint64_t records = 24'000'000;
  std::string folder;
  int repetitions = 5;

  std::string File(const std::string& name) const { return folder + "/" + name; }
};

// A descriptor that is closed with its scope.
class Descriptor {
 public:
  Descriptor(const std::string& name, int flags) : value(open(name.c_str(), flags, 0666)) {
    Require(value != -1, "cannot open " + name);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(value); }

  operator int() const { return value; }

 private:
  int value;
};

void WriteAll(int descriptor, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = write(descriptor, bytes, size);
    Require(written > 0, "cannot write");
    bytes += written;
    size -= static_cast<size_t>(written);
  }
}

// Copies a file to the disk, as the programs write theirs.
void Copy(const std::string& from, const std::string& to) {
  const Descriptor source(from, O_RDONLY);
  const Descriptor target(to, O_WRONLY | O_CREAT | O_TRUNC);
  std::vector<char> piece(PIECE);
  for (ssize_t got = 0; (got = read(source, piece.data(), piece.size())) > 0;) {
    WriteAll(target, piece.data(), static_cast<size_t>(got));
  }
  Require(fsync(target) == 0, "cannot write " + to);
}

// Writes as many bytes to the disk as a file has, from memory.
void WriteAsMany(const std::string& as, const std::string& to) {
  static const std::vector<char> bytes(64 << 20, 'x');
  const Descriptor target(to, O_WRONLY | O_CREAT | O_TRUNC);
  for (uint64_t left = std::filesystem::file_size(as); left > 0;) {
    const size_t size = static_cast<size_t>(std::min<uint64_t>({left, bytes.size(), PIECE}));
    WriteAll(target, bytes.data(), size);
    left -= size;
  }
  Require(fsync(target) == 0, "cannot write " + to);
}

// Runs the program to its end; the most memory that it had, in MiB. This program is small, as a
// child of it is at first.
double Run(const std::vector<std::string>& words) {
  fflush(nullptr);
  const pid_t child = fork();
  Require(child != -1, "cannot start a process");
  if (child == 0) {
    std::vector<char*> arguments = {const_cast<char*>(MARROWFIN_TRACE)};
    for (const std::string& word : words) {
      arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    if (freopen("/dev/null", "w", stdout) != nullptr) {
      execv(arguments[0], arguments.data());
    }
    _exit(127);
  }
  int status = 0;
  struct rusage usage = {};
  wait4(child, &status, 0, &usage);
  Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, words[0] + " failed");
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

// The median seconds of each work, which take turns.
std::vector<double> Seconds(const Subject& subject,
                            const std::vector<std::function<void()>>& works) {
  std::vector<double> seconds;
  for (const Time& time : Alternate(subject.repetitions, works)) {
    seconds.push_back(time.elapsed);
  }
  return seconds;
}

void MakeTrace(const Subject& subject, const std::string& name) {
  Writer writer;
  Require(writer.Open(name));
  SynthOptions options;
  options.records = subject.records;
  Require(Synthesize(options, writer));
  Require(writer.Close());
}

// As many records whose cycles are in no order.
void MakeShuffled(const Subject& subject, const std::string& name) {
  Writer writer;
  Require(writer.Open(name));
  uint64_t state = 1;
  const auto below = [&](uint64_t bound) {
    state = state * 6364136223846793005 + 1442695040888963407;
    return (state >> 33) % bound;
  };
  for (uint64_t i = 0; i < subject.records; ++i) {
    const uint64_t cycle = below(subject.records / 4);
    const auto column = static_cast<uint32_t>(below(64));
    const auto row = static_cast<uint32_t>(below(64));
    if (i % 2 == 0) {
      writer.Fire(cycle, column % 8, {column, row});
    } else {
      writer.Send(cycle, column % 8, {column, row}, {row, column});
    }
  }
  Require(writer.Close());
}

void MeasureCutting(const Subject& subject) {
  Heading("cutting");
  const std::string trace = subject.File("run.trace");
  const std::string copy = subject.File("copy.trace");
  // Two outputs: to replace a large one takes time of its own.
  const std::string small = subject.File("small.trace");
  const std::string part = subject.File("part.trace");
  MakeTrace(subject, trace);
  Run({"index", trace});
  const uint64_t middle = subject.records / 2;
  const std::string hundredth =
      std::to_string(middle) + ".." + std::to_string(middle + subject.records / 100 - 1);
  const std::vector<double> seconds =
      Seconds(subject, {[&] { Copy(trace, copy); },
                        [&] {
                          Run({"cut", trace, "--records", hundredth, "-o", small, "--force"});
                        },
                        [&] {
                          Run({"cut", trace, "--threads", "0-1", "-o", part, "--force"});
                        }});
  Note("copying the file", seconds[0], "s");
  Note("share of records that the filter keeps",
       100 * static_cast<double>(std::filesystem::file_size(part)) /
           static_cast<double>(std::filesystem::file_size(trace)),
       "%");
  AtLeast("cut of 1 % of the records, faster than copying the file", seconds[0] / seconds[1], "x",
          20);
  AtLeast("cut with a filter that keeps half, to copying the file", seconds[0] / seconds[2], "x",
          0.5);
}

void MeasureLists(const Subject& subject) {
  Heading("lists of events");
  const std::string trace = subject.File("run.trace");
  const std::string list = subject.File("list");
  const std::string other = subject.File("other");
  for (const std::string format : {"csv", "jsonl"}) {
    Run({"events", trace, "--format", format, "-o", list});
    const std::vector<double> seconds =
        Seconds(subject, {[&] { WriteAsMany(list, other); },
                          [&] {
                            Run({"events", trace, "--format", format, "-o", list});
                          }});
    Note("bytes of " + format, static_cast<double>(std::filesystem::file_size(list)) / 1e6, "MB");
    AtLeast("events as " + format + ", to writing the same bytes from memory",
            seconds[0] / seconds[1], "x", 0.5);
    std::filesystem::remove(list);
    std::filesystem::remove(other);
  }
}

void MeasureSorting(const Subject& subject) {
  Heading("sorting");
  const std::string trace = subject.File("shuffled.trace");
  const std::string first = subject.File("first.trace");
  const std::string second = subject.File("second.trace");
  const std::string sorted = subject.File("sorted.trace");
  MakeShuffled(subject, trace);
  double peak = 0;
  const auto sort = [&] {
    peak = std::max(peak, Run({"sort", trace, "-o", sorted, "--memory", "256M", "--force"}));
  };
  const auto twice = [&] {
    Copy(trace, first);
    Copy(first, second);
  };
  const std::vector<double> seconds = Seconds(subject, {twice, sort});
  Note("reading and writing the file twice", seconds[0], "s");
  AtMost("sort in 256 MiB, to reading and writing the file twice", seconds[1] / seconds[0], "x", 2);
  AtMost("memory of sort", peak, "MiB", 320);
}

int Main(const std::vector<std::string>& arguments) {
  Subject subject;
  for (const std::string& argument : arguments) {
    if (argument == "--quick") {
      subject.records = 2'400'000;
    } else {
      subject.folder = argument;
    }
  }
  if (subject.folder.empty()) {
    fprintf(stderr, "usage: marrowfin_edit_bench [--quick] FOLDER\n");
    return 2;
  }
  setenv("TMPDIR", subject.folder.c_str(), 1);
  printf("%s\n%llu records\n", Machine().c_str(), static_cast<unsigned long long>(subject.records));
  MeasureCutting(subject);
  MeasureLists(subject);
  MeasureSorting(subject);
  for (const char* name :
       {"run.trace", "run.trace.mfindex", "copy.trace", "small.trace", "part.trace",
        "shuffled.trace", "first.trace", "second.trace", "sorted.trace"}) {
    std::filesystem::remove(subject.File(name));
  }
  return NotMet() == 0 ? 0 : 3;
}

}  // namespace
}  // namespace marrowfin::bench

int main(int argc, char** argv) {
  return marrowfin::bench::Main(std::vector<std::string>(argv + 1, argv + argc));
}
