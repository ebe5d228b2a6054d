// Start-up of the library, in the order in which initializeJNI does it.
#ifndef VESK_JNI_INIT_H
#define VESK_JNI_INIT_H

#include "product/update.h"

// The process's update engine; initialised at most once.
extern BvUpdateInit tui;

// Loads "config/vesk.ini" below VESK_HOME and opens the log at the level that it names. Ends the
// process with exit status 0 when the settings cannot be loaded: the console cannot run without
// them.
void initLog();

// Initialises the update engine unless it is initialised already. A failure is only logged: update
// operations then fail on their own.
void initAU();

#endif
