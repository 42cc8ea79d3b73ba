#include <string>
#include <unordered_map>
#include <utility>

#include "sql/NumberedRows.h"
#include "sql/PlaceTables.h"
#include "sql/SqlText.h"
#include "trace/ask/LastTouches.h"
#include "trace/ask/StateReader.h"

namespace marrowfin {

namespace {

// The event that a unit shows.
struct LastTouch {
  uint64_t record = 0;
  uint32_t thread = 0;
};

std::string HexColor(Color color) {
  constexpr char DIGITS[] = "0123456789abcdef";
  std::string text = "#";
  for (const uint8_t part : {color.red, color.green, color.blue}) {
    text += DIGITS[part >> 4];
    text += DIGITS[part & 15];
  }
  return text;
}

class StateRows : public NumberedRows {
 public:
  enum Field {
    UNIT,
    COL,
    ROW,
    TO_COL,
    TO_ROW,
    CLUSTER_COL,
    CLUSTER_ROW,
    THREAD,
    AGE,
    RESTS,
    COLOR,
    RECORD,
    STEP,
    CYCLE,
    SKIP_TO,
  };

  explicit StateRows(SqlWork& work) : work(work) {}

 private:
  Result<uint64_t> Find(const SqlTrace& trace, const SqlQuestion& question) override {
    touches.clear();
    Fault fault = SetMoment(trace, question);
    if (!fault && !isEmpty) {
      fault = FindState(trace);
    }
    if (!fault && !isEmpty && (question.Uses(THREAD) || question.Uses(RECORD))) {
      fault = FindTouches(trace);
    }
    work.Leave(this);
    if (fault) {
      return fault;
    }
    return isEmpty ? 0
                   : uint64_t{state.elementCodes.size() + state.switchCodes.size() +
                              state.messages.size()};
  }

  Fault SetMoment(const SqlTrace& trace, const SqlQuestion& question) {
    const NumberBounds steps = ArgumentOf(question, STEP);
    const NumberBounds cycles = ArgumentOf(question, CYCLE);
    const NumberBounds skips = ArgumentOf(question, SKIP_TO);
    isEmpty = steps.IsEmpty() || cycles.IsEmpty() || skips.IsEmpty();
    byStep = !steps.IsEverything();
    byCycle = !cycles.IsEverything();
    step = steps.first;
    cycle = cycles.first;
    skipTo = skips.IsEverything() ? 0 : skips.first;
    Fault fault;
    if (!isEmpty && byStep == byCycle) {
      fault.kind = Fault::OUT_OF_RANGE;
      fault.file = trace.file.Name();
      fault.reason = "a state is that of a step or of a cycle";
      fault.remedy = "name one moment, as in state(100) or state where cycle = 500";
    } else if (!isEmpty && !trace.shape) {
      fault.kind = Fault::OUTSIDE_ARRAY;
      fault.file = trace.file.Name();
      fault.reason = "no array shows all locations of this trace";
      fault.remedy = "give the counts of the array with -c, -d and -p";
    }
    return fault;
  }

  ProgressCallback Told() {
    return [this](const Progress& now) { return work.Report(this, now); };
  }

  Fault FindState(const SqlTrace& trace) {
    const StateReader reader(trace.file, trace.index, *trace.shape);
    Result<ArrayState> found =
        byStep ? reader.AtStep(step, skipTo, Told()) : reader.AtCycle(cycle, Told());
    if (!found) {
      return found.Why();
    }
    state = std::move(found).Take();
    return {};
  }

  Fault FindTouches(const SqlTrace& trace) {
    return FindLastTouches(
        trace.file, trace.index, state, Region(), byCycle ? cycle : ~uint64_t{0},
        [this](const Piece& piece, const Selection& found, size_t i) {
          const size_t row = piece.number + (piece.isSwitch ? state.elementCodes.size() : 0);
          touches[row] = {found.Record(i), found.Event(i).thread};
          return Fault();
        },
        Told());
  }

  void TellOf(uint64_t number, size_t column, sqlite3_context* to) const override {
    const size_t elements = state.elementCodes.size();
    const size_t units = elements + state.switchCodes.size();
    if (column == STEP) {
      TellNumber(to, state.step);
    } else if (column == CYCLE) {
      TellNumber(to, byCycle ? cycle : state.cycle);
    } else if (column == SKIP_TO) {
      TellNumber(to, skipTo);
    } else if (number >= units) {
      TellMessage(state.messages[number - units], column, to);
    } else if (number < elements) {
      TellElement(number, column, to);
    } else {
      TellSwitch(number - elements, column, to);
    }
  }

