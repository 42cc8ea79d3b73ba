#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"

namespace marrowfin::bench {

namespace {

template <class Take>
void ForEachEvent(const Subject& subject, Take take) {
  Reader reader(Value(OpenSource(subject.file)), subject.file);
  auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns)) {
    for (size_t i = 0; i < columns->size; ++i) {
      take(*columns, i);
    }
  }
}

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
typedef std::unique_ptr<FILE, CloseFile> File;

File Create(const std::string& name) {
  File file(fopen(name.c_str(), "wb"));
  Require(file != nullptr, "cannot write " + name);
  return file;
}

// Value change dump: of each processing element a signal of its fires, which holds a bit that
// toggles and the thread, and one of its sends, which holds a bit that toggles and the number of
// the receiver. Without the bit, equal values in a row would be no change. A cycle is a time, one
// later than it is, since viewers give time 0 to the initial values. Switches have no signal.
class VcdWriter {
 public:
  explicit VcdWriter(uint32_t side) : side(side), toggles(2 * size_t{side} * side) {}

  uint64_t Write(const Subject& subject, const std::string& name) {
    file = Create(name);
    Declare();
    uint64_t changes = 0;
    uint64_t time = 0;
    ForEachEvent(subject, [&](const Columns& columns, size_t i) {
      if (columns.tag[i].type == SWITCH_RECORD) {
        return;
      }
      if (columns.cycle[i] + 1 != time) {
        time = columns.cycle[i] + 1;
        fprintf(file.get(), "#%" PRIu64 "\n", time);
      }
      Change(columns, i);
      ++changes;
    });
    file.reset();
    return changes;
  }

  static constexpr int THREAD_BITS = 8;
  static constexpr int PLACE_BITS = 16;

  // Identifiers are numbers in the printable characters, as the format asks.
  static std::string Identifier(size_t signal) {
    std::string text;
    do {
      text += static_cast<char>('!' + signal % 94);
      signal /= 94;
    } while (signal > 0);
    return text;
  }

 private:
  void Declare() {
    fprintf(file.get(), "$timescale 1ns $end\n$scope module array $end\n");
    for (size_t signal = 0; signal < toggles.size(); ++signal) {
      const bool fire = signal % 2 == 0;
      fprintf(file.get(), "$var wire %d %s %s_%zu_%zu $end\n",
              1 + (fire ? THREAD_BITS : PLACE_BITS), Identifier(signal).c_str(),
              fire ? "fire" : "send", signal / 2 % side, signal / 2 / side);
    }
    fprintf(file.get(), "$upscope $end\n$enddefinitions $end\n");
  }

  void Change(const Columns& columns, size_t i) {
    const bool fire = columns.tag[i].type == FIRE_RECORD;
    const size_t element = size_t{columns.at[i].row} * side + columns.at[i].column;
    const size_t signal = 2 * element + (fire ? 0 : 1);
    toggles[signal] ^= 1;
    const uint32_t value =
        fire ? columns.tag[i].thread : columns.to[i].row * side + columns.to[i].column;
    char bits[32];
    char* next = bits;
    *next++ = 'b';
    *next++ = static_cast<char>('0' + toggles[signal]);
    for (int bit = (fire ? THREAD_BITS : PLACE_BITS) - 1; bit >= 0; --bit) {
      *next++ = static_cast<char>('0' + (value >> bit & 1));
    }
    *next = '\0';
    fprintf(file.get(), "%s %s\n", bits, Identifier(signal).c_str());
  }

  uint32_t side;
  std::vector<uint8_t> toggles;
  File file;
};

// Common trace format: one event class per type of record, all fields unsigned.
constexpr const char* CTF_METADATA = R"(/* CTF 1.8 */
typealias integer { size = 16; align = 8; signed = false; } := u16;
typealias integer { size = 32; align = 8; signed = false; } := u32;
typealias integer { size = 64; align = 8; signed = false; } := u64;
trace {
  major = 1; minor = 8; byte_order = le;
  packet.header := struct { u32 magic; u32 stream_id; };
};
clock { name = cycles; freq = 1000000000; offset = 0; };
typealias integer { size = 64; align = 8; signed = false; map = clock.cycles.value; } := cycle_t;
stream {
  id = 0;
  packet.context := struct { u64 content_size; u64 packet_size; };
  event.header := struct { u16 id; cycle_t timestamp; };
};
event { name = "switch"; id = 2; stream_id = 0;
        fields := struct { u32 thread; u32 column; u32 row; }; };
event { name = "fire"; id = 3; stream_id = 0;
        fields := struct { u32 thread; u32 column; u32 row; }; };
event { name = "send"; id = 4; stream_id = 0;
        fields := struct { u32 thread; u32 column; u32 row; u32 to_column; u32 to_row; }; };
)";

