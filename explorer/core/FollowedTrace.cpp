#include "explorer/core/FollowedTrace.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>
#include <utility>

#include "trace/base/Fingerprint.h"
#include "trace/index/IndexJob.h"
#include "trace/index/IndexStore.h"
#include "trace/index/SameTrace.h"
#include "trace/read/UnpackedTrace.h"

namespace marrowfin {

// What is open.
struct FollowedTrace::Open {
  std::shared_ptr<const TraceSource> source;
  std::shared_ptr<const Companion> companion;
  FileIdentity seen;  // the file, when it was opened or last tried
  bool packed = false;
};

namespace {

constexpr uint64_t STEP = 4 << 20;  // bytes that are indexed at a time

uint64_t Mixed(uint64_t value, uint64_t word) {
  return (value ^ word) * 0x9E3779B97F4A7C15 + 0xCBF29CE484222325;
}

// Of the first records, the name of the file without its folder (whoever opens a copy knows it
// again), which file of that name it is, and how many like it stood in it before.
std::string FingerprintOf(const TraceSource& source, uint64_t namesake, uint64_t generation) {
  class Fingerprint print;
  auto columns = std::make_unique<Columns>();
  if (source.Decode(0, source.Size(), *columns)) {
    for (size_t i = 0; i < std::min<size_t>(columns->size, About::MOST_PRINTED); ++i) {
      const auto [thread, type] = columns->tag[i];
      print.Add(type, columns->cycle[i], thread, columns->at[i], columns->to[i]);
    }
  }
  uint64_t value = Mixed(Mixed(print.Value(), namesake), generation);
  for (const char character : std::filesystem::path(source.Name()).filename().string()) {
    value = Mixed(value, static_cast<unsigned char>(character));
  }
  char digits[17];
  snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value));
  return digits;
}

std::optional<FileIdentity> IdentityOf(const std::string& file) {
  const Result<std::unique_ptr<PositionedFile>> opened = OpenPlainFile(file, PlainAccess::READ);
  return opened ? std::optional((*opened)->Identity()) : std::nullopt;
}

bool IsSameFile(const FileIdentity& a, const FileIdentity& b) {
  return a.device == b.device && a.inode == b.inode;
}

}  // namespace

FollowedTrace::FollowedTrace(const std::string& file, uint64_t namesake, NewsFunction news,
                             Timing timing)
    : namesake(namesake), news(std::move(news)), timing(timing), opened(std::make_unique<Open>()) {
  status.file = file;
  thread = std::thread([this] { Follow(); });
}

FollowedTrace::~FollowedTrace() {
  {
    const std::lock_guard lock(mutex);
    stop = true;
  }
  wake.notify_all();
  thread.join();
}

TraceStatus FollowedTrace::Status() const {
  const std::lock_guard lock(mutex);
  return status;
}

bool FollowedTrace::RebuildIndex(const TraceView& of) {
  {
    const std::lock_guard lock(mutex);
    if (status.view.get() != &of) {
      return false;
    }
    rebuild = true;
  }
  wake.notify_all();
  return true;
}

bool FollowedTrace::TakeRebuild() {
  const std::lock_guard lock(mutex);
  return std::exchange(rebuild, false);
}

void FollowedTrace::Follow() {
  Guard([this] {
    if (OpenFile()) {
      IndexOpened(nullptr);
    }
  });
  while (WaitForNextLook()) {
    Guard([this] { LookAtFile(); });
  }
}

// Does a part of the work. Whatever anything throws there ends neither the program nor the
// following: the trace has failed, until its file is another one.
void FollowedTrace::Guard(const std::function<void()>& work) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  try {
    fault.reason = "the explorer met a mistake of its own";
    try {
      work();
      return;
    } catch (const std::bad_alloc&) {
      fault.reason = "memory ran out";
    } catch (const std::exception& error) {
      fault.reason += std::string(": ") + error.what();
    } catch (...) {
      // It has no words of its own.
    }
    fault.file = status.file;
    Fail(fault);
  } catch (...) {
    // Not even that could be told; the state says it.
  }
}

