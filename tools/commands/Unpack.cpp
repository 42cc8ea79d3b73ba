#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/program/ExistingOutput.h"
#include "tools/program/Json.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/PackedName.h"
#include "tools/program/PlainCount.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Report.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "trace/read/AboutFile.h"
#include "trace/read/CompanionFiles.h"
#include "trace/read/NotesFile.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

constexpr char unpackFooter[] =
    "Examples:\n"
    "  marrowfin-trace unpack run.mfz\n"
    "  marrowfin-trace unpack run.mfz -o - | marrowfin-trace check -\n"
    "  marrowfin-trace unpack damaged.mfz -o rest.trace --salvage\n"
    "\n"
    "Writes the trace that was packed, byte for byte, and beside it what was packed with it: what\n"
    "tells of the run, and notes. What gzip or zstd packed is unpacked likewise. Of a damaged "
    "file\n"
    "nothing is written; with --salvage all blocks that are whole are, one behind the other, and\n"
    "each other one is named.\n"
    "\n"
    "Exit status: 0 done, 1 the file cannot be read or is damaged, 2 command line refused,\n"
    "3 output not written.";

struct UnpackFlags {
  std::string packed;
  std::string output;
  bool noCompanion = false;
  bool salvage = false;
  bool force = false;
  bool json = false;
};

// What unpacking came to.
struct Unpacked {
  uint64_t bytes = 0;
  uint64_t lost = 0;  // blocks
  bool about = false;
  bool notes = false;
};

std::string OutputOf(const UnpackFlags& flags) {
  return !flags.output.empty()             ? flags.output
         : flags.packed == STANDARD_STREAM ? STANDARD_STREAM
                                           : UnpackedName(flags.packed);
}

// What is read from front to back.
MaybeFailure CopyStream(const UnpackFlags& flags, ByteSink& sink, const Console& console,
                        Unpacked& account) {
  Result<std::unique_ptr<ByteSource>> source = OpenInput(flags.packed);
  if (!source) {
    return FailureOf(source.Why());
  }
  constexpr size_t BLOCK = 256 << 10;
  std::vector<uint8_t> block(BLOCK);
  ProgressLine progress(console.terminal, "unpacking " + flags.packed, "MB", 1e6);
  for (;;) {
    const Result<size_t> got = (*source)->Read(block.data(), block.size());
    if (!got) {
      return FailureOf(got.Why());
    }
    if (*got == 0) {
      return std::nullopt;
    }
    if (const Fault fault = sink.Write(block.data(), *got).fault) {
      return OutputFailureOf(fault);
    }
    account.bytes += *got;
    progress.Update((*source)->InputRead(), (*source)->InputSize().value_or(0));
  }
}

// Writes the blocks of a stream. What is damaged or missing ends it or, where it is to be salvaged,
// is told and counted.
class BlockCopy {
 public:
  BlockCopy(const MfzFile& file, bool salvage, const Console& console)
      : file(file), salvage(salvage), console(console) {}

  MaybeFailure Write(MfzStream stream, ByteSink& sink) {
    ProgressLine progress(console.terminal, "unpacking " + file.Name(), "MB", 1e6);
    std::vector<uint8_t> block;
    uint64_t end = 0;
    for (const MfzSection& section : file.Sections(stream)) {
      if (section.begin != end) {
        if (MaybeFailure failure = Lose(file.Missing(stream, end), progress)) {
          return failure;
        }
      }
      end = section.End();
      block.resize(std::max(block.size(), MfzBlockDecoder::RoomFor(section.rawSize)));
      if (const Fault fault = file.Unpack(section, block.data())) {
        if (MaybeFailure failure = Lose(fault, progress)) {
          return failure;
        }
        continue;
      }
      if (const Fault fault = sink.Write(block.data(), section.rawSize).fault) {
        return OutputFailureOf(fault);
      }
      bytes += section.rawSize;
      progress.Update(section.offset, file.File().Size());
    }
    return stream == MfzStream::TRACE && !file.IsWhole() ? Lose(file.Missing(stream, end), progress)
                                                         : std::nullopt;
  }

  uint64_t Bytes() const { return bytes; }
  uint64_t Lost() const { return lost; }

 private:
  MaybeFailure Lose(const Fault& fault, ProgressLine& progress) {
    Failure failure = FailureOf(fault);
    if (fault.kind != Fault::DAMAGED_INPUT) {
      return failure;
    }
    if (!salvage) {
      failure.remedy = "Fetch it again, or have what is whole with --salvage.";
      return failure;
    }
    ++lost;
    progress.Hide();
    failure.remedy = "Left out.";
    Report(failure, console);
    return std::nullopt;
  }

  const MfzFile& file;
  const bool salvage;
  const Console& console;
  uint64_t bytes = 0;
  uint64_t lost = 0;
};

// A file beside the trace, which stands where its stream had something.
struct Neighbour {
  AtomicFile file;
  bool there = false;
};

