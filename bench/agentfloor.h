/* The same requests by libcurl alone, in plain C. */
#ifndef VESK_BENCH_AGENTFLOOR_H
#define VESK_BENCH_AGENTFLOOR_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Posts `body` to `url` and waits; returns the length of the answer, 0 when it was none with status
 * 200. */
size_t floor_post(const char* url, const char* action, const char* body);

/* Posts `body` to each of the URLs, `limit` connections at a time; returns how many answered with
   status 200. */
size_t floor_post_all(const char* const* urls, size_t count, const char* action, const char* body,
                      size_t limit);

#ifdef __cplusplus
}
#endif

#endif
