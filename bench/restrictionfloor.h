#ifndef VESK_BENCH_RESTRICTION_FLOOR_H
#define VESK_BENCH_RESTRICTION_FLOOR_H

#ifdef __cplusplus
extern "C" {
#endif

/* 0 when the table was written. */
int floor_restrictions(const char* input, const char* output);

#ifdef __cplusplus
}
#endif

#endif
