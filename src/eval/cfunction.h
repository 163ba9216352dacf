// The evaluator and the primitives it dispatches to.
#pragma once

#include "eval/expansioncache.h"
#include "eval/fastpaths.h"
#include "library/chainmemo.h"
#include "printer/cprint.h"
#include "top/interrupt.h"
#include "top/keywords.h"

// What the handler of a built-in head receives: the form and its environment, and the values
// of the argument forms that the dispatch evaluated for it (as the head's arity says).
struct HeadCall {
  _cell* form;
  _cell* args;  // the unevaluated argument list
  _symval* frame;
  long count;
  long mark;
  int& passThrough;    // set to 1 when the result's multiple values must survive
  _cell* a = nullptr;  // the first argument's value (kEvalsOne, kEvalsTwo)
  _cell* b = nullptr;  // the second argument's value (kEvalsTwo)
};

class cfunction : public cprint {
 public:
  // Dispatch.
  _cell* eval(_cell* form, _symval* frame, long count, long mark);
  _cell* evalu(_cell* form, _symval* frame, long count, int& passThrough, long mark);
  _cell* evalForm(_cell* form, _symval* frame, long count, long mark);
  _cell* evalAtom(_cell* form, _symval* frame, long count);
  bool startStep(_symval* frame, long count);
  bool stepChores(_symval* frame, long count);

  // List workers shared by the special forms.
  int CheckFunc(_cell* args);
  _cell* condition(_cell* clauses, _symval* frame, long count, long mark);
  _cell* IfClause(_cell* args, _symval* frame, long count, long mark);
  _cell* tand(_cell* args, _symval* frame, long count, long mark);
  _cell* tor(_cell* args, _symval* frame, long count, long mark);
  _cell* tprogn(_cell* forms, _symval* frame, long count, long mark);
  _cell* tprog1(_cell* forms, _symval* frame, long count, long mark);
  _cell* tlist(_cell* args, _symval* frame, long count, long mark);
  _cell* tlist2(_cell* args, _symval* frame, long count, _cell** firstOut, long mark);
  _cell* values(_cell* args, _symval* frame, long count, long mark);
  // Makes result (a fresh cell) the multiple value whose values are list (not empty).
  _cell* becomeValues(_cell* result, _cell* list);
  _cell* LastCell(_cell* list);
  // A copy of every cons reachable from x; null when x leads back into itself (a chain of cdrs
  // that comes back, or a knot through the cars), which has no finite copy.
  _cell* Copy(_cell* x);
  // The number of conses along the cdr chain, or -1 when the chain comes back on itself (a
  // circular list has no length).
  long chainLength(_cell* list) {
    long n = 0;
    CycleGuard guard;
    for (; consp(list); list = list->cdr) {
      if (guard.revisits(list)) return -1;
      n++;
    }
    return n;
  }
  // The same for the lists of code (lambda lists, bindings), where a circle ends the process
  // as a structure too deep to handle.
  long tlength(_cell* list) {
    long n = chainLength(list);
    if (n < 0) FatalTooDeep();
    return n;
  }
  // Reports, with the debug loop, a circular list met where a walk needs the list's end;
  // gives null.
  _cell* circularList(_symval* frame, long count);
  // tlength for lists that are nearly always short, such as lambda lists: a short list is
  // counted without the cycle check, which a longer (or circular) one still gets.
  long shortLength(_cell* list) {
    long n = 0;
    for (_cell* p = list; p->type == 'l'; p = p->cdr) {
      if (++n > 64) return tlength(list);
    }
    return n;
  }
  _cell* tmember(_cell* x, _cell* list);
  _cell* jcons(_cell* a, _cell* d);
  // The list of items[0..n) in front of tail, its conses taken from the last item's on.
  _cell* listOnto(_cell* const* items, long n, _cell* tail);
  _cell* jnth(long n, _cell* list);
  _cell* jprenth(long n, _cell* list);

