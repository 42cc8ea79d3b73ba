#include "tests/examples/Example.h"

#include <sstream>
#include <stdexcept>

namespace marrowfin::testing {

namespace {

// The big-endian number of `size` bytes at `offset`.
uint64_t NumberAt(const std::string& bytes, size_t offset, size_t size) {
  uint64_t number = 0;
  for (size_t i = offset; i < offset + size; ++i) {
    number = number << 8 | static_cast<unsigned char>(bytes.at(i));
  }
  return number;
}

Position PositionAt(const std::string& bytes, size_t offset) {
  return {static_cast<uint32_t>(NumberAt(bytes, offset + 4, 4)),
          static_cast<uint32_t>(NumberAt(bytes, offset, 4))};
}

// The event of the record at `offset`, which is moved to the next record.
Event EventAt(const std::string& bytes, size_t& offset) {
  Event event = {};
  event.type = static_cast<uint32_t>(NumberAt(bytes, offset, 4));
  event.cycle = NumberAt(bytes, offset + 4, 8);
  event.thread = static_cast<uint32_t>(NumberAt(bytes, offset + 12, 4));
  const uint64_t length = NumberAt(bytes, offset + 16, 4);
  if (event.type < TRANSMIT || event.type > SEND || length != (event.type == SEND ? 16U : 8U)) {
    throw std::runtime_error("no record at byte " + std::to_string(offset));
  }
  event.at = PositionAt(bytes, offset + 20);
  event.to = PositionAt(bytes, offset + 20 + length - 8);
  offset += 20 + length;
  return event;
}

}  // namespace

CommandResult RunExample(const Words& arguments, const std::string& directory) {
  Words words = {SYSTOLIC_MATMUL};
  words.insert(words.end(), arguments.begin(), arguments.end());
  CommandOptions options;
  options.directory = directory;
  return RunCommand(words, options);
}

std::vector<Event> EventsIn(const std::string& traceBytes) {
  std::vector<Event> events;
  for (size_t offset = 0; offset < traceBytes.size();) {
    events.push_back(EventAt(traceBytes, offset));
  }
  return events;
}

Words Shape::Arguments() const {
  return {"-c",           std::to_string(clusters), "-d",         std::to_string(domains),
          "-p",           std::to_string(pes),      "-.*rows",    std::to_string(rows),
          "-.*inner",     std::to_string(inner),    "-.*columns", std::to_string(columns),
          "-.*/threads",  std::to_string(threads),  "-.*/gap",    std::to_string(gap),
          "-.*/products", std::to_string(products)};
}

std::string Shape::Name() const {
  std::ostringstream name;
  name << "c" << clusters << "d" << domains << "p" << pes << "_" << rows << "x" << inner << "x"
       << columns << "_threads" << threads << "products" << products << "gap" << gap;
  return name.str();
}

void PrintTo(const Shape& shape, std::ostream* stream) { *stream << shape.Name(); }

const std::vector<Shape>& Shapes() {
  static const std::vector<Shape> shapes = {
      {1, 1, 1, 1, 1, 1, 1, 1, 0},    {1, 1, 1, 3, 2, 4, 2, 2, 0},   {1, 1, 4, 4, 4, 4, 1, 1, 0},
      {2, 2, 2, 8, 5, 8, 3, 1, 0},    {2, 2, 2, 3, 7, 5, 2, 1, 1},   {2, 2, 2, 1, 9, 8, 1, 2, 0},
      {2, 2, 2, 8, 9, 1, 1, 2, 0},    {2, 2, 2, 9, 1, 17, 1, 1, 0},  {3, 1, 2, 13, 4, 7, 7, 2, 3},
      {2, 3, 1, 20, 3, 11, 2, 1, 0},  {4, 1, 1, 6, 6, 6, 12, 1, 20}, {1, 3, 3, 9, 2, 30, 3, 1, 0},
      {4, 2, 4, 32, 12, 32, 6, 1, 4}, {4, 2, 4, 40, 3, 70, 2, 1, 0},
  };
  return shapes;
}

std::map<std::string, std::string> StatisticsIn(const std::string& text) {
  std::map<std::string, std::string> statistics;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const size_t equals = line.find(" = ");
    if (equals != std::string::npos) {
      statistics[line.substr(0, equals)] = line.substr(equals + 3);
    }
  }
  return statistics;
}

uint64_t SumOf(const std::map<std::string, std::string>& statistics, const std::string& suffix) {
  uint64_t sum = 0;
  for (const auto& [name, value] : statistics) {
    if (name.ends_with(suffix)) {
      sum += std::stoull(value);
    }
  }
  return sum;
}

}  // namespace marrowfin::testing
