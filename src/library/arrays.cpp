// Arrays are lists in disguise: SET-ARRAY changes a cons's type letter in place.
#include "eval/cfunction.h"

_cell* cfunction::SetArray(_cell* form, _symval* frame, long count, long mark) {
  const char kCannot[] = "エラー: 配列型に設定できません。";
  _cell* args = form->cdr;
  if (!consp(args)) return fail(kCannot, frame, count);
  _cell* v = eval(args->car, frame, count, mark);
  if (!v || !consp(v)) return fail(kCannot, frame, count);
  guardCodeWrite(v, v);
  touchCell(v);
  structureWrites++;
  countWrite(v);
  v->type = 'a';  // not copied: every reference to the cons now sees an array
  return v;
}

_cell* cfunction::ArrayCar(_cell* value) {
  if (value->type == 'a') return value->car;
  std::puts("配列ではありません");
  return nullptr;
}

_cell* cfunction::ArrayCdr(_cell* value) {
  if (value->type == 'a') return value->cdr;
  std::puts("配列ではありません");
  return nullptr;
}
