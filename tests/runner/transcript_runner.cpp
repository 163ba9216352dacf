// Runs one transcript case: feeds its input to the interpreter on standard input in an
// empty working directory, then compares standard output after the two banner lines, the
// exit status, and any files the case expects.
//
// Case file format: lines before the first section are a description. Sections start with
// a line "@@@ KIND [ARG] [noeol]":
//   @@@ input                 the text fed on standard input
//   @@@ stdout                the expected output after the banner
//   @@@ status N              the expected exit status (default 0)
//   @@@ file NAME             a file created before the run
//   @@@ expect-file NAME      a file whose exact content is checked after the run
//   @@@ env NAME=VALUE        an environment variable for the run
//   @@@ limit-as KIB          an address-space limit for the run (skipped, exit code 77,
//                             when TRANSCRIPT_NO_LIMIT_AS is set)
//   @@@ copy NAME PATH        a file created before the run with the content of PATH
//                             (relative to the case file's directory)
//   @@@ args WORD...          command-line arguments, separated by blanks
//   @@@ plain-too             run the case a second time with --plain in front of the
//                             arguments (no shortcuts), expecting the very same results
//   @@@ stderr                the expected standard error (not checked without this section)
//   @@@ interrupt file NAME   once the file NAME exists in the working directory, or
//   @@@ interrupt stdout TEXT once standard output holds TEXT, send SIGINT, then feed the
//                             section's text on standard input (which is then a pipe)
// A section's content is its lines, each ending in a line break, unless "noeol" is given,
// in which case the last line break is dropped. "\xHH" escapes are decoded in sections
// marked "hex-escapes".
//
// Two more modes: "--sessions TSUMUGI DOC.md" runs the terminal sessions a document shows in
// "```tsumugi" blocks (see runSessions), and "--example TSUMUGI PROG.lisp PROG.out" runs a
// program and compares its output after the banner.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {
struct Section {
  std::string kind, arg, body;
};

std::string decodeEscapes(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); i++) {
    if (s[i] == '\\' && i + 3 < s.size() + 0 && s[i + 1] == 'x') {
      out += static_cast<char>(std::stoi(s.substr(i + 2, 2), nullptr, 16));
      i += 3;
    } else {
      out += s[i];
    }
  }
  return out;
}

std::vector<Section> parse(const std::string& text) {
  std::vector<Section> sections;
  std::istringstream in(text);
  std::string line;
  bool noeol = false, hex = false;
  auto finish = [&]() {
    if (sections.empty()) return;
    Section& s = sections.back();
    if (noeol && !s.body.empty() && s.body.back() == '\n') s.body.pop_back();
    if (hex) s.body = decodeEscapes(s.body);
  };
  while (std::getline(in, line)) {
    if (line.rfind("@@@ ", 0) == 0) {
      finish();
      std::istringstream words(line.substr(4));
      Section s;
      words >> s.kind;
      std::string w;
      noeol = hex = false;
      while (words >> w) {
        if (w == "noeol") {
          noeol = true;
        } else if (w == "hex-escapes") {
          hex = true;
        } else {
          s.arg = s.arg.empty() ? w : s.arg + " " + w;
        }
      }
      sections.push_back(s);
    } else if (!sections.empty()) {
      sections.back().body += line + "\n";
    }
  }
  finish();
  return sections;
}

bool writeFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary);
  out << content;
  return static_cast<bool>(out);
}

