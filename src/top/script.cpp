// Running a program file as a script: its forms are read as from a file stream and
// evaluated in order, with nothing echoed; the first failure ends the process.
#include <cstring>

#include "memory/fatal.h"
#include "top/clisp.h"
#include "top/interrupt.h"

namespace {
const char kUnbalanced[] = "エラー: 括弧の数が合いません。";

// A first line that starts with "#!" names the interpreter for the system and is skipped.
// Anything else is left to be read: a "#" already taken is put back in lineStr, where the
// reader continues.
void skipShebang(ctextproc& reader, FILE* in) {
  int c = std::getc(in);
  if (c != '#') {
    if (c != EOF) std::ungetc(c, in);
    return;
  }
  int next = std::getc(in);
  if (next == '!') {
    reader.SkipComment(in);
    return;
  }
  if (next != EOF) std::ungetc(next, in);
  std::strcpy(lineStr, "#");
}

}  // namespace

void clisp::SetArguments(const std::vector<std::string>& args) {
  _cell* name = getStringCell("*ARGV*");
  long g = getSymVal2(name);
  gvBase[g].symbol = name;
  gvBase[g].value = NILCell;
  // Built from the last argument back; the list so far is always the variable's value.
  for (size_t i = args.size(); i-- > 0;) {
    _cell* s = makeString(args[i].data(), args[i].size());
    gvBase[g].value = jcons(s, gvBase[g].value);
  }
}

void clisp::RunScript(FILE* in) {
  lineStr[0] = 0;
  skipShebang(*this, in);
  for (;;) {
    int got = GetOneSStream(in);
    if (InterruptRequested()) ExitProcess(130);
    if (got == 0) ExitProcess(1);
    if (got == 2) {
      if (AllBlank(lineStr)) ExitProcess(0);
      std::puts(kUnbalanced);  // a form left open at the end of the file
      ExitProcess(1);
    }
    if (CheckBrace(lineStr) != 1) {
      std::puts(kUnbalanced);
      ExitProcess(1);
    }
    _cell* form = nullptr;
    if (!parseLine(&form) || !form) ExitProcess(1);
    _cell* r = evalTopForm(form, nullptr, 0);
    if (!r) {
      reportResult(r);  // the report of an exit that found no receiver, if that was it
      ExitProcess(1);
    }
    lineStr[0] = 0;
  }
}
