// The command line: none for an interactive session, or a program file and its arguments.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

struct CommandLine {
  bool script = false;
  bool plain = false;             // --plain: no fast paths
  std::string program;            // the program's file, "-" for standard input
  std::vector<std::string> args;  // what follows the program's file
};

// Reads the arguments; --help, --version and an unknown option end the process here.
CommandLine ParseCommandLine(int argc, char** argv);

// The program's file ("-": standard input); a file that cannot be read ends the process
// with status 2, as a wrong command line does.
FILE* OpenScript(const std::string& path);
