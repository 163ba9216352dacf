// Standard input as the reader sees it.
#pragma once

// Flushes standard output before a read, so that prompts show at a terminal.
void BeforeTerminalRead();
// Standard input is exhausted: one line break and a normal end.
[[noreturn]] void EndOfInput();
// Chooses the buffering of standard output once at start-up.
void InitTerminal();
