// Calls that are turned down before they do anything.
#ifndef VESK_QUARANTINE_REFUSAL_H
#define VESK_QUARANTINE_REFUSAL_H

#include <atomic>

namespace VESK::quarantine {

// Whether the store was opened once.
extern std::atomic<bool> ready;

// Says why in the log; gives the code, so that it can be returned.
int refuse(const char* step, int code, const char* reason, const char* hint);

// False, with its line in the log, when it is not.
bool isReady(const char* step);

}  // namespace VESK::quarantine

#endif