  // Application.
  // 1 bound; 0 the lambda list or the argument count is wrong; -1 an argument failed (its
  // error, or an exit passing through, is already under way).
  int initTemploc(_symval* frame, long n, _cell* lambdaList, _cell* args, _symval* callerFrame,
                  long callerCount, long mark);
  // Enters the parameters of a lambda list into frame (n records): false when the list is
  // malformed; *rest is the index of the rest parameter (&REST, and &BODY when body), or -1.
  bool walkLambdaList(_symval* frame, long n, _cell* lambdaList, bool body, long* rest);
  _cell* MakeRest(_cell* args, _symval* frame, long count, long mark);
  // The list of (QUOTE element) forms; null for a circular list.
  _cell* MakeQuoteEach(_cell* list);
  _cell* funcall(_cell* form, _cell* argForms, _symval* frame, long count, long mark);
  _cell* apply(_cell* form, _cell* argForms, _symval* frame, long count, long mark);
  _cell* function(_cell* x, _symval* frame, long count, long mark);
  _cell* symbol_function(_cell* args, _symval* frame, long count);
  _cell* rplaca(_cell* cons, _cell* value, _symval* frame, long count);
  _cell* rplacd(_cell* cons, _cell* value, _symval* frame, long count);
  void SetOrgLoc(_symval* dst, long dstCount, _symval* src, long from, long to);

  // Macros and backquote.
  _cell* MacroExec(_cell* args, _symval* record, _symval* callerFrame, long callerCount);
  _cell* MacroExec2(_cell* args, _symval* record, _symval* callerFrame, long callerCount,
                    long mark);
  int initTemplocForMacro(_symval* frame, long n, _cell* lambdaList, _cell* args);
  enum ExpansionOutcome { kExpanded, kNoBody, kFailed };
  struct Expansion {
    ExpansionOutcome outcome;
    _cell* form;     // the expansion (NIL without a body, null after a failure)
    _symval* frame;  // the macro frame, still on the local stack when expanded
  };
  Expansion expand(_cell* args, _symval* record, _symval* callerFrame, long callerCount, long mark);
  // Remembered expansions (eval/expansioncache.h): the call replayed from a remembered one
  // (kDeclined when it cannot be), or expanded while watched and remembered when it may be.
  _cell* replayExpansion(RememberedExpansion& e, _cell* args, _symval* record, _symval* callerFrame,
                         long callerCount);
  _cell* expandWatched(std::vector<uintptr_t>&& key, _cell* args, _symval* record,
                       _symval* callerFrame, long callerCount);
  struct WatchStart;
  struct BodyTook;
  RememberedExpansion* remember(std::vector<uintptr_t>&& key, _cell* args, const WatchStart& w,
                                const BodyTook& took, _cell* expansion,
                                const std::vector<_cell*>& order);
  _cell* rebuild(RememberedExpansion& e);
  bool madeWhileWatched(const _cell* atom, const WatchStart& w) const;
  // Seen while a macro body is watched: each form, and each read of a global.
  void noteWatchedForm(_cell* form);
  // A result whose multiple values a step of the watched body clears (or would clear).
  void noteClearable(_cell* c) { clearables.push_back(c); }
  std::vector<_cell*> clearables;
  void noteGlobalRead(long slot);
  ExpansionCache expansions;
  long watching = 0;     // macro bodies being watched (nested)
  long effectsSeen = 0;  // effects other than allocation seen while watching
  char* watchLowSp = nullptr;
  std::vector<std::pair<long, _cell*>> globalReads;  // by the bodies watched
  std::vector<_cell*>* copyOrder = nullptr;          // Copy records the cells it takes here
  std::vector<uintptr_t> keyScratch;
  std::vector<_cell*> rebuilt;
  _cell* backquote(_cell* args, _symval* frame, long count, long mark);
  _cell* backquote2(_cell* t, _symval* frame, long count, long mark);

  // Binding and control forms.
  _cell* Let(_cell* args, _symval* frame, long count, long mark);
  _cell* LetAst(_cell* args, _symval* frame, long count, long mark);
  _cell* prog(_cell* args, _symval* frame, long count, long mark);
  _cell* progBody(_cell* body, _symval* frame, long count, long mark);
  int progBody2(_cell* statements, _symval* frame, long count, long mark);

