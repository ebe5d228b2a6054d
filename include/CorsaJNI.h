// Single sign-on from the central console: what its entry points are made of.
#ifndef VESK_CORSA_JNI_H
#define VESK_CORSA_JNI_H

#include <string>
#include <vector>

// The log's words for a code of the sign-on library.
[[nodiscard]] std::string GetSSOPKIMessage(int code);

// Full path of the central console's public key, below the install root as it was at the first
// call.
[[nodiscard]] std::string GetPublicKeyFileName();

// Appends the GUIDs of the central consoles that the appliance is registered with, in the
// database's order. Returns how many the list then holds, -2 when the database was not reached, -3
// when it did not take the query.
[[nodiscard]] int GetGuids(std::vector<std::string>& guids);

#endif
