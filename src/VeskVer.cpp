#include "VeskVer.h"

#include <cstdlib>

#include "VeskBuild.h"  // generated: VESK_VERSION, VESK_BUILD, VESK_BUILD_DATE

#define VESK_TEXT(value) VESK_TEXT_OF(value)
#define VESK_TEXT_OF(value) #value

char* getVeskHome() {
  static char defaultHome[] = "/opt/brelvik/vesk";
  char* home = std::getenv("VESK_HOME");
  return home != nullptr ? home : defaultHome;
}

const char* GetVeskVersionStr() {
  return "Version " VESK_VERSION "-Build_Linux_" VESK_TEXT(VESK_BUILD) " $Date: " VESK_BUILD_DATE
                                                                       "$";
}

std::uint32_t GetVeskVersion() { return 0x2000U << 16 | (VESK_BUILD & 0xFFFFU); }
