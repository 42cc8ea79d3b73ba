#include "Util/CommandLine.h"

CommandLine::CommandLine(int argc, char** argv)
    : executableName(argc > 0 ? argv[0] : ""), c_args(nullptr) {
  for (int i = 1; i < argc; ++i) {
    args.push_back(Arg(argv[i]));
  }
  GetArgv();
}

CommandLine::CommandLine(const CommandLine& other)
    : Printable(other), executableName(other.executableName), args(other.args), c_args(nullptr) {
  GetArgv();
}

CommandLine& CommandLine::operator=(const CommandLine& other) {
  executableName = other.executableName;
  args = other.args;
  GetArgv();
  return *this;
}

CommandLine::~CommandLine() { delete[] c_args; }

unsigned int CommandLine::size() { return static_cast<unsigned int>(args.size()); }

std::string& CommandLine::operator[](unsigned int index) { return args[index].arg; }

void CommandLine::erase(unsigned int index) {
  if (index < args.size()) {
    args.erase(args.begin() + index);
    GetArgv();
  }
}

char** CommandLine::GetArgv() {
  delete[] c_args;
  c_args = new char*[args.size() + 1];
  size_t count = 0;
  for (Arg& word : args) {
    c_args[count++] = word.arg.data();
  }
  c_args[count] = nullptr;
  return c_args;
}

const char* CommandLine::ToString(std::string& s) const {
  s = executableName;
  for (const Arg& word : args) {
    s += " ";
    s += word.arg;
  }
  return s.c_str();
}
