// What a sign-on cannot do without, in plain C: the database query and one check of a signature.
#ifndef VESK_BENCH_SIGNON_FLOOR_H
#define VESK_BENCH_SIGNON_FLOOR_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
  char text[64];
} floor_guid;

// Connects, asks for the GUIDs and disconnects; gives how many there are, -1 without a database.
int floor_guids(const char* database, floor_guid* guids, int most);

// 1 when the session is signed by the key (RS256); the key is read from its file.
int floor_verify(const char* key_file, const char* session);

#ifdef __cplusplus
}
#endif

#endif
