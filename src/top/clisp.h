// The top level: the keyword table, the prelude, the banner and the read-eval-print loop.
#pragma once

#include "eval/cfunction.h"

class clisp : public cfunction {
 public:
  void SetKeyword();
  int ReadEvalLoop();
  void DispMessage();
  void ReadEvalPrintLoop();
};

// The single interpreter object.
extern clisp* interp;
