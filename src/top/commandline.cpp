#include "top/commandline.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
const char kUsage[] =
    "Usage: tsumugi                      start an interactive session\n"
    "       tsumugi [--script] FILE [ARG...]  run the program in FILE (- for standard input)\n"
    "       tsumugi --help | --version\n"
    "       --plain before the rest runs without the evaluator's shortcuts (for comparisons)\n"
    "The program sees its arguments as a list of strings in *ARGV*. It ends with status 0,\n"
    "N after (exit N), 1 after an error, 130 after Ctrl-C.\n";

[[noreturn]] void usage(FILE* to, int status) {
  std::fputs(kUsage, to);
  std::exit(status);
}
}  // namespace

CommandLine ParseCommandLine(int argc, char** argv) {
  CommandLine c;
  int i = 1;
  // --plain may come before anything else: it turns the interpreter's shortcuts off, so that
  // a program can be compared with and without them.
  while (i < argc && std::strcmp(argv[i], "--plain") == 0) {
    c.plain = true;
    i++;
  }
  if (i >= argc) return c;
  const char* first = argv[i];
  if (std::strcmp(first, "--help") == 0 || std::strcmp(first, "-h") == 0) usage(stdout, 0);
  if (std::strcmp(first, "--version") == 0) {
    std::puts("Tsumugi for Linux version2.21");
    std::exit(0);
  }
  if (std::strcmp(first, "--script") == 0) {
    if (++i >= argc) usage(stderr, 2);
  } else if (first[0] == '-' && first[1] != 0) {
    std::fprintf(stderr, "tsumugi: unknown option %s\n", first);
    usage(stderr, 2);
  }
  c.script = true;
  c.program = argv[i];
  for (i++; i < argc; i++) c.args.emplace_back(argv[i]);
  return c;
}

FILE* OpenScript(const std::string& path) {
  if (path == "-") return stdin;
  FILE* f = std::fopen(path.c_str(), "rb");
  struct stat st;
  if (f && (fstat(fileno(f), &st) != 0 || S_ISDIR(st.st_mode))) {
    std::fclose(f);
    f = nullptr;
  }
  if (!f) {
    std::fprintf(stderr, "tsumugi: cannot open %s\n", path.c_str());
    std::exit(2);
  }
  return f;
}
