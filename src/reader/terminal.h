// Standard input as the reader sees it.
#pragma once

// Flushes standard output before a read when a person is at the terminal, so prompts show.
void BeforeTerminalRead();
// Standard input is exhausted: one line break and a normal end.
[[noreturn]] void EndOfInput();
// Decides once at start-up whether reads are interactive.
void InitTerminal();