  void TellElement(size_t number, size_t column, sqlite3_context* to) const {
    const Place at = state.shape.ElementAt(number);
    switch (column) {
      case UNIT:
        sqlite3_result_text(to, "pe", -1, SQLITE_STATIC);
        break;
      case COLOR:
        TellText(HexColor(state.elements[number]), to);
        break;
      case CLUSTER_COL:
      case CLUSTER_ROW:
        TellAxis(state.shape.ClusterOf(at), column == CLUSTER_ROW, to);
        break;
      default:
        TellUnit<ElementCodes>({at, state.elementCodes[number], number}, column, to);
    }
  }

  void TellSwitch(size_t number, size_t column, sqlite3_context* to) const {
    const Place at = state.shape.SwitchAt(number);
    switch (column) {
      case UNIT:
        sqlite3_result_text(to, "switch", -1, SQLITE_STATIC);
        break;
      case COLOR:
        TellText(HexColor(state.switches[number]), to);
        break;
      case CLUSTER_COL:
      case CLUSTER_ROW:
        TellAxis(state.shape.ClusterOfSwitch(at), column == CLUSTER_ROW, to);
        break;
      default:
        TellUnit<SwitchCodes>({at, state.switchCodes[number], state.elementCodes.size() + number},
                              column, to);
    }
  }

  struct Unit {
    Place at;
    uint8_t code;
    size_t row;
  };

  // What elements and switches tell alike; what nothing has touched tells of no event.
  template <class Codes>
  void TellUnit(const Unit& unit, size_t column, sqlite3_context* to) const {
    if (column == COL || column == ROW) {
      TellAxis(unit.at, column == ROW, to);
      return;
    }
    if (unit.code == Codes::UNTOUCHED) {
      return;
    }
    const auto touch = touches.find(unit.row);
    if (column == AGE) {
      sqlite3_result_int64(to, Codes::Age(unit.code));
    } else if (column == RESTS) {
      sqlite3_result_int64(to, Codes::Age(unit.code) == Codes::OLDEST ? 1 : 0);
    } else if (column == THREAD && touch != touches.end()) {
      sqlite3_result_int64(to, touch->second.thread);
    } else if (column == RECORD && touch != touches.end()) {
      TellNumber(to, touch->second.record);
    }
  }

  void TellMessage(const LiveMessage& message, size_t column, sqlite3_context* to) const {
    switch (column) {
      case UNIT:
        sqlite3_result_text(to, "message", -1, SQLITE_STATIC);
        break;
      case COL:
      case ROW:
        TellAxis(message.from, column == ROW, to);
        break;
      case TO_COL:
      case TO_ROW:
        TellAxis(message.to, column == TO_ROW, to);
        break;
      case CLUSTER_COL:
      case CLUSTER_ROW:
        if (state.shape.HasElement(message.from)) {
          TellAxis(state.shape.ClusterOf(message.from), column == CLUSTER_ROW, to);
        }
        break;
      default:
        TellLiveMessage(message, column, to);
    }
  }

  void TellLiveMessage(const LiveMessage& message, size_t column, sqlite3_context* to) const {
    switch (column) {
      case THREAD:
        sqlite3_result_int64(to, message.thread);
        break;
      case AGE:
        TellNumber(to, state.AgeOf(message));
        break;
      case RESTS:
        sqlite3_result_int64(to, 0);
        break;
      case COLOR:
        TellText(HexColor(state.ColorOf(message)), to);
        break;
      default:
        TellNumber(to, message.record);
    }
  }

  SqlWork& work;
  bool isEmpty = false;
  bool byStep = false;
  bool byCycle = false;
  uint64_t step = 0;
  uint64_t cycle = 0;
  uint64_t skipTo = 0;
  ArrayState state;
  std::unordered_map<size_t, LastTouch> touches;  // by row
};

}  // namespace

std::unique_ptr<SqlTable> MakeStateTable(const SqlTrace* /*trace*/, SqlWork& work) {
  return std::make_unique<SmallTable<StateRows>>(
      std::vector<SqlColumn>{
          {"unit", "TEXT", "pe, switch or message"},
          {"col", "INTEGER", "where it is; of a message the sender"},
          {"row", "INTEGER", "the same"},
          {"to_col", "INTEGER", "the receiver of a message"},
          {"to_row", "INTEGER", "the same"},
          {"cluster_col", "INTEGER", "the cluster of that place"},
          {"cluster_row", "INTEGER", "the same"},
          {"thread", "INTEGER", "of the event that it shows; NULL where nothing has touched it"},
          {"age", "INTEGER", "steps since that event, while the colour changes"},
          {"rests", "INTEGER", "1 where it may be more: the colour has come to rest"},
          {"color", "TEXT", "what the viewer shows, as in #ff0000"},
          {"record", "INTEGER", "that event"},
          {"step", "INTEGER", "argument: after so many steps of the viewer", true},
          {"cycle", "INTEGER", "argument: with all events up to this cycle", true},
          {"skip_to", "INTEGER", "argument: the cycle that the viewer skips to (its -F)", true}},
      work);
}

}  // namespace marrowfin
