// The edge of a product library, which no exception crosses.
#ifndef VESK_PRODUCT_SHARED_BOUNDARY_H
#define VESK_PRODUCT_SHARED_BOUNDARY_H

#include <exception>
#include <new>

#include "product/log.h"

// Ends the body of a function of the library's header that begins with `try`: whatever is thrown in
// there, when memory ends above all, becomes `answer` and a line in the log.
#define VESK_AT_BOUNDARY(library, answer)   \
  catch (...) {                             \
    VESK::logAtBoundary(library, __func__); \
    return answer;                          \
  }

namespace VESK {

// Says what is being handled. For handlers only.
inline void logAtBoundary(const char* library, const char* function) noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    Log::LogByLevel(LOG_NORMAL,
                    "%s: %s failed: out of memory; hint: restart the console and watch its "
                    "memory",
                    library, function);
  } catch (const std::exception& problem) {
    Log::LogByLevel(LOG_NORMAL, "%s: %s failed: %s; hint: report it with the lines before", library,
                    function, problem.what());
  } catch (...) {
    Log::LogByLevel(LOG_NORMAL, "%s: %s failed; hint: report it with the lines before", library,
                    function);
  }
}

}  // namespace VESK

#endif
