/* A Kerberos bind with libkrb5 and libldap used directly, in plain C. */
#ifndef VESK_BENCH_KERBEROS_FLOOR_H
#define VESK_BENCH_KERBEROS_FLOOR_H

#ifdef __cplusplus
extern "C" {
#endif

/* Ticket, connection, bind, and an end to all of them. Ends the program when it fails. */
void floor_kerberos_bind(const char* uri, const char* user, const char* password);

#ifdef __cplusplus
}
#endif

#endif
