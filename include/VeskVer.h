// Install root and version of the library. The version functions are for other native code of the
// console; nothing in this library calls them.
#ifndef VESK_VER_H
#define VESK_VER_H

#include <cstdint>

// VESK_HOME, or "/opt/brelvik/vesk" when it is unset. Not to be freed.
char* getVeskHome();

extern "C" {

// "Version 7.5-Build_Linux_1234 $Date: 2026/11/21 10:15:00$"; static storage. The build number
// counts the commits and the date is the last one's, so that one state of the sources gives one
// banner.
__attribute__((visibility("default"))) const char* GetVeskVersionStr();

// 0x2000 in the high 16 bits, the build number in the low 16.
__attribute__((visibility("default"))) std::uint32_t GetVeskVersion();
}

#endif
