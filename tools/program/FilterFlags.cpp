#include "tools/program/FilterFlags.h"

#include <algorithm>
#include <functional>

#include "tools/program/Flags.h"

namespace marrowfin {

namespace {

constexpr const char* TYPE_NAMES[] = {"switch", "fire", "send"};

// An option whose text a function of Ranges.h understands.
template <class Value>
void AddParsed(CLI::App& app, const std::string& name, const std::string& form,
               std::optional<Value>& value, std::string (*parse)(const std::string&, Value&),
               const std::string& help) {
  app.add_option_function<std::string>(
         name,
         [&value, parse](const std::string& text) {
           value.emplace();
           static_cast<void>(parse(text, *value));
         },
         help)
      ->type_name(form)
      ->check([parse](const std::string& text) {
        Value unused;
        return parse(text, unused);
      });
}

// A cluster, a domain or a position, by its column and row.
template <RegionWords::Kind KIND>
std::string ParseUnit(const std::string& text, RegionWords& region) {
  region = {KIND, {}, {}};
  const std::string wrong = ParsePlace(text, region.first);
  region.last = region.first;
  return wrong;
}

// What both have in common; a rectangle without positions where that is nothing.
Region Common(const Region& a, const Region& b) {
  return {{std::max(a.first.column, b.first.column), std::max(a.first.row, b.first.row)},
          {std::min(a.last.column, b.last.column), std::min(a.last.row, b.last.row)}};
}

bool HasPositions(const Region& region) {
  return region.first.column <= region.last.column && region.first.row <= region.last.row;
}

}  // namespace

void AddRegion(CLI::App& app, const std::string& name, std::optional<RegionWords>& region,
               const std::string& help) {
  AddParsed(app, name, "REGION", region, ParseRegion, help);
}

void FilterFlags::Declare(CLI::App& app, bool numbered) {
  if (numbered) {
    AddParsed(app, "--records", "RANGE", records, ParseRange,
              "Events by number, counted from 0: 7, or 7..9, 7.. and ..9, ends included");
  }
  AddParsed(app, "--cycles", "RANGE", cycles, ParseRange, "Events of these cycles");
  if (numbered) {
    AddParsed(app, "--steps", "RANGE", steps, ParseRange,
              "Events that these animation steps of the viewer consume");
    app.add_option("-F", skipTo, "The viewer skips to this cycle first (with --steps)")
        ->transform(CLI::Validator(MakeSignedDecimal, ""));
  }
  app.add_option("--types,--type", types, "fire, send or switch; several with commas between")
      ->delimiter(',')
      ->check(CLI::IsMember({TYPE_NAMES[0], TYPE_NAMES[1], TYPE_NAMES[2]}));
  AddParsed(app, "--threads,--thread", "THREADS", threads, ParseThreads,
            "Events of these threads: 3, or 0,2-5");
  AddRegion(app, "--region", region,
            "Events there, of messages either end: COLUMN,ROW or COLUMN,ROW:COLUMN,ROW, or "
            "cluster:COLUMN,ROW or domain:COLUMN,ROW of the array");
  AddParsed(app, "--cluster", "COLUMN,ROW", cluster, ParseUnit<RegionWords::CLUSTER>,
            "Events in this cluster of the array");
  AddParsed(app, "--domain", "COLUMN,ROW", domain, ParseUnit<RegionWords::DOMAIN>,
            "Events in this domain, counted over the whole array");
  AddParsed(app, "--pe", "COLUMN,ROW", pe, ParseUnit<RegionWords::POSITIONS>,
            "Events at this position");
  AddParsed(app, "--rect", "C0,R0,C1,R1", rectangle, ParseRectangle,
            "Events in the rectangle between these corners");
  app.add_flag("--not", inverted, "The events that do not meet all of these conditions");
}

bool FilterFlags::AskForMoreThanCycles() const {
  return records || steps || !types.empty() || threads || AskForPlaces() || inverted;
}

std::vector<RegionWords> FilterFlags::Places() const {
  std::vector<RegionWords> places;
  for (const auto& asked : {region, cluster, domain, pe, rectangle}) {
    if (asked) {
      places.push_back(*asked);
    }
  }
  return places;
}

bool FilterFlags::NeedArray() const {
  const std::vector<RegionWords> places = Places();
  return std::any_of(places.begin(), places.end(),
                     [](const RegionWords& place) { return place.NeedsArray(); });
}

void NoteFlags::Declare(CLI::App& app) {
  app.add_option("--kind", kind, "Events that are noted to be of this kind");
  AddCount(app, "--packet", packet, "Events that are noted to be of this packet");
  app.add_option("--where", where,
                 "Events whose notes meet this: NAME, !NAME, or NAME and a value with = != < <= > "
                 ">= ~ or A..B between; may be given again");
}

MaybeFailure FilterFlags::Check() const {
  if (skipTo && !steps) {
    return Failure{EXIT_USAGE, "-F tells where steps begin, and none are asked for",
                   "Give -F with --steps alone."};
  }
  FilterFlags others = *this;
  others.inverted = false;
  if (inverted && others.AskForAll()) {
    return Failure{EXIT_USAGE, "--not turns conditions on events round, and there are none",
                   "Give it with a condition, as in --not --threads 3."};
  }
  return std::nullopt;
}

MaybeFailure PositionsOf(const RegionWords& region, const std::string& trace,
                         const std::optional<ArrayShape>& shape, Region& positions) {
  if (!region.NeedsArray()) {
    positions = region.Positions();
    return std::nullopt;
  }
  if (!shape) {
    return Failure{EXIT_INPUT, trace + ": no array shows all locations of this trace",
                   "Give the counts of the array with -c, -d and -p, or a region of positions."};
  }
  const std::optional<Region> found = region.In(*shape);
  if (!found) {
    const bool cluster = region.kind == RegionWords::CLUSTER;
    return Failure{EXIT_INPUT,
                   trace + ": the array has no " + (cluster ? "cluster" : "domain") +
                       " at column " + std::to_string(region.first.column) + ", row " +
                       std::to_string(region.first.row),
                   "Give the counts of the array with -c, -d and -p."};
  }
  positions = *found;
  return std::nullopt;
}

MaybeFailure FilterFlags::FilterFor(const std::string& trace,
                                    const std::optional<ArrayShape>& shape,
                                    EventFilter& filter) const {
  filter = {};
  if (!inverted) {
    return ChosenFor(trace, shape, filter);
  }
  filter.without.emplace_back();
  return ChosenFor(trace, shape, filter.without.front());
}

MaybeFailure FilterFlags::ChosenFor(const std::string& trace,
                                    const std::optional<ArrayShape>& shape,
                                    EventFilter& filter) const {
  if (records) {
    filter.firstRecord = records->first;
    filter.lastRecord = records->last == ~uint64_t{0} ? records->last : records->last + 1;
  }
  if (cycles) {
    filter.firstCycle = cycles->first;
    filter.lastCycle = cycles->last;
  }
  if (steps) {
    filter.firstStep = steps->first;
    filter.lastStep = steps->last;
    // A negative cycle asks for a huge one, as it does in the viewer.
    filter.skipTo = static_cast<uint64_t>(int64_t{skipTo.value_or(0)});
  }
  if (!types.empty()) {
    const auto wanted = [&](const char* name) {
      return std::find(types.begin(), types.end(), name) != types.end();
    };
    filter.switches = wanted(TYPE_NAMES[0]);
    filter.fires = wanted(TYPE_NAMES[1]);
    filter.sends = wanted(TYPE_NAMES[2]);
  }
  if (threads && threads->size() == 1 && threads->front().first == threads->front().last) {
    filter.thread = threads->front().first;
  } else if (threads) {
    filter.threads = *threads;
  }
  for (const RegionWords& place : Places()) {
    Region positions;
    if (MaybeFailure failure = PositionsOf(place, trace, shape, positions)) {
      return failure;
    }
    filter.region = filter.region ? Common(*filter.region, positions) : positions;
  }
  if (filter.region && !HasPositions(*filter.region)) {
    return Failure{EXIT_INPUT,
                   trace + ": the regions that are asked for have no position in common",
                   "Give one of them, or such that overlap."};
  }
  return std::nullopt;
}

std::vector<std::string> NoteFlags::Texts() const {
  std::vector<std::string> texts = where;
  if (kind) {
    texts.push_back(std::string(KIND_ATTRIBUTE) + "=" + *kind);
  }
  if (packet) {
    texts.push_back(std::string(PACKET_ATTRIBUTE) + "=" + std::to_string(*packet));
  }
  return texts;
}

MaybeFailure NoteFlags::ConditionsFor(const TraceSource& trace, const Companion& companion,
                                      std::vector<NoteCondition>& conditions) const {
  const std::vector<std::string> texts = Texts();
  const NotesFile* const notes = companion.Notes();
  if (!texts.empty() && notes == nullptr) {
    return Failure{EXIT_INPUT, trace.Name() + ": there are no notes beside it that could be asked",
                   "Record it with a companion, or leave out --where, --kind and --packet."};
  }
  for (const std::string& text : texts) {
    const Result<NoteCondition> condition =
        ParseNoteCondition(text, notes->Declarations(), notes->Name());
    if (!condition) {
      return FailureOf(condition.Why());
    }
    conditions.push_back(*condition);
  }
  return std::nullopt;
}

}  // namespace marrowfin