  // Non-local exits.
  _cell* catch_lisp(_cell* args, _symval* frame, long count);
  _cell* throw_lisp(_cell* args, _symval* frame, long count);
  _cell* block_lisp(_cell* args, _symval* frame, long count);
  _cell* return_from_lisp(_cell* args, _symval* frame, long count);
  _cell* unwind_protect(_cell* args, _symval* frame, long count);

  // Debug and break loops.
  void errorlisp(_symval* frame, long count);
  _cell* breaklisp(_symval* frame, long count);
  void MultiPrintS(_cell* values);

  // Numbers.
  _cell* Wa(_cell* x, _cell* y);
  _cell* Sa(_cell* x, _cell* y);
  _cell* Seki(_cell* x, _cell* y);
  _cell* Sho(_cell* x, _cell* y);
  _cell* plus(_cell* args, _symval* frame, long count, long mark);
  _cell* times(_cell* args, _symval* frame, long count, long mark);
  _cell* minus(_cell* args, _symval* frame, long count, long mark);
  _cell* divide(_cell* args, _symval* frame, long count, long mark);
  _cell* OnePlus(_cell* form, _symval* frame, long count, long mark);
  _cell* OneMinus(_cell* form, _symval* frame, long count, long mark);
  _cell* minusp(_cell* value);
  // Evaluates the argument form at the head of rest, with the accumulator (if any) and the
  // remaining arguments protected.
  _cell* evalArith(_cell* acc, _cell* rest, _symval* frame, long count, long mark);
  _cell* subtractOrDivide(_cell* args, _symval* frame, long count, long mark, bool dividing);
  using Kernel = _cell* (cfunction::*)(_cell*, _cell*);
  // Combines the values of the argument forms into acc, left to right.
  template <Kernel kernel>
  _cell* accumulate(_cell* acc, _cell* args, _symval* frame, long count, long mark);
  _cell* addOne(_cell* form, _symval* frame, long count, long mark, long delta);
  // "=" on two evaluated values: T, NIL, or null when the types make it a syntax error.
  _cell* numberEqual(_cell* x, _cell* y);

  // Mathematical functions.
  _cell* jSqrt(_cell* form, _symval* frame, long count, long mark);
  _cell* jExpt(_cell* base, _cell* power, _symval* frame, long count, long mark);
  _cell* jExp(_cell* form, _symval* frame, long count, long mark);
  _cell* jLog(_cell* form, _symval* frame, long count, long mark);
  _cell* jSin(_cell* form, _symval* frame, long count, long mark);
  _cell* jCos(_cell* form, _symval* frame, long count, long mark);
  _cell* jTan(_cell* form, _symval* frame, long count, long mark);
  _cell* jAsin(_cell* form, _symval* frame, long count, long mark);
  _cell* jAcos(_cell* form, _symval* frame, long count, long mark);
  _cell* jAtan(_cell* form, _symval* frame, long count, long mark);
  struct Transcendental;
  _cell* transcendental(const Transcendental& f, _cell* form, _symval* frame, long count,
                        long mark);
  _cell* jEvenp(_cell* form, _symval* frame, long count, long mark);
  _cell* tfloor(_cell* form, _symval* frame, long count, long mark);
  // FLOOR of a number: the quotient, carrying the values list (quotient remainder); null
  // after the message of a fraction whose arithmetic wrapped round.
  _cell* floorValues(_cell* v);

  // Random numbers and time.
  _cell* Random(_cell* form, _symval* frame, long count, long mark);
  _cell* LocalTime(_cell* form, _symval* frame, long count, long mark);
  _cell* MakeTime(_cell* form, _symval* frame, long count, long mark);

  // Streams.
  _cell* topen(_cell* args, _symval* frame, long count, long mark);
  _cell* tclose(_cell* form, _symval* frame, long count, long mark);
  _cell* tread(_cell* args, _symval* frame, long count, long mark);
  _cell* readLineForm(_cell* args, _symval* frame, long count, long mark);
  FILE* getStream(_cell* s);
  FILE* getStream2(_cell* s);
  _cell* SetFilePointer(FILE* f);
  int toPathMojiretsu(_cell* str, unsigned char* buf, int size);
  // The file of an open stream object, or null.
  FILE* openStream(_cell* s) { return s->sub == 's' ? getStream(s) : nullptr; }

