// Which sessions have been answered: a file each in data/signon below the install root, until the
// session has long been expired. All processes of the machine share them.
#ifndef VESK_SIGNON_ANSWERED_H
#define VESK_SIGNON_ANSWERED_H

#include <cstdint>
#include <string>

#include "Session.h"

namespace VESK::signon {

class Answered {
 public:
  // `end` is when the session expires, which does not depend on who asks.
  Answered(const std::string& issuer, const std::string& id, std::int64_t end);

  // Whether it is answered already.
  Verdict look() const;
  // Takes the one answer. After a good verdict nobody else ever gets one, not after a power cut
  // either.
  Verdict take() const;

 private:
  Verdict takeLocked(int folder) const;

  std::int64_t expiry;
  std::string name;
};

}  // namespace VESK::signon

#endif
