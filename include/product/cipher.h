// The product's cipher for texts that settings hold, such as passwords of other servers.
//
// AES-256-GCM under a key of this appliance, config/cipher.key below the install root (VESK_HOME,
// else the default root), made on first use with mode 0600. The same text gives another result each
// time. May be called from several threads and processes at once; does not throw, and neither text
// nor key ever reaches the log.
#ifndef VESK_PRODUCT_CIPHER_H
#define VESK_PRODUCT_CIPHER_H

// Encrypts `in` to printable ASCII at `out`, which has room for outSize bytes and a terminator. 0
// on success. -1, with an empty text and a line in the log: a null or too long text (its result
// would not fit), no key, no random numbers. The empty text has a result of its own.
int NewEncryptStr(const char* in, char* out, int outSize);

// Decrypts in place: the result is always shorter. 0 on success; -1 with an empty text and a line
// in the log when the text is not one of NewEncryptStr, was altered, or is of another key.
int NewDecryptStr(char* inOut);

#endif
