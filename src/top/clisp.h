// The top level: the keyword table, the prelude, the banner and the read-eval-print loop.
#pragma once

#include <string>
#include <vector>

#include "eval/cfunction.h"

class clisp : public cfunction {
 public:
  void SetKeyword();
  int ReadEvalLoop();
  void DispMessage();
  void ReadEvalPrintLoop();
  // Start-up after the areas were obtained: the bottom markers, the keyword table, the
  // prelude. 0 when the prelude fails.
  int StartSession();
  // A new session in the same process, as after start-up (for test harnesses).
  int RestartSession();
  // Script mode: *ARGV* holds the program's arguments as strings.
  void SetArguments(const std::vector<std::string>& args);
  // Script mode: evaluates every form of the program; never returns.
  [[noreturn]] void RunScript(FILE* in);
};