template <class Number>
void Put(FILE* file, Number number) {
  fwrite(&number, sizeof(number), 1, file);
}

void WriteCtf(const Subject& subject, const std::string& folder) {
  mkdir(folder.c_str(), 0700);
  fputs(CTF_METADATA, Create(folder + "/metadata").get());
  const File file = Create(folder + "/stream");
  const auto header = [&](uint64_t bits) {
    Put<uint32_t>(file.get(), 0xC1FC1FC1);
    Put<uint32_t>(file.get(), 0);
    Put<uint64_t>(file.get(), bits);
    Put<uint64_t>(file.get(), bits);
  };
  header(0);
  ForEachEvent(subject, [&](const Columns& columns, size_t i) {
    Put(file.get(), static_cast<uint16_t>(columns.tag[i].type));
    Put(file.get(), columns.cycle[i]);
    Put(file.get(), columns.tag[i].thread);
    fwrite(&columns.at[i], sizeof(Place), 1, file.get());
    if (columns.tag[i].type == SEND_RECORD) {
      fwrite(&columns.to[i], sizeof(Place), 1, file.get());
    }
  });
  const uint64_t bits = static_cast<uint64_t>(ftell(file.get())) * 8;
  rewind(file.get());
  header(bits);
}

class Database {
 public:
  explicit Database(const std::string& name) {
    Require(sqlite3_open(name.c_str(), &database) == SQLITE_OK, "cannot make a database");
  }
  ~Database() { sqlite3_close(database); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void Execute(const std::string& text) {
    Check(sqlite3_exec(database, text.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK);
  }

  // One row per event, one transaction; no journal, which a first import does not need.
  void Import(const Subject& subject) {
    Execute(
        "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; CREATE TABLE event (type INTEGER, "
        "cycle INTEGER, thread INTEGER, col INTEGER, row INTEGER, to_col INTEGER, to_row INTEGER); "
        "BEGIN");
    sqlite3_stmt* insert = Prepare("INSERT INTO event VALUES (?, ?, ?, ?, ?, ?, ?)");
    ForEachEvent(subject, [&](const Columns& columns, size_t i) {
      sqlite3_bind_int64(insert, 1, columns.tag[i].type);
      sqlite3_bind_int64(insert, 2, static_cast<sqlite3_int64>(columns.cycle[i]));
      sqlite3_bind_int64(insert, 3, columns.tag[i].thread);
      sqlite3_bind_int64(insert, 4, columns.at[i].column);
      sqlite3_bind_int64(insert, 5, columns.at[i].row);
      sqlite3_bind_int64(insert, 6, columns.to[i].column);
      sqlite3_bind_int64(insert, 7, columns.to[i].row);
      Check(sqlite3_step(insert) == SQLITE_DONE);
      sqlite3_reset(insert);
    });
    sqlite3_finalize(insert);
    Execute("COMMIT");
  }

  std::vector<uint64_t> Fires(const Answer& answer) {
    sqlite3_stmt* query = Prepare(
        "SELECT row, col, count(*) FROM event WHERE type = 3 AND cycle BETWEEN ? AND ? GROUP BY "
        "row, col");
    sqlite3_bind_int64(query, 1, static_cast<sqlite3_int64>(answer.first));
    sqlite3_bind_int64(query, 2, static_cast<sqlite3_int64>(answer.last));
    std::vector<uint64_t> fires(answer.fires.size());
    while (sqlite3_step(query) == SQLITE_ROW) {
      const auto row = static_cast<size_t>(sqlite3_column_int64(query, 0));
      const auto column = static_cast<size_t>(sqlite3_column_int64(query, 1));
      fires[row * answer.columns + column] = static_cast<uint64_t>(sqlite3_column_int64(query, 2));
    }
    sqlite3_finalize(query);
    return fires;
  }

 private:
  void Check(bool good) const { Require(good, sqlite3_errmsg(database)); }

  sqlite3_stmt* Prepare(const char* text) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database, text, -1, &statement, nullptr) == SQLITE_OK);
    return statement;
  }

  sqlite3* database = nullptr;
};

void MeasureSqlite(const Subject& subject, const Answer& answer, double open, double ask) {
  const std::string name = subject.folder + "/events.db";
  unlink(name.c_str());
  Database database(name);
  const Time import = Measure([&] { database.Import(subject); });
  AtLeast("opening, index included, against SQLite's import", import.processor / open, "x", 10);
  database.Execute("CREATE INDEX by_cycle ON event (cycle)");
  std::vector<double> times;
  for (int i = 0; i < 3; ++i) {
    times.push_back(Measure([&] {
                      Require(database.Fires(answer) == answer.fires, "SQLite counts other fires");
                    }).processor);
  }
  AtLeast("fires per PE against SQLite with an index on cycle", Median(times) / ask, "x", 20);
  unlink(name.c_str());
}

