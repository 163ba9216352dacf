// BYE, QUIT and EXIT. An interactive session ends with status 0 whatever follows the
// name; a script may give its status as an integer, (exit 3).
#include "eval/cfunction.h"
#include "memory/fatal.h"
#include "top/runmode.h"

_cell* cfunction::endSession(_cell* args, _symval* frame, long count, long mark) {
  if (!scriptMode || !consp(args)) ExitProcess(0);
  _cell* status = eval(args->car, frame, count, mark);
  if (!status) return nullptr;
  if (status->type != 'i' || status->sub == 's') return syntaxError(frame, count);
  ExitProcess(static_cast<int>(ival(status) & 0xff));
}
