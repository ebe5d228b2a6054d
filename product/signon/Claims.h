// What a session claims, once its signature is good.
#ifndef VESK_SIGNON_CLAIMS_H
#define VESK_SIGNON_CLAIMS_H

#include <cstdint>
#include <string>

#include "Session.h"

namespace VESK::signon {

// This appliance's name in sessions, and how far clocks may differ, from the settings.
std::string ownAudience();
std::int64_t clockSkew();

// Everything but age and answers.
Verdict checkClaims(const Session& session, std::int64_t now);

// For a session whose claims are well.
const std::string& idOf(const Session& session);
std::int64_t endOf(const Session& session, int lifetime);  // the first second of its being expired

}  // namespace VESK::signon

#endif