  // Strings, characters and symbols.
  // EQL of two values.
  static bool eqlValues(const _cell* a, const _cell* b);
  // EQUAL of two values: atoms EQL, or two strings of the same characters, or conses whose
  // cars and cdrs are EQUAL; structures tied into knots are equal when they unfold alike.
  bool equalValues(_cell* x, _cell* y);
  // EQUAL as the prelude's definition evaluates it, multiple values cleared on what its steps
  // return (see eval/equal.cpp).
  bool equalAsDefined(_cell* x, _cell* y);
  bool sameAtom(_cell* a, _cell* b);
  _cell* jlength(_cell* value, _symval* frame, long count);
  _cell* lengthOfChain(_cell* chain, _symval* frame, long count);
  _cell* chainAt(_cell* chain, long k);
  long structureWrites = 0;  // RPLACDs and SET-ARRAYs so far (see library/chainmemo.h)
  WriteCounts writes;        // RPLACAs, RPLACDs and SET-ARRAYs so far (eval/expansioncache.h)
  // Before a destructive write into c.
  void countWrite(const _cell* c) {
    writes.all++;
    if (c->spare & kCopyCell) writes.copies++;
  }
  ChainMemo chainMemo;
  StepMemo stepMemo;  // NTH and NTHCDR (eval/standins_lists.cpp)
  _cell* tchar(_cell* args, _symval* frame, long count, long mark);
  _cell* coerce(_cell* args, _symval* frame, long count, long mark);
  _cell* StringEqual(_cell* a, _cell* b);
  _cell* char_to_code(_cell* args, _symval* frame, long count, long mark);
  _cell* code_to_char(_cell* args, _symval* frame, long count, long mark);
  _cell* symbolname(_cell* args, _symval* frame, long count, long mark);
  _cell* t_intern(_cell* args, _symval* frame, long count, long mark);
  _cell* t_intern_wide(_cell* args, _symval* frame, long count, long mark);
  _cell* internName(_cell* args, _symval* frame, long count, long mark, bool wide);
  // 1 when the list holds characters only, 0 when not, -1 when it is circular.
  int isAllMoji(_cell* list);
  long getRealMojiretsuLen(_cell* list);

  // Arrays.
  _cell* SetArray(_cell* form, _symval* frame, long count, long mark);
  _cell* ArrayCar(_cell* value);
  _cell* ArrayCdr(_cell* value);

  // The pipeline after acquisition: SkipTerm and the rewriting steps on lineStr (0 when one
  // fails), then the parse (a null form when it fails).
  int parseLine(_cell** form);
  // The loop of errorlisp and breaklisp; CONTINUE (break loop only) gives NIL.
  _cell* debugLoop(_symval* frame, long count, bool isBreak);
  // Evaluates a form read by a loop and restores the stacks afterwards.
  _cell* evalTopForm(_cell* form, _symval* frame, long count);
  // Prints a loop's result, or the report of an exit that found no receiver.
  void reportResult(_cell* r);
  // Ctrl-C was pressed: the break loop, or the end of a script. False when the interrupted
  // evaluation is abandoned.
  bool answerInterrupt(_symval* frame, long count);
  // Ctrl-C at a prompt: the partly typed expression is dropped, a fresh prompt follows.
  void dropInterruptedLine();
  // BYE, QUIT and EXIT.
  _cell* endSession(_cell* args, _symval* frame, long count, long mark);
#ifdef TSUMUGI_FUZZ
  long fuzzSteps = 0;
  static constexpr long kFuzzStepBudget = 200000;
#endif
  // State of PROG** and the exits.
  _cell* GoSymbol = nullptr;
  char ReturnFlag = 0;
  _cell* ReturnValue = nullptr;

