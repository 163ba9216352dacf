// The table of built-in heads: every head is interned under its name and carries its code, and
// every head without effects dispatches to its own handler.
#include <set>
#include <string>

#include "fixture.h"
#include "top/runmode.h"

using Heads = Interp;

TEST_F(Heads, EveryHeadIsInternedWithItsCode) {
  for (unsigned code = 1; code < kHeadCount; code++) {
    _cell* symbol = *kHeadSymbols[code];
    ASSERT_NE(symbol, nullptr) << kHeadNames[code];
    EXPECT_EQ(symbol->code, code) << kHeadNames[code];
    EXPECT_EQ(lisp->getStringCell(kHeadNames[code]), symbol) << kHeadNames[code];
    EXPECT_STREQ(symname(symbol), kHeadNames[code]);
  }
}

TEST_F(Heads, MarkersCarryNoCode) {
#define TSUMUGI_MARKER_CODE(global, name) EXPECT_EQ(global->code, hNone) << name;
  TSUMUGI_KEYWORDS(TSUMUGI_MARKER_CODE, TSUMUGI_SKIP_ROW)
#undef TSUMUGI_MARKER_CODE
  EXPECT_EQ(NILCell->code, hNone);
  EXPECT_EQ(TCell->code, hNone);
  EXPECT_EQ(lisp->getStringCell("HEADS-TEST-OTHER")->code, hNone);
}

TEST_F(Heads, EffectsAndArities) {
  static_assert(!headHasEffects(hNone) && !headHasEffects(255), "no head, no effects");
  static_assert(!headHasEffects(hCar) && !headHasEffects(hSetq) && !headHasEffects(hIf),
                "pure heads");
  static_assert(headHasEffects(hPrint) && headHasEffects(hRplaca) && headHasEffects(hDefun) &&
                    headHasEffects(hSet) && headHasEffects(hFunction) && !headHasEffects(hEval),
                "heads with effects");
  EXPECT_EQ(headArity(hQuote), kForms);
  EXPECT_EQ(headArity(hCar), kEvalsOne);
  EXPECT_EQ(headArity(hCons), kEvalsTwo);
  EXPECT_EQ(headArity(hGc), kEvalsNone);
  EXPECT_EQ(headArity(hValues), kFormsFirst);
  EXPECT_EQ(headArity(hNone), kForms);
}

