// What the functions in the C library's names ask.
#ifndef VESK_TESTS_FAULTS_WATCH_H
#define VESK_TESTS_FAULTS_WATCH_H

#include "Interposer.h"

namespace faults {

// Whether this thread's calls count now.
bool isWatched();
// Whether this call is to fail; errno is then set.
bool fails(Kind kind, void* caller);
// Notes a block with who allocated it, when calls count; gives the block.
void* taken(void* block, void* caller);
void disarm();  // for a child

}  // namespace faults

#endif
