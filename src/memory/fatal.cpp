#include "memory/fatal.h"

#include <cstdio>
#include <cstdlib>

char* stackLimit = nullptr;
void (*exitHook)(int status) = nullptr;

void ExitProcess(int status) {
  if (exitHook) exitHook(status);
  std::exit(status);
}

void Fatal(const char* message) {
  std::puts(message);
  ExitProcess(1);
}

void FatalTooDeep() {
  Fatal("エラー: 再帰が深すぎます。終了します。");
}