bool FollowedTrace::WaitForNextLook() {
  std::unique_lock lock(mutex);
  wake.wait_for(lock, timing.look, [this] { return stop || rebuild; });
  return !stop;
}

bool FollowedTrace::OpenFile() {
  opened->source = nullptr;
  opened->seen = IdentityOf(status.file).value_or(FileIdentity());
  Result<UnpackedTrace> unpacked = OpenUnpacked(status.file, [this](const Progress& progress) {
    SetProgress(progress);
    return !stop;
  });
  if (!unpacked) {
    Fail(unpacked.Why());
    return false;
  }
  opened->packed = unpacked->packed;
  opened->source = std::move(unpacked->trace);
  opened->companion = std::make_shared<const Companion>(Companion::Beside(*opened->source));
  SetName();
  return true;
}

// The index of what is open: one that is kept, or a new one, of which parts are shown as it comes.
void FollowedTrace::IndexOpened(const Index* grown, bool anew) {
  const std::unique_ptr<IndexStore> store =
      opened->packed ? IndexInMemory() : IndexFilesOf(opened->source->File());
  std::unique_ptr<Index> before;
  std::unique_ptr<Index> index;
  if (!anew && grown == nullptr) {
    index = Kept(*store, before);
  }
  if (!index) {
    Result<std::unique_ptr<Index>> made =
        MakeIndex(*store, grown != nullptr ? grown : before.get());
    if (!made && made.Why().kind == Fault::DAMAGED_INDEX) {
      made = MakeIndex(*store, nullptr);
    }
    if (!made) {
      Fail(made.Why());
      return;
    }
    index = std::move(made).Take();
  }
  Publish(std::move(index), true);
  Tell(grown != nullptr ? TraceNews::GROWN : TraceNews::INDEXED, Fingerprint());
  const std::shared_ptr<TraceView> view = Status().view;
  if (view->Beside().Notes() != nullptr) {
    static_cast<void>(view->ReadNotes([this](const Progress&) { return !stop; }));
    Tell(TraceNews::NOTES, Fingerprint());
  }
}

std::unique_ptr<Index> FollowedTrace::Kept(IndexStore& store, std::unique_ptr<Index>& grown) const {
  LetTickPass(*opened->source);
  for (std::unique_ptr<PositionedFile>& file : store.Find()) {
    Result<std::unique_ptr<Index>> index = Index::Load(*opened->source, std::move(file));
    if (index && (*index)->Tables().trace.size == opened->source->Size()) {
      return std::move(index).Take();
    }
    if (index && !grown) {
      grown = std::move(index).Take();
    }
  }
  return nullptr;
}

Result<std::unique_ptr<Index>> FollowedTrace::MakeIndex(IndexStore& store, const Index* grown) {
  Result<std::unique_ptr<IndexJob>> begun = IndexJob::Begin(*opened->source, store, grown);
  if (!begun) {
    return begun.Why();
  }
  IndexJob& job = **begun;
  auto shown = std::chrono::steady_clock::now() - timing.publish;
  for (bool more = true; more;) {
    if (std::chrono::steady_clock::now() - shown >= timing.publish) {
      Result<std::unique_ptr<Index>> part = job.SoFar();
      if (part) {
        Publish(std::move(part).Take(), false);
      }
      SetProgress(job.GetProgress());
      Tell(TraceNews::INDEXING, Fingerprint());
      shown = std::chrono::steady_clock::now();
    }
    const Result<bool> step = job.Step(STEP);
    if (!step) {
      return step.Why();
    }
    more = *step;
    if (stop) {
      return CancelledFault(status.file);
    }
  }
  return job.Finish();
}

