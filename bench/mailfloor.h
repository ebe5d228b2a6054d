/* Two files written and synced, in plain C. */
#ifndef VESK_BENCH_MAILFLOOR_H
#define VESK_BENCH_MAILFLOOR_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes and syncs `length` bytes as a new file. Ends the program when that fails. */
void floor_write(const char* path, const char* bytes, size_t length);
void floor_sync_folder(const char* folder);

#ifdef __cplusplus
}
#endif

#endif
