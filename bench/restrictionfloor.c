/* The client restriction table as fast as one core writes it: knows well-formed rules only. */
#include "restrictionfloor.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { BLOCK = 1 << 18, WIDTH = 20, LINE = 1024 };

static char octets[256][4]; /* text, and its length in the last byte */

static void make_octets(void) {
  for (int i = 0; i < 256; ++i) {
    char text[4];
    const int length = snprintf(text, sizeof text, "%d", i);
    memcpy(octets[i], text, 3);
    octets[i][3] = (char)length;
  }
}

static char* put_line(char* to, const char* key, size_t key_length, const char* tail,
                      size_t tail_length) {
  memset(to, ' ', WIDTH);
  memcpy(to, key, key_length);
  to += key_length > WIDTH ? key_length : WIDTH;
  memcpy(to, tail, tail_length);
  return to + tail_length;
}

static size_t put_parts(char* to, unsigned address, int parts) {
  char* at = to;
  for (int i = 0; i < parts; ++i) {
    const char* octet = octets[address >> (24 - 8 * i) & 255];
    if (i > 0) *at++ = '.';
    memcpy(at, octet, 3);
    at += octet[3];
  }
  return (size_t)(at - to);
}

static char* put_rule(char* to, const char* address, size_t address_length, unsigned value,
                      int length, const char* tail, size_t tail_length) {
  const int host = 32 - length;
  const int whole = host / 8;
  char key[WIDTH];
  if (host % 8 == 0) {
    size_t kept = address_length;
    for (int i = 0; i < whole; ++i) {
      while (address[--kept] != '.') {
      }
    }
    return put_line(to, address, kept, tail, tail_length);
  }
  value = value >> host << host;
  for (unsigned i = 0; i < 1U << host % 8; ++i) {
    const size_t key_length = put_parts(key, value + (i << 8 * whole), 4 - whole);
    to = put_line(to, key, key_length, tail, tail_length);
  }
  return to;
}

int floor_restrictions(const char* input, const char* output) {
  make_octets();
  FILE* in = fopen(input, "r");
  FILE* out = fopen(output, "w");
  char* block = malloc(BLOCK + 128 * 2 * LINE);
  char line[LINE];
  if (in == NULL || out == NULL || block == NULL) return -1;
  setvbuf(out, NULL, _IONBF, 0);
  char* at = block;
  while (fgets_unlocked(line, sizeof line, in) != NULL) {
    unsigned value = 0, part = 0, length = 0;
    char* c = line;
    for (; *c != ' ' && *c != '/'; ++c) {
      if (*c == '.') {
        value = value << 8 | part;
        part = 0;
      } else {
        part = 10 * part + (unsigned)(*c - '0');
      }
    }
    value = value << 8 | part;
    const size_t address_length = (size_t)(c - line);
    if (*c == '/') {
      for (++c; *c != ' '; ++c) length = 10 * length + (unsigned)(*c - '0');
    } else {
      length = 32;
    }
    *c = '\t';
    at = put_rule(at, line, address_length, value, (int)length, c, strlen(c));
    if (at - block >= BLOCK) {
      if (fwrite_unlocked(block, 1, (size_t)(at - block), out) == 0) return -1;
      at = block;
    }
  }
  const int wrong = at > block && fwrite_unlocked(block, 1, (size_t)(at - block), out) == 0;
  free(block);
  fclose(in);
  return fclose(out) != 0 || wrong ? -1 : 0;
}
