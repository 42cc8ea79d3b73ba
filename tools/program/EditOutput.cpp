#include "tools/program/EditOutput.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "tools/program/ExistingOutput.h"
#include "tools/program/Json.h"
#include "tools/program/OutputApart.h"
#include "tools/program/TerminalText.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

std::string CyclesText(const EditAccount& account) {
  return account.firstCycle ? " of cycles " + std::to_string(*account.firstCycle) + " to " +
                                  std::to_string(*account.lastCycle)
                            : "";
}

void TellInWords(const EditAccount& account, std::ostream& out) {
  out << LineFor(out, account.output) << ": " << account.records << " records"
      << CyclesText(account);
  if (account.shape && account.records > 0) {
    // No viewer of traces as they are shows a packed one.
    out << (account.packed
                ? ", of an array " + ShapeText(*account.shape)
                : ", view it with " +
                      LineFor(out, ViewCommand(*account.shape, ShownName(account.output))));
  }
  out << "\n";
}

nlohmann::json AsJson(const EditAccount& account) {
  nlohmann::json json = {{"output", account.output},       {"inputs", account.inputs},
                         {"records", account.records},     {"bytes", account.bytes},
                         {"companion", account.companion}, {"packed", account.packed}};
  if (account.firstCycle) {
    json["firstCycle"] = *account.firstCycle;
    json["lastCycle"] = *account.lastCycle;
  }
  if (account.shape) {
    json["shape"] = ShapeText(*account.shape);
  }
  if (account.shape && !account.packed) {
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
  NotedOutputFlags::DeclareHow(app);
  app.add_flag("--json", json, "Print the account as JSON");
}

MaybeFailure CheckEditOutput(const EditFlags& flags, const std::string& output,
                             const std::vector<std::string>& inputs) {
  if (output == STANDARD_STREAM) {
    return std::nullopt;
  }
  for (const std::string& file : FilesOfTrace(output)) {
    for (const std::string& input : inputs) {
      if (input == STANDARD_STREAM) {
        continue;
      }
      if (MaybeFailure failure = CheckOutputApart(input, file)) {
        return failure;
      }
    }
  }
  return CheckTraceNotThere(output, flags.force);
}

MaybeFailure EditOutput::Open(const std::string& path, bool companion, bool pack) {
  name = path;
  if (MaybeFailure failure = output.Open(path, companion, pack)) {
    return failure;
  }
  made.emplace(output.Trace(), output.Notes());
  return std::nullopt;
}

EditAccount EditOutput::Account(const std::vector<std::string>& inputs) {
  EditAccount account;
  account.output = name;
  account.inputs = inputs;
  account.records = made->Records();
  account.bytes = made->Bytes();
  account.companion = output.Notes() != nullptr;
  account.packed = output.IsPacked();
  return account;
}

MaybeFailure EditOutput::Commit(const About* about) {
  if (const Fault fault = made->Close()) {
    return OutputFailureOf(fault);
  }
  About told = about != nullptr ? *about : About();
  made->Recognise(told);
  return output.Commit(told);
}

void TellEdited(const std::vector<EditAccount>& accounts, bool asJson, const Console& console) {
  if (accounts.empty()) {
    return;
  }
  std::ostream& out = AccountStream(console, accounts.front().output);
  if (!asJson) {
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