MaybeFailure WriteNeighbour(BlockCopy& copy, const MfzFile& packed, MfzStream stream,
                            const std::string& name, Neighbour& neighbour) {
  if (packed.Sections(stream).empty()) {
    return std::nullopt;
  }
  AtomicFileOptions options;
  options.chosen = false;
  if (const Fault fault = neighbour.file.Open(name, options)) {
    return OutputFailureOf(fault);
  }
  neighbour.there = true;
  return copy.Write(stream, neighbour.file);
}

MaybeFailure CommitNeighbours(Neighbour& about, Neighbour& notes) {
  for (Neighbour* const neighbour : {&about, &notes}) {
    if (neighbour->there) {
      if (const Fault fault = neighbour->file.Commit()) {
        return OutputFailureOf(fault);
      }
    }
  }
  return std::nullopt;
}

MaybeFailure UnpackTo(const UnpackFlags& flags, const std::string& name, const Console& console,
                      Unpacked& account) {
  Result<std::shared_ptr<const MfzFile>> packed = flags.packed == STANDARD_STREAM
                                                      ? std::shared_ptr<const MfzFile>()
                                                      : OpenPackedFile(flags.packed);
  if (!packed) {
    return FailureOf(packed.Why());
  }
  if (flags.salvage && *packed == nullptr) {
    return Failure{EXIT_USAGE, flags.packed + ": no packed trace in a file",
                   "--salvage looks for blocks in one, such as pack writes."};
  }
  Output output;
  if (MaybeFailure failure = output.Open(name)) {
    return failure;
  }
  const bool isPlain = output.PlainDescriptor().has_value();
  Neighbour about;
  Neighbour notes;
  if (*packed == nullptr) {
    if (MaybeFailure failure = CopyStream(flags, output.Sink(), console, account)) {
      return failure;
    }
  } else {
    BlockCopy trace(**packed, flags.salvage, console);
    BlockCopy beside(**packed, flags.salvage, console);
    MaybeFailure failure = trace.Write(MfzStream::TRACE, output.Sink());
    if (!failure && isPlain && !flags.noCompanion) {
      failure = WriteNeighbour(beside, **packed, MfzStream::ABOUT, AboutBeside(name), about);
      if (!failure) {
        failure =
            WriteNeighbour(beside, **packed, MfzStream::NOTES, NotesFile::NameBeside(name), notes);
      }
    }
    if (failure) {
      return failure;
    }
    account = {trace.Bytes(), trace.Lost() + beside.Lost(), about.there, notes.there};
  }
  MaybeFailure failure = CommitNeighbours(about, notes);
  if (!failure) {
    failure = output.Commit();
  }
  if (!failure && isPlain) {  // what else lies beside it was of the trace that was there before
    if (!about.there) {
      unlink(AboutBeside(name).c_str());
    }
    if (!notes.there) {
      unlink(NotesFile::NameBeside(name).c_str());
    }
  }
  return failure;
}

MaybeFailure Unpack(const UnpackFlags& flags, const Console& console) {
  const std::string name = OutputOf(flags);
  if (flags.packed != STANDARD_STREAM) {
    if (MaybeFailure failure = CheckOutputApart(flags.packed, name)) {
      return failure;
    }
  }
  if (MaybeFailure failure = CheckTraceNotThere(name, flags.force)) {
    return failure;
  }
  Unpacked account;
  if (MaybeFailure failure = UnpackTo(flags, name, console, account)) {
    return failure;
  }
  std::ostream& out = AccountStream(console, name);
  if (flags.json) {
    out << JsonText({{"packed", flags.packed},
                     {"output", name},
                     {"bytes", account.bytes},
                     {"about", account.about},
                     {"notes", account.notes},
                     {"lostBlocks", account.lost}});
  } else {
    out << LineFor(out, name) << ": " << account.bytes << " bytes"
        << (account.about || account.notes ? ", and its companion" : "") << "\n";
  }
  if (account.lost > 0) {
    return Failure{EXIT_INPUT,
                   flags.packed + ": " + PlainCount(account.lost, "block") +
                       (account.lost == 1 ? " is" : " are") + " lost",
                   "What the others held is in " + name + "."};
  }
  return std::nullopt;
}

Action ConfigureUnpack(CLI::App& app) {
  const auto flags = std::make_shared<UnpackFlags>();
  app.add_option("PACKED", flags->packed,
                 "The packed trace; - is standard input, of which the trace alone is read")
      ->required();
  app.add_option("-o,--output", flags->output,
                 "The trace to write, PACKED without its ending by default; - is standard output");
  app.add_flag("--no-companion", flags->noCompanion, "Write the trace alone");
  app.add_flag("--salvage", flags->salvage, "Leave out what is damaged, and name it");
  AddForce(app, flags->force);
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return Unpack(*flags, console); };
}

}  // namespace

extern const Subcommand unpackSubcommand = {"unpack", "Give the bytes of a packed trace back",
                                            unpackFooter, ConfigureUnpack};

}  // namespace marrowfin