// Parts of an index show less than there was to see before the trace grew.
void FollowedTrace::Publish(std::unique_ptr<Index> index, bool whole) {
  const std::shared_ptr<TraceView> before = Status().view;
  if (!whole && before && before->GetSummary().records >= index->GetSummary().records) {
    return;
  }
  auto view =
      std::make_shared<TraceView>(opened->source, opened->companion, std::move(index), whole);
  const std::lock_guard lock(mutex);
  rebuild = false;  // what was asked of an index that this one replaces
  status.view = std::move(view);
  status.state = whole ? TraceStatus::READY : TraceStatus::INDEXING;
  status.failure = {};
}

void FollowedTrace::SetProgress(const Progress& progress) {
  const std::lock_guard lock(mutex);
  status.progress = progress;
}

void FollowedTrace::Fail(const Fault& fault) {
  opened->source = nullptr;
  {
    const std::lock_guard lock(mutex);
    status.state = TraceStatus::FAILED;
    status.failure = fault;
  }
  if (fault.kind != Fault::CANCELLED) {
    Tell(TraceNews::FAILED, Fingerprint());
  }
}

// A trace whose first records are those of one that stood in the file before gets another name.
void FollowedTrace::SetName() {
  const std::lock_guard lock(mutex);
  const auto isTaken = [&](const std::string& name) {
    return std::find(status.was.begin(), status.was.end(), name) != status.was.end();
  };
  uint64_t generation = 0;
  do {
    status.fingerprint = FingerprintOf(*opened->source, namesake, generation++);
  } while (isTaken(status.fingerprint));
}

std::string FollowedTrace::Fingerprint() const {
  const std::lock_guard lock(mutex);
  return status.fingerprint;
}

void FollowedTrace::Tell(TraceNews::Kind kind, const std::string& before) {
  const TraceStatus now = Status();
  if (news && !stop) {
    const uint64_t records = now.view ? now.view->GetSummary().records : 0;
    news({kind, before, now.fingerprint, now.progress, records});
  }
}

void FollowedTrace::LookAtFile() {
  const bool anew = TakeRebuild();
  const std::optional<FileIdentity> now = IdentityOf(status.file);
  if (!now) {
    return;  // what was seen stays, until something else is there
  }
  const FileIdentity& seen = opened->seen;
  const bool sameFile = IsSameFile(*now, seen);
  if (sameFile && now->size == seen.size && now->modified == seen.modified) {
    if (anew && opened->source) {
      IndexOpened(nullptr, true);
    }
    return;
  }
  if (sameFile && now->size > seen.size && !opened->packed && opened->source) {
    Grow(*now);
  } else {
    Replace(sameFile && now->size < seen.size ? TraceNews::TRUNCATED : TraceNews::CHANGED);
  }
}

// Goes on with a file that has more than it had, if what it had is still the same.
void FollowedTrace::Grow(const FileIdentity& now) {
  Result<std::unique_ptr<TraceSource>> longer = TraceSource::Open(status.file);
  const std::shared_ptr<TraceView> view = Status().view;
  if (!longer || !view || !view->IsWhole() ||
      LikenessOf(**longer, view->Tables()) == Likeness::OTHER) {
    Replace(TraceNews::CHANGED);
    return;
  }
  opened->source = std::move(longer).Take();
  opened->companion = std::make_shared<const Companion>(Companion::Beside(*opened->source));
  opened->seen = now;
  IndexOpened(&*view->Another());
}

void FollowedTrace::Replace(TraceNews::Kind kind) {
  constexpr size_t MOST_REMEMBERED = 64;
  const std::string before = Fingerprint();
  {
    const std::lock_guard lock(mutex);
    if (!before.empty()) {
      status.was.push_back(before);
    }
    if (status.was.size() > MOST_REMEMBERED) {
      status.was.erase(status.was.begin());
    }
    status.fingerprint.clear();
    status.view = nullptr;
    status.state = TraceStatus::INDEXING;
  }
  const bool isOpen = OpenFile();
  Tell(kind, before);
  if (isOpen) {
    IndexOpened(nullptr);
  }
}

}  // namespace marrowfin
