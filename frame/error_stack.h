// The per-thread error stack: engine operations return 1 or 0 and leave the reason here.
//
// One stack serves the whole process, each record tagged with the thread that pushed it, behind
// one mutex ("Tavexon Debug Info"). A push that cannot take the mutex within 100 ms drops its
// code rather than stall the caller, but counts it and logs it, so a lost reason leaves a
// trace; a pop that cannot take it answers 0.
//
// Each code may carry what the user needs to act on it: the system's reason (errno), the path
// of the file it concerns, or the line of a text file and what was expected there.
#pragma once

#include <cstdint>
#include <string>

struct ErrorDetail {
  uint32_t code = 0;
  int systemError = 0;  // errno as the failing call left it; 0 when the system gave none
  std::string path;     // the file the code concerns; empty when none
  uint32_t line = 0;    // the line of a text file, from 1; 0 when none
  std::string note;     // what was expected there, in ASCII ("8 fields, 17 expected")
};

// Pushes a code for the calling thread. Returns 1, or 0 when the code was dropped.
int ErrorPush(uint32_t code);
// Pushes a code with its detail. Returns 1, or 0 when it was dropped.
int ErrorPushDetail(ErrorDetail detail);
// The same for a failed system call: code, errno and the path.
int ErrorPushSystem(uint32_t code, int systemError, const std::string& path);

// Removes and returns the calling thread's newest code, 0 when there is none.
uint32_t ErrorPop();
// Removes and returns the newest record with its detail; code 0 when there is none.
ErrorDetail ErrorPopDetail();

// The calling thread's newest code, left on the stack with its detail; 0 when there is none.
uint32_t ErrorPeek();
ErrorDetail ErrorPeekDetail();

// Drops every code of the calling thread (the start of an operation whose caller reads the
// stack afterwards).
void ErrorClear();

// Drops the whole stack, every thread's codes (the end of the program).
void ErrorFreeAll();

// How many pushes were dropped since the start: by a lock wait that ran out, or as the oldest
// records of a stack at its limit.
uint64_t ErrorDroppedCount();
