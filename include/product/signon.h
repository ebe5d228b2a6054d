// Single sign-on from the central management console.
//
// A session is a JSON Web Signature in compact form, signed by the central console with RS256,
// PS256 or ES256, of at most 8 KiB. Its claims: "iss" the console's GUID, "aud" this appliance (a
// text or a list of texts), "iat" when it was issued (whole seconds since the epoch), "jti" a text
// of 16 to 128 of A-Z a-z 0-9 - _ that no other session has, "sub" the operator; optional "exp" and
// "nbf" can only shorten its time. The header's "alg" has to fit the public key; a header with
// "crit" or with a key of its own is refused. docs/sign-on.md tells the rest.
//
// Texts are NUL-terminated and compared byte by byte. Nothing here throws or waits for anything but
// the disk and, two seconds at most, for another process that is answering; a result other than 0
// leaves one line in the log, for SSO_PKI_WRONG_GUID at level 3. May be called from several threads
// and processes at once.
//
// Settings read, section "signon": "audience" (the name of this appliance in sessions; default the
// machine's host name), "clock_skew" (seconds, 0 to 3600, by which an issue time may lie in the
// future; default 60).
#ifndef VESK_PRODUCT_SIGNON_H
#define VESK_PRODUCT_SIGNON_H

enum SsoPkiResult : int {
  SSO_PKI_SUCCESS = 0,
  SSO_PKI_EXPIRED = -1,            // all is well but for its age
  SSO_PKI_WRONG_DESTINATION = -2,  // it is for another appliance
  SSO_PKI_INVALID_SOURCE = -3,     // the signature is not of the public key's owner
  SSO_PKI_DECRYPT_FAIL = -4,       // not a signed session at all, or of a forbidden algorithm
  // Claims missing, twice or of a wrong type, issued in the future, answered already; or whether it
  // was answered cannot be told or kept.
  SSO_PKI_WRONG_SESSION = -5,
  SSO_PKI_WRONG_GUID = -6,  // issued by another console; told before any signature is checked
  SSO_PKI_WRONG_ARGS = -7,  // a null or empty argument, a lifetime below 1, no usable key
};

inline constexpr int SSO_PKI_RESPONSE_SIZE = 256;

// Checks a session that should come from the console `guid`. `publicKeyFile` is a PEM file: RSA of
// 2048 to 8192 bits, or EC on P-256. `lifetime` is in seconds from the issue time. Changes nothing:
// a session may be checked often, until it is answered.
int En_SSO_PKI_IsSessionExpired(const char* guid, const char* session, const char* publicKeyFile,
                                int lifetime);

// Answers a session, which is checked again first, with a lifetime of 300 seconds. `response` has
// SSO_PKI_RESPONSE_SIZE bytes and becomes a printable text that only who holds the session can make
// (docs/sign-on.md tells how the central console checks it), or empty on failure. A
// session is answered once: later calls give SSO_PKI_WRONG_SESSION, also of other processes and
// after a restart. Answered sessions are kept in data/signon below the install root until an hour
// after they have expired.
int En_SSO_PKI_CreateSessionResponse(const char* guid, const char* session,
                                     const char* publicKeyFile, char* response);

#endif
