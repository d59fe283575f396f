// The per-thread error stack: engine operations return 1 or 0 and leave the reason here.
//
// One stack serves the whole process, each record tagged with the thread that pushed it, behind
// one mutex ("Tavexon Debug Info"). A push that cannot take the mutex within 100 ms drops its
// code rather than stall the caller; a pop that cannot take it answers 0. To look at a code
// and keep it, pop it and push it again (ErrorPeek does just that).
#pragma once

#include <cstdint>

// Pushes a code for the calling thread. Returns 1, or 0 when the code was dropped.
int ErrorPush(uint32_t code);

// Removes and returns the calling thread's newest code, 0 when there is none.
uint32_t ErrorPop();

// The calling thread's newest code, left on the stack; 0 when there is none.
uint32_t ErrorPeek();

// Drops every code of the calling thread (the start of an operation whose caller reads the
// stack afterwards).
void ErrorClear();

// Drops the whole stack, every thread's codes (the end of the program).
void ErrorFreeAll();