 protected:
  // The handlers of the built-in heads (eval/headhandlers.h), one per row of the keyword table.
#define TSUMUGI_DECLARE_HEAD_HANDLER(global, name, handler, arity, effects) \
  _cell* head##handler(HeadCall& c);
  TSUMUGI_HEAD_ROWS(TSUMUGI_DECLARE_HEAD_HANDLER)
#undef TSUMUGI_DECLARE_HEAD_HANDLER
  // Evaluates the argument forms that arity asks for, then runs the handler.
  template <HeadArity arity, _cell* (cfunction::*handler)(HeadCall&)>
  _cell* runHead(_cell* form, _symval* frame, long count, long mark, int& passThrough);
  // The heads that eval takes before the evaluation step (arity kFormsFirst).
  _cell* evalFirstHead(_cell* form, _symval* frame, long count, long mark);
  // The bodies that several heads share.
  _cell* printHead(HeadCall& c, Head kind);
  _cell* defineGlobal(HeadCall& c, bool always);
  _cell* defineFunction(HeadCall& c, char tag);
  // The optional stream form at the head of rest of an output primitive: evaluated, it must
  // be an open stream (else a syntax error). *out is its file, or standard output without
  // one; false after a failure, already reported.
  bool outputStream(_cell* rest, _symval* frame, long count, long mark, FILE** out);
  // Reports a malformed built-in form: the message, the debug loop, a null result.
  _cell* syntaxError(_symval* frame, long count);
  // Prints a message, runs the debug loop and gives the null result of a failure.
  _cell* fail(const char* message, _symval* frame, long count);
  // Evaluates a form while its surroundings stay protected on the cell stack.
  _cell* evalProtected(_cell* form, _symval* frame, long count, long mark) {
    CellFrame cells(*this);
    cells.protect(form);
    return eval(form, frame, count, mark);
  }
  // The frame and body of LET (sequential: LET*) with k bindings.
  _cell* bindAndRun(_cell* args, long k, _symval* frame, long count, long mark, bool sequential);
  // Calls a lambda value: binds, copies the captured frame in, runs, writes back.
  _cell* callLambda(_cell* lambda, _cell* args, _symval* callerFrame, long callerCount, long mark);
  // Ends a frame after the body that ran in it returned value.
  void endFrame(_symval* f, long n, _cell* value) {
    if (value && value->envCount != 0 && f) {
      keepFrame(f, n);
    } else {
      releaseFrame(f);
    }
  }
  // The exact result of num/den: an integer when the denominator reduces to 1; null after
  // the division message when wrap-around made the denominator 0.
  _cell* exactResult(long num, long den);