// The changes in a dump after time 0, and the fires in the answer's range.
uint64_t CountChanges(const std::string& name, const Answer& answer, uint32_t side,
                      std::vector<uint64_t>& fires) {
  // By identifier, of up to three of 94 characters: digits above 0, so that no two are the same.
  std::vector<size_t> signals(95 * 95 * 95);
  const auto slot = [&](const std::string& id) {
    size_t number = 0;
    for (const char c : id) {
      number = number * 95 + static_cast<size_t>(c - '!') + 1;
    }
    Require(number < signals.size(), "the dump has too many signals");
    return number;
  };
  const File file(fopen(name.c_str(), "rb"));
  Require(file != nullptr, "cannot read " + name);
  fires.assign(answer.fires.size(), 0);
  char line[256];
  uint64_t time = 0;
  uint64_t changes = 0;
  while (fgets(line, sizeof(line), file.get()) != nullptr) {
    char id[16];
    char kind[8];
    unsigned column = 0;
    unsigned row = 0;
    if (sscanf(line, "$var %*s %*d %15s %4[a-z]_%u_%u", id, kind, &column, &row) == 4) {
      signals[slot(id)] = 2 * (size_t{row} * side + column) + (strcmp(kind, "fire") == 0 ? 0 : 1);
    } else if (line[0] == '#') {
      time = strtoull(line + 1, nullptr, 10);
    } else if (line[0] == 'b' && time > 0) {
      ++changes;
      sscanf(strchr(line, ' ') + 1, "%15s", id);
      const size_t signal = signals[slot(id)];
      const bool inside = time - 1 >= answer.first && time - 1 <= answer.last;
      if (inside && signal % 2 == 0) {
        ++fires[signal / 2 / side * answer.columns + signal / 2 % side];
      }
    }
  }
  return changes;
}

void MeasureGtkwave(const Subject& subject, const Answer& answer, double open, double ask) {
  const uint32_t side = subject.options.shape.Columns();
  const std::string vcd = subject.folder + "/events.vcd";
  const std::string fst = subject.folder + "/events.fst";
  const std::string back = subject.folder + "/back.vcd";
  const uint64_t changes = VcdWriter(side).Write(subject, vcd);
  const Time import = RunProgram({"vcd2fst", vcd, fst}, "/dev/null");
  AtLeast("opening, index included, against vcd2fst", import.processor / open, "x", 10);
  // The dump lacks the transmissions of switches.
  const auto fstSize = static_cast<double>(std::filesystem::file_size(fst));
  AtMost("packed size, index inside, against vcd2fst",
         static_cast<double>(PackedSize(subject)) / fstSize, "x", 1);
  const Time query = RunProgram({"fst2vcd", fst}, back);
  std::vector<uint64_t> fires;
  Require(CountChanges(back, answer, side, fires) == changes && fires == answer.fires,
          "the dump holds other events");
  AtLeast("fires per PE against fst2vcd", query.processor / ask, "x", 100);
  for (const std::string& file : {vcd, fst, back}) {
    unlink(file.c_str());
  }
}

void MeasureBabeltrace(const Subject& subject, double open) {
  const std::string folder = subject.folder + "/ctf";
  const std::string counts = subject.folder + "/counts";
  WriteCtf(subject, folder);
  const Time import =
      RunProgram({"babeltrace2", folder, "--component", "sink.utils.counter"}, counts);
  AtLeast("opening, index included, against babeltrace2", import.processor / open, "x", 10);
  // It reports several times, the last time all it saw.
  const File file(fopen(counts.c_str(), "rb"));
  Require(file != nullptr, "cannot read " + counts);
  uint64_t events = 0;
  char line[256];
  while (fgets(line, sizeof(line), file.get()) != nullptr) {
    unsigned long long count = 0;
    char kind[16];
    if (sscanf(line, "%llu %15s", &count, kind) == 2 && strcmp(kind, "Event") == 0) {
      events = count;
    }
  }
  Require(events == subject.options.records, "babeltrace2 saw other events");
  for (const char* left : {"/ctf/metadata", "/ctf/stream", "/counts"}) {
    unlink((subject.folder + left).c_str());
  }
  rmdir(folder.c_str());
}

}  // namespace

void MeasurePeers(const Subject& subject, const Answer& answer, double openSeconds,
                  double askSeconds) {
  MeasureGtkwave(subject, answer, openSeconds, askSeconds);
  MeasureBabeltrace(subject, openSeconds);
  MeasureSqlite(subject, answer, openSeconds, askSeconds);
}

}  // namespace marrowfin::bench