std::string readFile(const std::string& path, bool* ok) {
  std::ifstream in(path, std::ios::binary);
  *ok = static_cast<bool>(in);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

std::string show(const std::string& s) {
  std::string out;
  for (unsigned char c : s) {
    if (c == '\n') {
      out += "\\n\n";
    } else if (c < 32 || c == 127) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\x%02x", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

// SIGINT sent when a condition holds, followed by more input.
struct Interrupt {
  std::string when, what, more;
};

struct Case {
  std::string input, expected, expectedStderr;
  bool checkStderr = false;
  std::vector<std::string> args;
  std::vector<Interrupt> interrupts;
  int expectedStatus = 0;
  long limitAs = 0;
  std::map<std::string, std::string> files, expectFiles;
  std::vector<std::string> env;
};

bool writeAll(int fd, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// Whether an interrupt's condition holds: a file in the working directory, or a text on
// standard output.
bool conditionHolds(const Interrupt& i, const std::string& dir, const std::string& outPath) {
  bool ok;
  if (i.when == "file") {
    readFile(dir + "/" + i.what, &ok);
    return ok;
  }
  return readFile(outPath, &ok).find(i.what) != std::string::npos;
}

size_t fileSize(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<size_t>(st.st_size) : 0;
}

// Waits (ten seconds at most) until ready() holds; false when the interpreter ended first
// (its status is then in *reaped) or the time ran out.
template <class Ready>
bool waitFor(pid_t pid, int* reaped, Ready ready) {
  const timespec tick{0, 10 * 1000 * 1000};
  for (int waited = 0; waited < 1000; waited++) {
    if (ready()) return true;
    if (*reaped < 0 && waitpid(pid, reaped, WNOHANG) == pid) return ready();
    nanosleep(&tick, nullptr);
  }
  return false;
}

// Feeds the input, then for each interrupt waits for its condition, lets the interpreter
// settle into what it does, sends SIGINT and waits for the interpreter to answer (standard
// output grows, or the process ends) before it feeds the interrupt's text: text already
// waiting in the pipe would satisfy a read before the signal could cut it short. False,
// with the interpreter killed, when a condition never came. *reaped is -1 or the status
// of the interpreter if it ended meanwhile.
bool feedWithInterrupts(pid_t pid, int fd, const std::string& dir, const std::string& outPath,
                        const Case& c, int* reaped) {
  signal(SIGPIPE, SIG_IGN);
  writeAll(fd, c.input);
  for (const Interrupt& i : c.interrupts) {
    if (!waitFor(pid, reaped, [&] { return conditionHolds(i, dir, outPath); })) {
      std::cout << "interrupt condition never came: " << i.when << " " << i.what << "\n";
      if (*reaped < 0) kill(pid, SIGKILL);
      return false;
    }
    const timespec settle{0, 100 * 1000 * 1000};
    nanosleep(&settle, nullptr);
    size_t before = fileSize(outPath);
    kill(pid, SIGINT);
    if (!waitFor(pid, reaped, [&] { return *reaped >= 0 || fileSize(outPath) != before; })) {
      std::cout << "no answer to the interrupt after " << i.when << " " << i.what << "\n";
      if (*reaped < 0) kill(pid, SIGKILL);
      return false;
    }
    writeAll(fd, i.more);
  }
  return true;
}

// Runs one case; prints what differs and returns false when it fails, 77 when skipped.
int runCase(const std::string& binary, const Case& c) {
  // Under the sanitizers the address space is the sanitizers' own: such a limit cannot be
  // applied, and the case is reported as skipped.
  if (c.limitAs > 0 && std::getenv("TRANSCRIPT_NO_LIMIT_AS")) return 77;
  char dirTemplate[] = "/tmp/tsumugi-case-XXXXXX";
  char* dir = mkdtemp(dirTemplate);
  if (!dir) {
    std::perror("mkdtemp");
    return 2;
  }
  std::string d = dir;
  for (auto& [name, content] : c.files) writeFile(d + "/" + name, content);
  std::string inPath = d + "/.stdin", outPath = d + "/.stdout", errPath = d + "/.stderr";
  writeFile(inPath, c.input);
  // With interrupts, standard input is a pipe fed as the case goes on.
  int feed[2] = {-1, -1};
  if (!c.interrupts.empty() && pipe(feed) != 0) {
    std::perror("pipe");
    return 2;
  }

  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(dir) != 0) _exit(127);
    if (feed[0] >= 0) {
      close(feed[1]);
      if (dup2(feed[0], 0) < 0) _exit(127);
    } else if (!freopen(inPath.c_str(), "rb", stdin)) {
      _exit(127);
    }
    if (!freopen(outPath.c_str(), "wb", stdout)) _exit(127);
    if (c.checkStderr && !freopen(errPath.c_str(), "wb", stderr)) _exit(127);
    setenv("TZ", "UTC", 1);
    for (const std::string& e : c.env) putenv(const_cast<char*>(e.c_str()));
    if (c.limitAs > 0) {
      struct rlimit rl;
      rl.rlim_cur = rl.rlim_max = static_cast<rlim_t>(c.limitAs) * 1024;
      setrlimit(RLIMIT_AS, &rl);
    }
    std::vector<char*> argv{const_cast<char*>(binary.c_str())};
    for (const std::string& a : c.args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(binary.c_str(), argv.data());
    _exit(127);
  }
  bool pass = true;
  int wstatus = -1;
  if (feed[0] >= 0) {
    close(feed[0]);
    pass = feedWithInterrupts(pid, feed[1], d, outPath, c, &wstatus);
    close(feed[1]);
  }
  if (wstatus < 0) waitpid(pid, &wstatus, 0);
  bool ok;
  std::string out = readFile(outPath, &ok);

  if (WIFSIGNALED(wstatus)) {
    std::cout << "killed by signal " << WTERMSIG(wstatus) << "\n";
    pass = false;
  }
  int status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1;
  if (status != c.expectedStatus) {
    std::cout << "exit status " << status << ", expected " << c.expectedStatus << "\n";
    pass = false;
  }
  // Everything after the two banner lines (all of it if the banner never came). With
  // arguments there is no banner to skip.
  std::string afterBanner = out;
  bool interactive = true;
  for (const std::string& a : c.args) interactive = interactive && a == "--plain";
  if (interactive && out.rfind("Tsumugi for Linux version2.21\n", 0) == 0) {
    size_t second = out.find('\n', out.find('\n') + 1);
    afterBanner = second == std::string::npos ? "" : out.substr(second + 1);
  }
  if (afterBanner != c.expected) {
    std::cout << "--- expected stdout\n"
              << show(c.expected) << "\n--- actual stdout\n"
              << show(afterBanner) << "\n";
    pass = false;
  }
  if (c.checkStderr) {
    std::string err = readFile(errPath, &ok);
    if (err != c.expectedStderr) {
      std::cout << "--- expected stderr\n"
                << show(c.expectedStderr) << "\n--- actual stderr\n"
                << show(err) << "\n";
      pass = false;
    }
  }
  for (auto& [name, content] : c.expectFiles) {
    bool exists;
    std::string got = readFile(d + "/" + name, &exists);
    if (!exists || got != content) {
      std::cout << "--- file " << name << (exists ? "" : " (missing)") << " expected\n"
                << show(content) << "\n--- actual\n"
                << show(got) << "\n";
      pass = false;
    }
  }
  std::string cleanup = "rm -rf '" + d + "'";
  if (std::system(cleanup.c_str()) != 0) std::cerr << "could not remove " << d << "\n";
  return pass ? 0 : 1;
}

// Reads a file the runner was given, saying so when it cannot.
bool readInput(const std::string& path, std::string* text) {
  bool ok;
  *text = readFile(path, &ok);
  if (!ok) std::cerr << "cannot read " << path << "\n";
  return ok;
}

int runTranscriptFile(const std::string& binary, const std::string& casePath) {
  std::string text;
  if (!readInput(casePath, &text)) return 2;
  Case c;
  bool haveStdout = false;
  bool plainToo = false;
  for (const Section& s : parse(text)) {
    if (s.kind == "input") {
      c.input = s.body;
    } else if (s.kind == "stdout") {
      c.expected = s.body;
      haveStdout = true;
    } else if (s.kind == "status") {
      c.expectedStatus = std::atoi(s.arg.c_str());
    } else if (s.kind == "file") {
      c.files[s.arg] = s.body;
    } else if (s.kind == "expect-file") {
      c.expectFiles[s.arg] = s.body;
    } else if (s.kind == "env") {
      c.env.push_back(s.arg);
    } else if (s.kind == "limit-as") {
      c.limitAs = std::atol(s.arg.c_str());
    } else if (s.kind == "copy") {
      std::istringstream words(s.arg);
      std::string name, from;
      words >> name >> from;
      std::string dir = casePath.substr(0, casePath.find_last_of('/') + 1);
      if (!readInput(dir + from, &c.files[name])) return 2;
    } else if (s.kind == "args") {
      std::istringstream words(s.arg);
      for (std::string w; words >> w;) c.args.push_back(w);
    } else if (s.kind == "plain-too") {
      plainToo = true;
    } else if (s.kind == "stderr") {
      c.expectedStderr = s.body;
      c.checkStderr = true;
    } else if (s.kind == "interrupt") {
      Interrupt i;
      std::istringstream words(s.arg);
      words >> i.when;
      std::getline(words >> std::ws, i.what);
      if (i.when != "file" && i.when != "stdout") {
        std::cerr << "interrupt needs \"file NAME\" or \"stdout TEXT\"\n";
        return 2;
      }
      i.more = s.body;
      c.interrupts.push_back(i);
    } else {
      std::cerr << "unknown section " << s.kind << "\n";
      return 2;
    }
  }
  if (!haveStdout) {
    std::cerr << "case has no stdout section\n";
    return 2;
  }
  int first = runCase(binary, c);
  if (!plainToo || first != 0) return first;
  c.args.insert(c.args.begin(), "--plain");
  std::cout << "again with --plain" << std::endl;
  return runCase(binary, c);
}

// A prompt at the start of a session line: "[3]" or "**[1]"; its length, or 0.
size_t promptLength(const std::string& line) {
  size_t i = 0;
  while (i < line.size() && line[i] == '*') i++;
  if (i >= line.size() || line[i] != '[') return 0;
  size_t j = i + 1;
  while (j < line.size() && line[j] >= '0' && line[j] <= '9') j++;
  if (j == i + 1 || j >= line.size() || line[j] != ']') return 0;
  return j + 1;
}

// The sessions written in a document as they appear on a terminal, in blocks fenced with
// "```tsumugi": a prompt line holds the prompt and what was typed after it, the other lines
// are the output. Each block is run from a fresh start; it ends with a bare prompt (where
// the input ends) or with (BYE).
int runSessions(const std::string& binary, const std::string& path) {
  std::string text;
  if (!readInput(path, &text)) return 2;
  std::istringstream in(text);
  std::string line;
  int lineNo = 0, blocks = 0, failures = 0;
  while (std::getline(in, line)) {
    lineNo++;
    if (line != "```tsumugi") continue;
    int start = lineNo;
    Case c;
    bool any = false, closed = false, endsBare = false;
    while (std::getline(in, line)) {
      lineNo++;
      if (line == "```") {
        closed = true;
        break;
      }
      size_t n = promptLength(line);
      if (n > 0) {
        c.expected += line.substr(0, n);
        std::string typed = line.substr(n);
        if (!typed.empty()) c.input += typed + "\n";
        any = true;
        endsBare = typed.empty();
      } else {
        c.expected += line + "\n";
        endsBare = false;
      }
    }
    if (!closed || !any) {
      std::cout << path << ":" << start << ": malformed session block\n";
      failures++;
      continue;
    }
    // A block that ends at a bare prompt expects the line break of the end of input.
    if (endsBare) c.expected += "\n";
    blocks++;
    int r = runCase(binary, c);
    if (r != 0) {
      std::cout << path << ":" << start << ": session differs\n";
      failures++;
    }
  }
  std::cout << blocks << " sessions, " << failures << " failing\n";
  return failures == 0 && blocks > 0 ? 0 : 1;
}

// An example program and the output it must print after the banner.
int runExample(const std::string& binary, const std::string& program, const std::string& output) {
  Case c;
  if (!readInput(program, &c.input) || !readInput(output, &c.expected)) return 2;
  return runCase(binary, c);
}
}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--sessions") return runSessions(argv[2], argv[3]);
  if (argc == 5 && std::string(argv[1]) == "--example")
    return runExample(argv[2], argv[3], argv[4]);
  if (argc == 3) return runTranscriptFile(argv[1], argv[2]);
  std::cerr << "usage: transcript_runner TSUMUGI CASE.tt\n"
               "       transcript_runner --sessions TSUMUGI DOCUMENT.md\n"
               "       transcript_runner --example TSUMUGI PROGRAM.lisp OUTPUT.out\n";
  return 2;
}
