// How this run was started: an interactive session (no arguments) or a program run as a
// script. The choice is made once at start-up, before anything is printed.
#pragma once

#include <cstdio>

// True while a program file runs as a script.
extern bool scriptMode;

// Where PRINT, PRIN1, PRINC, TERPRI and SPACES write when they are given no stream: the
// process's standard output. The C stream stdout carries everything else the interpreter
// prints (results, prompts, messages, the collector's reports); in an interactive session
// the two are the same stream.
extern FILE* programOut;

// Script mode: the program's output keeps standard output, and stdout, with every message
// and report, is attached to standard error.
void EnterScriptMode();
