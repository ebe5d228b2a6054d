// What a transfer of quarantined messages is measured against, in plain C on SQLite.
#ifndef VESK_BENCH_EUQFLOOR_H
#define VESK_BENCH_EUQFLOOR_H

#ifdef __cplusplus
extern "C" {
#endif

// Makes a database with a table of whole messages for each of two areas; all are in area 1.
void euq_floor_make(const char* file, int messages, int size);

// INSERT ... SELECT into one table and DELETE from the other, `batch` messages a transaction.
void euq_floor_copy(const char* file, int from, int to, int messages, int batch);

// In the quarantine's own tables: UPDATE of the area, `batch` messages a transaction.
void euq_floor_update(const char* file, int to, int batch);

// How many messages a query counts.
int euq_floor_count(const char* file, const char* sql);

#ifdef __cplusplus
}
#endif

#endif
