// Standard input as the reader sees it.
#pragma once

// Flushes standard output before a read, so that prompts show at a terminal.
void BeforeTerminalRead();
// Reads one line (at most size - 1 bytes) from standard input, after the flush above.
enum TerminalRead { kReadLine, kReadEnded, kReadCut /* by Ctrl-C */ };
TerminalRead ReadStandardInput(char* buf, int size);
// The same, where the end of the input ends the process (EndOfInput); false when Ctrl-C
// cut the read short.
bool ReadTerminalLine(char* buf, int size);
// Standard input is exhausted: one line break and a normal end.
[[noreturn]] void EndOfInput();
// Chooses the buffering of standard output once at start-up.
void InitTerminal();
