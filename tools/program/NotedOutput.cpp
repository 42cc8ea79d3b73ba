#include "tools/program/NotedOutput.h"

#include <unistd.h>

#include <memory>
#include <utility>

#include "tools/program/ExistingOutput.h"
#include "tools/program/Output.h"
#include "trace/edit/ScratchFile.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"
#include "trace/write/AboutText.h"
#include "trace/write/Recorder.h"

namespace marrowfin {

void NotedOutputFlags::DeclareHow(CLI::App& app) {
  AddForce(app, force);
  app.add_flag("--no-companion", noCompanion,
               "Write the trace alone, without what tells of the run and without notes");
  AddPack(app, pack);
}

NotedOutput::~NotedOutput() {
  if (scratch != -1) {
    close(scratch);
  }
}

MaybeFailure NotedOutput::Open(const std::string& path, bool withCompanion, bool pack) {
  name = path;
  if (MaybeFailure failure = output.Open(path, pack)) {
    return failure;
  }
  return withCompanion && (IsPacked() || output.PlainDescriptor()) ? OpenNotes() : std::nullopt;
}

MaybeFailure NotedOutput::OpenNotes() {
  if (!IsPacked()) {
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

ByteSink* NotedOutput::Notes() {
  if (enclosedNotes) {
    return &*enclosedNotes;
  }
  return companion ? &companion->Notes() : nullptr;
}

std::vector<std::string> NotedOutput::CompanionFiles() {
  if (Notes() == nullptr) {
    return {};
  }
  return IsPacked() ? std::vector<std::string>{name}
                    : std::vector<std::string>{AboutBeside(name), NotesFile::NameBeside(name)};
}

// Packs notes and what tells of the run with the trace.
MaybeFailure NotedOutput::Enclose(const About& about) {
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

MaybeFailure NotedOutput::CommitCompanion(const About& about) {
  return companion ? companion->Commit(about) : enclosedNotes ? Enclose(about) : std::nullopt;
}

MaybeFailure NotedOutput::Commit(const About& about) {
  if (MaybeFailure failure = CommitCompanion(about)) {
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

}  // namespace marrowfin
