#include "tools/program/EditOutput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <ostream>
#include <utility>

#include "tools/program/Json.h"
#include "tools/program/OutputApart.h"
#include "tools/program/PackedName.h"
#include "tools/program/TerminalText.h"
#include "tools/program/ViewCommand.h"
#include "trace/edit/ScratchFile.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"
#include "trace/write/AboutText.h"
#include "trace/write/Recorder.h"

namespace marrowfin {
namespace {

bool IsPlainFile(const std::string& name) {
  struct stat status;
  return stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// What is written where that is a plain file.
std::vector<std::string> FilesOf(const EditFlags& flags, const std::string& output) {
  std::vector<std::string> files = {output};
  if (!flags.noCompanion && output != STANDARD_STREAM && !flags.pack && !IsPackedName(output)) {
    files.push_back(AboutBeside(output));
    files.push_back(NotesFile::NameBeside(output));
  }
  return files;
}

std::string CyclesText(const EditAccount& account) {
  return account.firstCycle ? " of cycles " + std::to_string(*account.firstCycle) + " to " +
                                  std::to_string(*account.lastCycle)
                            : "";
}

void TellInWords(const EditAccount& account, std::ostream& out) {
  out << LineFor(out, account.output) << ": " << account.records << " records"
      << CyclesText(account);
  if (account.shape && account.records > 0 && !IsPackedName(account.output)) {
    out << ", view it with "
        << LineFor(out, ViewCommand(*account.shape, ShownName(account.output)));
  }
  out << "\n";
}

nlohmann::json AsJson(const EditAccount& account) {
  nlohmann::json json = {{"output", account.output},
                         {"inputs", account.inputs},
                         {"records", account.records},
                         {"bytes", account.bytes},
                         {"companion", account.companion}};
  if (account.firstCycle) {
    json["firstCycle"] = *account.firstCycle;
    json["lastCycle"] = *account.lastCycle;
  }
  if (account.shape && !IsPackedName(account.output)) {
    json["view"] = ViewCommand(*account.shape, ShownName(account.output));
  }
  return json;
}

}  // namespace

void EditFlags::Declare(CLI::App& app) {
  app.add_option("-o,--output", output, "The trace to write; - is standard output")->required();
  DeclareHow(app);
}

void EditFlags::DeclareHow(CLI::App& app) {
  app.add_flag("--force", force, "Replace an output that is there");
  app.add_flag("--no-companion", noCompanion,
               "Write the trace alone, without what tells of the run and without notes");
  AddPack(app, pack);
  app.add_flag("--json", json, "Print the account as JSON");
}

MaybeFailure CheckEditOutput(const EditFlags& flags, const std::string& output,
                             const std::vector<std::string>& inputs) {
  if (output == STANDARD_STREAM) {
    return std::nullopt;
  }
  for (const std::string& file : FilesOf(flags, output)) {
    for (const std::string& input : inputs) {
      if (input == STANDARD_STREAM) {
        continue;
      }
      if (MaybeFailure failure = CheckOutputApart(input, file)) {
        return failure;
      }
    }
    if (!flags.force && IsPlainFile(file)) {
      return Failure{EXIT_USAGE, file + ": is there already",
                     "Name another output, or give --force to replace it."};
    }
  }
  return std::nullopt;
}

EditOutput::~EditOutput() {
  if (scratch != -1) {
    close(scratch);
  }
}

MaybeFailure EditOutput::Open(const std::string& path, bool withCompanion, bool pack) {
  name = path;
  if (MaybeFailure failure = output.Open(path, pack)) {
    return failure;
  }
  const bool isPacked = output.Packed() != nullptr;
  if (withCompanion && (isPacked || output.PlainDescriptor())) {
    if (MaybeFailure failure = OpenNotes(isPacked)) {
      return failure;
    }
  }
  ByteSink* const beside = companion ? &companion->Notes() : nullptr;
  made.emplace(output.Sink(), enclosedNotes ? &*enclosedNotes : beside);
  return std::nullopt;
}

MaybeFailure EditOutput::OpenNotes(bool isPacked) {
  if (!isPacked) {
    companion.emplace();
    return companion->Open(name, *output.PlainDescriptor());
  }
  const Result<int> opened = OpenScratchFile();
  if (!opened) {
    return OutputFailureOf(opened.Why());
  }
  scratch = *opened;
  enclosedNotes.emplace(scratch, NotesFile::NameBeside(name));
  return std::nullopt;
}

// Packs notes and what tells of the run with the trace.
MaybeFailure EditOutput::Enclose(const About& about) {
  Result<std::unique_ptr<PositionedFile>> notes =
      OpenPlainFile(std::exchange(scratch, -1), NotesFile::NameBeside(name), PlainAccess::READ);
  if (!notes) {
    return OutputFailureOf(notes.Why());
  }
  const std::string text = AboutText(about);
  output.Packed()->EncloseNotes(std::move(notes).Take());
  output.Packed()->EncloseAbout(
      MemoryFile(std::vector<uint8_t>(text.begin(), text.end()), AboutBeside(name)));
  return std::nullopt;
}

MaybeFailure EditOutput::CommitCompanion(const About& about) {
  return companion ? companion->Commit(about) : enclosedNotes ? Enclose(about) : std::nullopt;
}

MaybeFailure EditOutput::Commit(const About* about) {
  if (const Fault fault = made->Close()) {
    return OutputFailureOf(fault);
  }
  About told = about != nullptr ? *about : About();
  made->Recognise(told);
  if (MaybeFailure failure = CommitCompanion(told)) {
    return failure;
  }
  const bool replaces = output.PlainDescriptor().has_value();
  MaybeFailure failure = output.Commit();
  // Of a trace that did not get its name nothing is told; and what lies beside one that has no
  // companion is about the trace that was there before.
  if (companion ? failure.has_value() : !failure && replaces) {
    RemoveCompanion(name);
  }
  return failure;
}

void TellEdited(const EditFlags& flags, const std::vector<EditAccount>& accounts,
                const Console& console) {
  if (accounts.empty()) {
    return;
  }
  std::ostream& out = AccountStream(console, accounts.front().output);
  if (!flags.json) {
    for (const EditAccount& account : accounts) {
      TellInWords(account, out);
    }
    return;
  }
  nlohmann::json json = nlohmann::json::array();
  for (const EditAccount& account : accounts) {
    json.push_back(AsJson(account));
  }
  out << JsonText(accounts.size() == 1 ? json[0] : json);
}

}  // namespace marrowfin
