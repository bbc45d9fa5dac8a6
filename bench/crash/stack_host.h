// A program that names the functions of its own stack; how differs from side to side.
#ifndef BENCH_CRASH_STACK_HOST_H_
#define BENCH_CRASH_STACK_HOST_H_

#include <cstddef>
#include <string>

// What the side's documents tell to do at the start of a program.
void PrepareStack(const char* program);

// Appends a line per frame of the calling thread's stack, with the names of their functions.
// Returns the number of frames.
size_t NameStack(std::string* text);

#endif  // BENCH_CRASH_STACK_HOST_H_