// One form per head without effects, and its printed value.
struct Sample {
  const char* text;
  const char* value;
};
const Sample kSamples[] = {
    {"(QUOTE (A B))", "(A B)"},
    {"(CAR (QUOTE (1 2)))", "1"},
    {"(CDR (QUOTE (1 2)))", "(2)"},
    {"(CONS 1 2)", "(1 . 2)"},
    {"`(1 ,(+ 1 1))", "(1 2)"},
    {"(LET ((X 2)) (* X 3))", "6"},
    {"(LET* ((X 2) (Y X)) (+ X Y))", "4"},
    {"(SETQ HEADS-TEST-V 7)", "7"},
    {"(PROG** (I) (SETQ I 5) (GO END) (SETQ I 6) END)", "NIL"},
    {"(AND 1 2)", "2"},
    {"(OR NIL 3)", "3"},
    {"(1+ 4)", "5"},
    {"(1- 4)", "3"},
    {"(COND (NIL 1) (T 2))", "2"},
    {"(= 2 2)", "T"},
    {"(ATOM 5)", "T"},
    {"(LIST 1 2 3)", "(1 2 3)"},
    {"(EQ (QUOTE A) (QUOTE A))", "T"},
    {"(NULL NIL)", "T"},
    {"(PROGN 1 2)", "2"},
    {"(IF NIL 1 2)", "2"},
    {"(PROG1 1 2)", "1"},
    {"(+ 1 2)", "3"},
    {"(- 5 3)", "2"},
    {"(MINUSP -1)", "T"},
    {"(EQL 1/2 1/2)", "T"},
    {"(CHAR \"ABC\" 1)", "#\\B"},
    {"(STRINGP \"A\")", "T"},
    {"(LENGTH (QUOTE (1 2 3)))", "3"},
    {"(COERCE \"AB\" (QUOTE LIST))", "(#\\A #\\B)"},
    {"(STRING-EQUAL \"AB\" \"AB\")", "T"},
    {"(CONSP (QUOTE (1)))", "T"},
    {"(NUMBERP 1.5)", "T"},
    {"(* 2 3)", "6"},
    {"(/ 6 4)", "3/2"},
    {"(VALUES 1 2)", "1"},
    {"(MULTIPLE-VALUE-LIST (VALUES 1 2))", "(1 2)"},
    {"(SYMBOLP (QUOTE A))", "T"},
    {"(CHARACTERP #\\A)", "T"},
    {"(CHAR-EQUAL #\\A #\\A)", "T"},
    {"(CHAR< #\\A #\\B)", "T"},
    {"(MACROEXPAND (QUOTE (HEADS-TEST-M 1)))", "(CAR 1)"},
    {"(INTEGERP 3)", "T"},
    {"(ARRAY-CAR \"AB\")", "1"},
    {"(ARRAY-CDR \"AB\")", "(CHARACTER #\\A #\\B)"},
    {"(ARRAYP \"AB\")", "T"},
    {"(SQRT 4)", "2"},
    {"(EXPT 2 10)", "1024"},
    {"(EXP 0)", "1"},
    {"(LOG 1)", "0"},
    {"(SIN 0)", "0"},
    {"(COS 0)", "1"},
    {"(TAN 0)", "0"},
    {"(ASIN 0)", "0"},
    {"(ACOS 1)", "0"},
    {"(ATAN 0)", "0"},
    {"(EVENP 2)", "T"},
    {"(FLOOR 7/2)", "3"},
    {"(CHAR-CODE #\\A)", "65"},
    {"(CODE-CHAR 65)", "#\\A"},
    {"(CATCH (QUOTE K) 1 2)", "2"},
    {"(UNWIND-PROTECT 1 2)", "1"},
    {"(SYMBOL-NAME (QUOTE ABC))", "\"ABC\""},
    {"(BLOCK B 1 (RETURN-FROM B 5) 6)", "5"},
    {"(EVAL (QUOTE (+ 1 2)))", "3"},
    {"(EVAL1 (QUOTE (+ 1 3)))", "4"},
    {"(APPLY (QUOTE +) (QUOTE (1 2)))", "3"},
    {"(FUNCALL (QUOTE +) 1 3)", "4"},
};

// Control transfers give no value of their own: transcript tests cover them.
bool transfersControl(unsigned code) {
  return code == hGo || code == hThrow || code == hReturnFrom;
}

TEST_F(Heads, EveryHeadWithoutEffectsDispatches) {
  // A form that missed its head would end up in the debug loop: end the process instead.
  scriptMode = true;
  ASSERT_NE(lisp->eval(read("(DEFMACRO HEADS-TEST-M (X) (LIST (QUOTE CAR) X))"), nullptr, 0, 0),
            nullptr);
  std::set<unsigned> sampled;
  for (const Sample& s : kSamples) {
    _cell* form = read(s.text);
    ASSERT_NE(form, nullptr) << s.text;
    sampled.insert(form->car->code);
    lisp->IncCellStack(form);
    _cell* value = lisp->eval(form, nullptr, 0, 0);
    ASSERT_NE(value, nullptr) << s.text;
    EXPECT_EQ(printed(value), s.value) << s.text;
  }
  scriptMode = false;
  for (unsigned code = 1; code < kHeadCount; code++) {
    if (!headHasEffects(code) && !transfersControl(code)) {
      EXPECT_EQ(sampled.count(code), 1u) << kHeadNames[code];
    }
  }
}