  // Fast paths (their contract: eval/fastpaths.h).
  // Gives the prelude functions that have a stand-in its number.
  void registerStandIns();
  // The stand-in's answer for a call whose arguments are bound in frame, or kDeclined.
  _cell* runStandIn(unsigned id, _symval* frame, long n);
  // A call (whose argument forms are args) of the definition def, which has stand-in id:
  // the call's value, or kDeclined before anything is evaluated when the general path must
  // make it (eval/standincall.cpp).
  _cell* callStandIn(unsigned id, _cell* def, _cell* args, _symval* frame, long count, long mark);
  // The stand-ins for comparisons, predicates, list accessors and MOD
  // (eval/standins_numbers.cpp).
  _cell* runNumberStandIn(unsigned id, _symval* frame, long n);
  // The function record of each prelude function that got a stand-in, so that a stand-in
  // whose definition calls another one can tell that the other still stands.
  _symval* standInRecords[kStandInCount] = {};
  bool standing(unsigned id) const {
    const _symval* rec = standInRecords[id];
    return rec && rec->tag == 'f' && standInOf(rec->value) == id;
  }
  // The stand-ins for list and hash-table functions (eval/standins_lists.cpp).
  void registerListStandIns();
  bool listStandInsHold();
  _cell* gethashStandIn(_symval* frame, long n);
  _cell* setfHashStandIn(_symval* frame, long n);
  _cell* hashTableCountStandIn(_symval* frame, long n);
  _cell* stepDown(_cell* list, long k, long fixedCells, long& steps, _cell*& from);
  void takeSteps(_cell* list, _cell* from, _cell* p, long cells, long steps);
  _cell* nthStandIn(_symval* frame, long n);
  _cell* nthcdrStandIn(_symval* frame, long n);
  _cell* reverseStandIn(_symval* frame, long n);
  _cell* lastStandIn(_symval* frame, long n);
  // Clears the values of a value, as evaluating a form that gives it does.
  void dropValues(_cell* c) {
    if (c->values) {
      touchCell(c);
      c->values = nullptr;
    }
  }
  // MEMBER, REMOVE and ASSOC (eval/standins_members.cpp).
  void registerMemberStandIns();
  bool memberTest(int kind, _cell* x, _cell* y);
  long memberLevels(_cell* item, _cell* list, int kind);
  _cell* memberSteps(_cell* item, _cell* list, _cell* fn, int kind);
  bool membersMayRun(long cells, long ints, long levels);
  _cell* memberStandIn(_symval* frame, long n);
  _cell* removeOption(_cell* key, _cell* rest, _cell* absent);
  _cell* removeStandIn(_symval* frame, long n);
  _cell* makeKept(const std::vector<_cell*>& kept, _cell* tail, bool listed);
  _cell* assocStandIn(_symval* frame, long n);
  // SORT (eval/standins_sort.cpp): a run counts what the levels take, or takes it.
  struct SortRun {
    bool taking = false;
    long cells = 0;  // counted, or (taking) not yet burned
    long ints = 0;
    // Counting stops (gives up) past what the stand-in could take or the stack could hold.
    long maxCells = 0, maxInts = 0, maxDepth = 0;
    bool gaveUp = false;
    bool outOfRoom(long depth) {
      if (!taking && (depth > maxDepth || cells > maxCells || ints > maxInts)) gaveUp = true;
      return gaveUp;
    }
    void garbage(long k) { cells += k; }
    void flush(cmemory& m) {
      m.burnCells(cells);
      cells = 0;
    }
  };
  void registerSortStandIn();
  _cell* sortLevel(SortRun& run, const std::vector<_cell*>& in, _cell* kep, bool live,
                   std::vector<_cell*>& sorted, long depth);
  _cell* sortStandIn(_symval* frame, long n);
  // MAPCAR over one list (eval/standins_maps.cpp).
  struct MapcarCode {
    _cell* def = nullptr;
    _cell* name = nullptr;
    _cell* funcallForm = nullptr;
    _cell* recurForm = nullptr;
    _symval* rec = nullptr;
    _symval* notRec = nullptr;
    _cell* notDef = nullptr;
    bool plainBelow = false;  // the recursion over a circular list runs as written
  } mapcar;
  bool learnMapcar(_cell* def);
  bool mapcarStands() const;
  _cell* mapcarStandIn(_symval* frame, long n);
  void keepLevelFrame(const _symval* frame, long n);
  // A new definition: its cells are flagged as code.
  void markDefinition(_cell* def);
  // Before a destructive write of value into a cell flagged as code.
  void noteCodeWrite(const _cell* target, _cell* value);
  void guardCodeWrite(const _cell* target, _cell* value) {
    if (__builtin_expect(target->spare & kCodeCell, 0)) noteCodeWrite(target, value);
  }
  // Changes with every definition and every destructive write into one.
  long codeEpoch = 0;
  // Cleared for good by a destructive write into a definition of the prelude.
  bool standInsTrusted = true;
  bool loadingPrelude = false;
  // A shortcut that takes at most this many cells, numbers and integers may skip the steps of
  // the plain evaluation: none of them would start a collection (all free counters stay above
  // 999), answer an interrupt, or end the process for want of stack (the plain steps go
  // deeper than the shortcut: it keeps a wide margin).
  bool shortcutMayRun(long cells, long nums, long ints) const {
    return freeCells > 999 + cells && freeNums > 999 + nums && freeInts > 999 + ints &&
           !InterruptRequested() && StackRoomAtLeast(kShortcutStackMargin);
  }
  static constexpr long kShortcutStackMargin = 512 * 1024;
  bool equalMayBeAnswered() const {
    return shortcutMayRun(0, 0, 0);
  }

 private:
  std::vector<std::pair<_cell**, _cell*>> copyWork;
  std::vector<std::pair<_cell*, _cell*>> equalPath;
};

inline long moveMark(long mark, long k) {
  return mark < 0 ? mark - k : (mark > 0 ? mark + k : 0);
}
inline bool isNumberCell(const _cell* c) {
  return c->type == 'i' || c->type == 'b' || c->type == 'n';
}
