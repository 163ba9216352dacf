#include "memory/fatal.h"

#include <cstdio>
#include <cstdlib>

char* stackLimit = nullptr;

void Fatal(const char* message) {
  std::puts(message);
  std::exit(1);
}

void FatalTooDeep() { Fatal("エラー: 再帰が深すぎます。終了します。"); }
