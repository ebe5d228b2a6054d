// The Postfix client restriction table, made from the console's connection rules.
#ifndef VESK_RESTRICTION_FILE_H
#define VESK_RESTRICTION_FILE_H

// Reads rules, one a line of at most 1,023 characters (a longer one counts as several):
//   10.1.0.0/16 REJECT      a network; one blank or tab behind the length, more are skipped
//   192.168.1.5 OK          a host
// and writes table lines, "%-20s\t%s\n" of key and action, expanding networks into the prefixes at
// octet borders that Postfix looks up. A line that is neither is skipped. The input is streamed;
// the memory used does not depend on it.
//
// False, with a line in the log, when a file cannot be opened or both are the same, the input
// cannot be read, or the output written whole. The output is then as it was, since it is replaced
// in one step; where its folder takes no second file it is written in place, and left empty.
[[nodiscard]] bool writeRestrictionFile(const char* input, const char* output);

#endif
