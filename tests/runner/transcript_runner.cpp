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
// A section's content is its lines, each ending in a line break, unless "noeol" is given,
// in which case the last line break is dropped. "\xHH" escapes are decoded in sections
// marked "hex-escapes".
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: transcript_runner TSUMUGI CASE.tt\n";
    return 2;
  }
  std::string binary = argv[1], casePath = argv[2];
  bool ok;
  std::string text = readFile(casePath, &ok);
  if (!ok) {
    std::cerr << "cannot read " << casePath << "\n";
    return 2;
  }
  std::string input, expected;
  int expectedStatus = 0;
  long limitAs = 0;
  bool haveStdout = false;
  std::map<std::string, std::string> files, expectFiles;
  std::vector<std::string> env;
  for (const Section& s : parse(text)) {
    if (s.kind == "input") {
      input = s.body;
    } else if (s.kind == "stdout") {
      expected = s.body;
      haveStdout = true;
    } else if (s.kind == "status") {
      expectedStatus = std::atoi(s.arg.c_str());
    } else if (s.kind == "file") {
      files[s.arg] = s.body;
    } else if (s.kind == "expect-file") {
      expectFiles[s.arg] = s.body;
    } else if (s.kind == "env") {
      env.push_back(s.arg);
    } else if (s.kind == "limit-as") {
      limitAs = std::atol(s.arg.c_str());
    } else {
      std::cerr << "unknown section " << s.kind << "\n";
      return 2;
    }
  }
  if (!haveStdout) {
    std::cerr << "case has no stdout section\n";
    return 2;
  }
  // Under the sanitizers the address space is the sanitizers' own: such a limit cannot be
  // applied, and the case is reported as skipped.
  if (limitAs > 0 && std::getenv("TRANSCRIPT_NO_LIMIT_AS")) return 77;

  char dirTemplate[] = "/tmp/tsumugi-case-XXXXXX";
  char* dir = mkdtemp(dirTemplate);
  if (!dir) {
    std::perror("mkdtemp");
    return 2;
  }
  std::string d = dir;
  for (auto& [name, content] : files) writeFile(d + "/" + name, content);
  std::string inPath = d + "/.stdin", outPath = d + "/.stdout";
  writeFile(inPath, input);

  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(dir) != 0) _exit(127);
    if (!freopen(inPath.c_str(), "rb", stdin) || !freopen(outPath.c_str(), "wb", stdout)) _exit(127);
    setenv("TZ", "UTC", 1);
    for (const std::string& e : env) putenv(const_cast<char*>(e.c_str()));
    if (limitAs > 0) {
      struct rlimit rl;
      rl.rlim_cur = rl.rlim_max = static_cast<rlim_t>(limitAs) * 1024;
      setrlimit(RLIMIT_AS, &rl);
    }
    execl(binary.c_str(), binary.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int wstatus = 0;
  waitpid(pid, &wstatus, 0);
  std::string out = readFile(outPath, &ok);

  bool pass = true;
  if (WIFSIGNALED(wstatus)) {
    std::cout << "killed by signal " << WTERMSIG(wstatus) << "\n";
    pass = false;
  }
  int status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1;
  if (status != expectedStatus) {
    std::cout << "exit status " << status << ", expected " << expectedStatus << "\n";
    pass = false;
  }
  // Everything after the two banner lines (all of it if the banner never came).
  std::string afterBanner = out;
  if (out.rfind("Tsumugi for Linux version2.21\n", 0) == 0) {
    size_t second = out.find('\n', out.find('\n') + 1);
    afterBanner = second == std::string::npos ? "" : out.substr(second + 1);
  }
  if (afterBanner != expected) {
    std::cout << "--- expected stdout\n" << show(expected) << "\n--- actual stdout\n"
              << show(afterBanner) << "\n";
    pass = false;
  }
  for (auto& [name, content] : expectFiles) {
    bool exists;
    std::string got = readFile(d + "/" + name, &exists);
    if (!exists || got != content) {
      std::cout << "--- file " << name << (exists ? "" : " (missing)") << " expected\n"
                << show(content) << "\n--- actual\n" << show(got) << "\n";
      pass = false;
    }
  }
  std::string cleanup = "rm -rf '" + d + "'";
  if (std::system(cleanup.c_str()) != 0) std::cerr << "could not remove " << d << "\n";
  return pass ? 0 : 1;
}
